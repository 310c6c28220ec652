// Digests of texts (SHA-256).
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace qel::web {

using Digest = std::array<unsigned char, 32>;
using DigestKey = std::array<unsigned char, 32>;

Digest digest(std::string_view text);

// Tells nobody anything about the text who has not the key (HMAC).
Digest keyed_digest(const DigestKey& key, std::string_view text);

// A key that nobody can guess.
DigestKey random_key();

// Takes the same time wherever the first difference is.
bool same_bytes(std::string_view a, std::string_view b);
bool same_bytes(const Digest& a, const Digest& b);

std::string hexadecimal(const Digest& bytes);

}  // namespace qel::web
