// What comes in and goes out over HTTP, without the connection.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qel::web {

using NamedText = std::pair<std::string, std::string>;

// Who comes over a Unix socket.
constexpr std::string_view kUnixClient = "unix";

struct Request {
  std::string method{};                 // as sent, "GET"
  std::string path{};                   // percent-decoded, without the query
  std::vector<NamedText> parameters{};  // percent-decoded, in their order; "" where no "=" stood
  std::vector<NamedText> headers{};     // names as sent
  std::string client{};                 // address of the other side, or kUnixClient

  // The first header of that name, capital and small letters alike; empty when there is none.
  std::string_view header(std::string_view name) const;
};

// The server-sent events of a stream, one after the other. Called on the event loop's thread only.
// It is freed as soon as the client is found to have gone.
class StreamSource {
 public:
  virtual ~StreamSource() = default;

  // The next bytes to send, at most `size` of them, nothing when there are none for now; the stream
  // is asked again after HttpServer::wake_streams. Nothing may be said only between two events: the
  // server then puts its own comments there, which keep the connection. It has no end but that of
  // the connection, or an exception.
  virtual std::string take(size_t size) = 0;
};

// Pieces of a long body, made while they are sent; an empty piece is the end.
using BodyPieces = std::function<std::string()>;

bool is_head(const Request& request);

struct Response {
  int status = 200;
  std::string type = "text/plain; charset=utf-8";
  std::vector<NamedText> headers{};
  std::string body{};
  BodyPieces pieces{};                     // when set, in place of body
  std::unique_ptr<StreamSource> stream{};  // when set, in place of both
};

}  // namespace qel::web
