// Users and their passwords as tests need them.
#pragma once

#include <string>

namespace qel::web_test {

std::string hash_of(const std::string& password, const char* setting);

// Quickly computed, and strong enough by its method.
std::string cheap_hash(const std::string& password);

// The value of an Authorization header for "name:password".
std::string basic(const std::string& credentials);

}  // namespace qel::web_test
