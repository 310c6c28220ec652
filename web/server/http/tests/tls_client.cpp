#include "tls_client.h"

#include <gnutls/gnutls.h>
#include <gnutls/x509.h>
#include <gtest/gtest.h>

#include <ctime>
#include <utility>

namespace qel::web_test {

namespace {

std::string taken(gnutls_datum_t* text) {
  std::string result(reinterpret_cast<char*>(text->data), text->size);
  gnutls_free(text->data);
  return result;
}

gnutls_certificate_credentials_t no_credentials() {
  static const gnutls_certificate_credentials_t credentials = [] {
    gnutls_certificate_credentials_t made = nullptr;
    gnutls_certificate_allocate_credentials(&made);
    return made;
  }();
  return credentials;
}

}  // namespace

web::Certificate make_certificate() {
  gnutls_x509_privkey_t key = nullptr;
  gnutls_x509_crt_t own = nullptr;
  const unsigned bits = GNUTLS_CURVE_TO_BITS(GNUTLS_ECC_CURVE_SECP256R1);
  const time_t now = time(nullptr);
  EXPECT_EQ(0, gnutls_x509_privkey_init(&key));
  EXPECT_EQ(0, gnutls_x509_crt_init(&own));
  EXPECT_EQ(0, gnutls_x509_privkey_generate(key, GNUTLS_PK_ECDSA, bits, 0));
  EXPECT_EQ(0, gnutls_x509_crt_set_version(own, 3));
  EXPECT_EQ(0, gnutls_x509_crt_set_key(own, key));
  EXPECT_EQ(0, gnutls_x509_crt_set_serial(own, "1", 1));
  EXPECT_EQ(0, gnutls_x509_crt_set_activation_time(own, now - 3600));
  EXPECT_EQ(0, gnutls_x509_crt_set_expiration_time(own, now + 3600));
  EXPECT_EQ(0, gnutls_x509_crt_set_dn(own, "CN=localhost", nullptr));
  EXPECT_EQ(0, gnutls_x509_crt_sign2(own, own, key, GNUTLS_DIG_SHA256, 0));
  gnutls_datum_t chain_text{};
  gnutls_datum_t key_text{};
  EXPECT_EQ(0, gnutls_x509_crt_export2(own, GNUTLS_X509_FMT_PEM, &chain_text));
  EXPECT_EQ(0, gnutls_x509_privkey_export2(key, GNUTLS_X509_FMT_PEM, &key_text));
  gnutls_x509_crt_deinit(own);
  gnutls_x509_privkey_deinit(key);
  return {taken(&chain_text), taken(&key_text)};
}

TlsClient::TlsClient(int port, const char* priorities) : connection_(port) {
  EXPECT_EQ(0, gnutls_init(&session_, GNUTLS_CLIENT));
  EXPECT_EQ(0, gnutls_priority_set_direct(session_, priorities, nullptr));
  gnutls_credentials_set(session_, GNUTLS_CRD_CERTIFICATE, no_credentials());
  gnutls_transport_set_int(session_, connection_.fd());
  int result = GNUTLS_E_AGAIN;
  for (int i = 0; i < 100 && result < 0 && !gnutls_error_is_fatal(result); ++i) {
    result = gnutls_handshake(session_);
  }
  shook_hands_ = result == 0;
}

TlsClient::~TlsClient() { gnutls_deinit(session_); }

std::string TlsClient::version() const {
  return gnutls_protocol_get_name(gnutls_protocol_get_version(session_));
}

bool TlsClient::send(const std::string& text) {
  return gnutls_record_send(session_, text.data(), text.size()) ==
         static_cast<ssize_t>(text.size());
}

std::string TlsClient::receive_until(const std::string& text) {
  char piece[16384];
  while (buffer_.find(text) == std::string::npos) {
    const ssize_t got = gnutls_record_recv(session_, piece, sizeof piece);
    if (got <= 0) return std::exchange(buffer_, {});
    buffer_.append(piece, static_cast<size_t>(got));
  }
  const std::string taken = buffer_.substr(0, buffer_.find(text) + text.size());
  buffer_.erase(0, taken.size());
  return taken;
}

}  // namespace qel::web_test
