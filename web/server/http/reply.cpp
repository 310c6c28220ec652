#include "reply.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <new>
#include <stdexcept>

#include "text.h"

namespace qel::web {

namespace {

constexpr size_t kBlockSize = 8192;

// Whatever an alert's text says, a page can only do what its own files do.
constexpr std::pair<const char*, const char*> kHeaders[] = {
    {"X-Content-Type-Options", "nosniff"},
    {"Referrer-Policy", "no-referrer"},
    {"Cross-Origin-Resource-Policy", "same-origin"},
    {"Cross-Origin-Opener-Policy", "same-origin"},
    {"X-Frame-Options", "DENY"},
    {"Content-Security-Policy",
     "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
     "connect-src 'self'; font-src 'self'; base-uri 'none'; form-action 'none'; "
     "frame-ancestors 'none'"}};

// A body that is made piece by piece.
struct PieceReader {
  BodyPieces pieces;
  const Log* log;
  std::string piece{};  // the one that is being sent
  size_t sent = 0;      // of it
  bool ended = false;

  // As much as there is room for: each chunk is sent on its own.
  ssize_t read(char* buffer, size_t size) {
    size_t filled = 0;
    while (filled < size && has_more()) {
      const size_t copied = piece.copy(buffer + filled, size - filled, sent);
      sent += copied;
      filled += copied;
    }
    return filled == 0 ? MHD_CONTENT_READER_END_OF_STREAM : static_cast<ssize_t>(filled);
  }

  bool has_more() {
    if (!ended && sent == piece.size()) {
      piece = pieces();
      sent = 0;
      ended = piece.empty();
    }
    return !ended;
  }
};

// The answer is under way already: only cutting it off tells the client.
ssize_t read_pieces(void* data, uint64_t, char* buffer, size_t size) {
  auto* reader = static_cast<PieceReader*>(data);
  try {
    return reader->read(buffer, size);
  } catch (const std::exception& exception) {
    (*reader->log)(std::string("an answer breaks off: ") + exception.what());
    return MHD_CONTENT_READER_END_WITH_ERROR;
  }
}

template <typename Owned>
void free_owned(void* data) {
  delete static_cast<Owned*>(data);
}

MHD_Response* reply_in_pieces(BodyPieces pieces, const Log& log) {
  auto reader = std::make_unique<PieceReader>(PieceReader{std::move(pieces), &log});
  MHD_Response* reply = MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kBlockSize, read_pieces,
                                                          reader.get(), free_owned<PieceReader>);
  if (reply != nullptr) (void)reader.release();
  return reply;
}

MHD_Response* reply_with_body(std::string body) {
  auto owned = std::make_unique<std::string>(std::move(body));
  MHD_Response* reply = MHD_create_response_from_buffer_with_free_callback_cls(
      owned->size(), owned->data(), free_owned<std::string>, owned.get());
  if (reply != nullptr) (void)owned.release();
  return reply;
}

ssize_t read_nothing(void*, uint64_t, char*, size_t) { return MHD_CONTENT_READER_END_OF_STREAM; }

// In chunks it would have the last, empty one although an answer to HEAD has no body.
MHD_Response* reply_of_no_size() {
  MHD_Response* reply = MHD_create_response_from_callback(MHD_SIZE_UNKNOWN, kBlockSize,
                                                          read_nothing, nullptr, nullptr);
  if (reply != nullptr) {
    MHD_set_response_options(reply, MHD_RF_HTTP_1_0_COMPATIBLE_STRICT, MHD_RO_END);
  }
  return reply;
}

void add_header(const Reply& reply, const std::string& name, const std::string& value) {
  if (MHD_add_response_header(reply.get(), name.c_str(), value.c_str()) == MHD_YES) return;
  throw std::invalid_argument("the header " + name + " cannot be sent");
}

bool has_header(const Response& response, std::string_view name) {
  return std::any_of(
      response.headers.begin(), response.headers.end(),
      [name](const NamedText& header) { return same_but_for_case(header.first, name); });
}

void add_headers(const Reply& reply, const Response& response) {
  if (reply == nullptr) throw std::bad_alloc();
  for (const auto& [name, value] : kHeaders) add_header(reply, name, value);
  if (!has_header(response, "Cache-Control")) add_header(reply, "Cache-Control", "no-store");
  add_header(reply, "Content-Type", response.type);
  for (const auto& [name, value] : response.headers) add_header(reply, name, value);
}

}  // namespace

Reply make_reply(Response response, MHD_Connection* connection, Streams& streams, const Log& log) {
  Reply reply(response.stream != nullptr ? streams.open(connection, std::move(response.stream))
              : response.pieces          ? reply_in_pieces(std::move(response.pieces), log)
                                         : reply_with_body(std::move(response.body)));
  add_headers(reply, response);
  return reply;
}

Reply make_reply_to_head(Response response) {
  const bool has_size = response.stream == nullptr && !response.pieces;
  Reply reply(has_size ? reply_with_body(std::move(response.body)) : reply_of_no_size());
  add_headers(reply, response);
  return reply;
}

}  // namespace qel::web
