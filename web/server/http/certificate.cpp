#include "certificate.h"

#include <gnutls/gnutls.h>

#include <memory>

#include "file_content.h"

namespace qel::web {

namespace {

struct CredentialsFree {
  using pointer = gnutls_certificate_credentials_t;
  void operator()(pointer credentials) const { gnutls_certificate_free_credentials(credentials); }
};

gnutls_datum_t datum(std::string& text) {
  return {reinterpret_cast<unsigned char*>(text.data()), static_cast<unsigned>(text.size())};
}

// Below zero when the two cannot be used together.
int try_out(Certificate& certificate) {
  gnutls_certificate_credentials_t credentials = nullptr;
  const int made = gnutls_certificate_allocate_credentials(&credentials);
  if (made < 0) return made;
  const std::unique_ptr<void, CredentialsFree> owner(credentials);
  const gnutls_datum_t chain = datum(certificate.chain);
  const gnutls_datum_t key = datum(certificate.key);
  return gnutls_certificate_set_x509_key_mem(credentials, &chain, &key, GNUTLS_X509_FMT_PEM);
}

}  // namespace

std::optional<Certificate> read_certificate(const std::string& chain_file,
                                            const std::string& key_file, std::string* error) {
  auto chain = file_content(chain_file, error);
  if (!chain) return {};
  auto key = file_content(key_file, error);
  if (!key) return {};
  Certificate certificate{std::move(*chain), std::move(*key)};
  const int result = try_out(certificate);
  if (result >= 0) return certificate;
  *error = "the certificate " + chain_file + " with the key " + key_file +
           " cannot be used: " + gnutls_strerror(result);
  return {};
}

}  // namespace qel::web
