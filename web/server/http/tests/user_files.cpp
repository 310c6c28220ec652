#include "user_files.h"

#include <crypt.h>
#include <gnutls/gnutls.h>
#include <gtest/gtest.h>

namespace qel::web_test {

std::string hash_of(const std::string& password, const char* setting) {
  const char* hash = crypt(password.c_str(), setting);
  EXPECT_TRUE(hash != nullptr && hash[0] == '$') << setting;
  return hash == nullptr ? "" : hash;
}

std::string cheap_hash(const std::string& password) {
  return hash_of(password, "$5$rounds=1000$salt$");
}

std::string basic(const std::string& credentials) {
  std::string plain = credentials;
  const gnutls_datum_t input{reinterpret_cast<unsigned char*>(plain.data()),
                             static_cast<unsigned>(plain.size())};
  gnutls_datum_t output{};
  EXPECT_EQ(0, gnutls_base64_encode2(&input, &output));
  const std::string header =
      "Basic " + std::string(reinterpret_cast<char*>(output.data), output.size);
  gnutls_free(output.data);
  return header;
}

}  // namespace qel::web_test
