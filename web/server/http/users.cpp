#include "users.h"

#include <crypt.h>
#include <gnutls/gnutls.h>

#include <algorithm>

#include "file_content.h"
#include "text.h"

namespace qel::web {

namespace {

// A method of crypt(3) and the length of what it puts behind the last "$".
struct Method {
  const char* prefix;
  size_t length;
};
constexpr Method kMethods[] = {{"$y$", 43},  {"$gy$", 43}, {"$7$", 43}, {"$2b$", 53},
                               {"$2y$", 53}, {"$6$", 86},  {"$5$", 43}};

const Method* method_of(const std::string& hash) {
  for (const Method& method : kMethods) {
    if (hash.starts_with(method.prefix)) return &method;
  }
  return nullptr;
}

// Also of a method that crypt(3) itself takes for an old one.
bool is_whole(const std::string& hash, const Method& method) {
  const int verdict = crypt_checksalt(hash.c_str());
  return hash.size() - hash.rfind('$') - 1 == method.length && verdict != CRYPT_SALT_INVALID &&
         verdict != CRYPT_SALT_METHOD_DISABLED;
}

bool check_hash(const std::string& hash, std::string* error) {
  const Method* method = method_of(hash);
  if (method != nullptr && is_whole(hash, *method)) return true;
  *error = method == nullptr
               ? "the password has no hash of a method that is strong enough ($y$, $gy$, $7$, "
                 "$2b$, $2y$, $6$, $5$)"
               : std::string("the hash of the password is not a whole one of the method ") +
                     method->prefix;
  return false;
}

bool check_name(const std::string& name, std::string* error) {
  const auto is_control = [](unsigned char byte) { return byte < ' ' || byte == 127; };
  if (!name.empty() && std::none_of(name.begin(), name.end(), is_control)) return true;
  *error = "the user has no name of visible characters";
  return false;
}

// "name:password" of a header "Basic ..."; nothing when it is none.
std::optional<std::string> credentials_of(std::string_view authorization) {
  constexpr std::string_view kScheme = "basic ";
  if (!same_but_for_case(authorization.substr(0, kScheme.size()), kScheme)) return {};
  std::string coded(trim(authorization.substr(kScheme.size())));
  const gnutls_datum_t input{reinterpret_cast<unsigned char*>(coded.data()),
                             static_cast<unsigned>(coded.size())};
  gnutls_datum_t output{};
  if (coded.empty() || gnutls_base64_decode2(&input, &output) < 0) return {};
  std::string text(reinterpret_cast<const char*>(output.data), output.size);
  gnutls_free(output.data);
  return text;
}

}  // namespace

Users::Users() : scratch_(std::make_unique<crypt_data>()) {}
Users::Users(Users&&) noexcept = default;
Users& Users::operator=(Users&&) noexcept = default;
Users::~Users() = default;

std::optional<Users> Users::load(const std::string& file, std::string* error) {
  const auto content = file_content(file, error);
  if (!content) return {};
  Users users;
  std::string reason;
  size_t number = 0;
  for (const std::string_view line : split(*content, '\n')) {
    ++number;
    if (users.add_line(line, &reason)) continue;
    *error = file + ":" + std::to_string(number) + ": " + reason;
    return {};
  }
  if (!users.users_.empty()) return users;
  *error = "the users file " + file + " has no users";
  return {};
}

bool Users::add_line(std::string_view line, std::string* error) {
  const std::string_view content = trim(line);
  if (content.empty() || content.front() == '#') return true;
  const auto parts = split(content, ':');
  if (parts.size() != 2 && parts.size() != 3) {
    *error = "the line is not name:hash or name:hash:role";
    return false;
  }
  if (parts.size() == 3 && parts[2] != "read") {
    *error = "the role \"" + std::string(parts[2]) + "\" is unknown; there is only \"read\"";
    return false;
  }
  const std::string name(parts[0]);
  const std::string hash(parts[1]);
  if (!check_name(name, error) || !check_hash(hash, error)) return false;
  if (users_.emplace(name, User{hash}).second) return true;
  *error = "the user " + name + " stands there twice";
  return false;
}

bool Users::is_password(const std::string& password, const std::string& hash) {
  // Behind a NUL crypt would not see what else there is.
  if (password.find('\0') != std::string::npos) return false;
  const char* result = crypt_r(password.c_str(), hash.c_str(), scratch_.get());
  return result != nullptr && same_bytes(std::string_view(result), std::string_view(hash));
}

Users::Verdict Users::check(std::string_view authorization, Instant now) {
  const auto credentials = credentials_of(authorization);
  const size_t colon = credentials ? credentials->find(':') : std::string::npos;
  if (colon == std::string::npos) return Verdict::kUnknown;

  const Digest given = keyed_digest(key_, *credentials);
  const auto user = users_.find(std::string_view(*credentials).substr(0, colon));
  const bool named = user != users_.end();
  if (named && user->second.known && same_bytes(*user->second.known, given)) {
    return Verdict::kKnown;
  }
  if (!tries_.take(now)) return Verdict::kNotNow;

  User& tried = named ? user->second : users_.begin()->second;
  const bool right = is_password(credentials->substr(colon + 1), tried.hash);
  if (!named || !right) return Verdict::kUnknown;
  tried.known = given;
  return Verdict::kKnown;
}

}  // namespace qel::web
