// Certificates of a test's own and a client that speaks TLS.
#pragma once

#include <memory>
#include <string>

#include "http/certificate.h"
#include "http_client.h"

struct gnutls_session_int;

namespace qel::web_test {

// For itself, with a key of its own.
web::Certificate make_certificate();

class TlsClient {
 public:
  // `priorities` are those of GnuTLS, such as which versions it speaks.
  TlsClient(int port, const char* priorities);
  ~TlsClient();
  TlsClient(const TlsClient&) = delete;
  TlsClient& operator=(const TlsClient&) = delete;

  bool shook_hands() const { return shook_hands_; }
  std::string version() const;
  bool send(const std::string& text);
  // What comes until this text has come, it included; all there was when it never came.
  std::string receive_until(const std::string& text);

 private:
  HttpClient connection_;
  gnutls_session_int* session_ = nullptr;
  bool shook_hands_ = false;
  std::string buffer_;
};

}  // namespace qel::web_test
