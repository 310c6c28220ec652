#include "digest.h"

#include <gnutls/crypto.h>
#include <gnutls/gnutls.h>

#include <stdexcept>

namespace qel::web {

namespace {

void require_success(int result) {
  if (result < 0) throw std::runtime_error(gnutls_strerror(result));
}

}  // namespace

Digest digest(std::string_view text) {
  Digest result;
  require_success(gnutls_hash_fast(GNUTLS_DIG_SHA256, text.data(), text.size(), result.data()));
  return result;
}

Digest keyed_digest(const DigestKey& key, std::string_view text) {
  Digest result;
  require_success(gnutls_hmac_fast(GNUTLS_MAC_SHA256, key.data(), key.size(), text.data(),
                                   text.size(), result.data()));
  return result;
}

DigestKey random_key() {
  DigestKey key;
  require_success(gnutls_rnd(GNUTLS_RND_KEY, key.data(), key.size()));
  return key;
}

bool same_bytes(std::string_view a, std::string_view b) {
  return a.size() == b.size() && gnutls_memcmp(a.data(), b.data(), a.size()) == 0;
}

bool same_bytes(const Digest& a, const Digest& b) {
  return gnutls_memcmp(a.data(), b.data(), a.size()) == 0;
}

std::string hexadecimal(const Digest& bytes) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text;
  for (const unsigned char byte : bytes) {
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

}  // namespace qel::web
