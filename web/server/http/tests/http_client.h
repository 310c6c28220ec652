// A client that sends what a test wants, right or wrong.
#pragma once

#include <map>
#include <string>

#include "unique_fd.h"

namespace qel::web_test {

// Of a server's bytes; status 0 when there was no whole answer.
struct Answer {
  int status = 0;
  std::map<std::string, std::string> headers{};  // names in small letters
  std::string body{};                            // without the framing of chunks

  std::string header(const std::string& name) const;
};

// Gives up on a server that stays silent for long.
class HttpClient {
 public:
  explicit HttpClient(int port);
  explicit HttpClient(const std::string& unix_path);
  // Takes a connected socket.
  explicit HttpClient(UniqueFd socket) : socket_(std::move(socket)) {}

  bool is_connected() const { return static_cast<bool>(socket_); }
  int fd() const { return socket_.get(); }

  // False when the server has closed the connection.
  bool send(const std::string& bytes) const;
  // A request line with Host and further header lines, each with its line end.
  bool ask(const std::string& method, const std::string& target,
           const std::string& headers = "") const;

  // One answer; that to HEAD has no body.
  Answer receive(bool to_head = false);
  Answer get(const std::string& target, const std::string& headers = "");

  // What comes until this text has come, it included; all there was when it never came.
  std::string receive_until(const std::string& text);
  // Until the server closes the connection.
  std::string receive_all();
  // True when the server closed the connection and nothing came before.
  bool is_closed_silently();
  // At once, with the kernel's reset; otherwise the destructor closes it.
  void reset();
  void close() { socket_ = UniqueFd(); }

 private:
  bool receive_more();
  std::string receive_bytes(size_t count);
  std::string receive_chunks();

  UniqueFd socket_;
  std::string buffer_;  // received and not taken yet
};

}  // namespace qel::web_test
