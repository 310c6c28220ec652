// What a server shows its clients over TLS.
#pragma once

#include <optional>
#include <string>

namespace qel::web {

struct Certificate {
  std::string chain;  // PEM
  std::string key;    // PEM
};

// Nothing, with the reason in *error, when a file cannot be read or the two do not belong together.
std::optional<Certificate> read_certificate(const std::string& chain_file,
                                            const std::string& key_file, std::string* error);

}  // namespace qel::web
