// Who may read, and HTTP Basic authentication against that.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "digest.h"
#include "token_bucket.h"

struct crypt_data;

namespace qel::web {

// The users of a file with a line `name:hash` or `name:hash:read` for each; empty lines and those
// that begin with # do not count. The hash is one of crypt(3) that is not weak: $y$, $gy$, $7$,
// $2b$, $2y$, $6$ or $5$.
class Users {
 public:
  enum class Verdict {
    kKnown,
    kUnknown,  // no user, a wrong password or no credentials at all
    kNotNow,   // the passwords were tried too often: it was not looked at
  };

  // Nothing, with the reason in *error, which names the file and the line.
  static std::optional<Users> load(const std::string& file, std::string* error);

  Users(Users&&) noexcept;
  Users& operator=(Users&&) noexcept;
  ~Users();

  // `authorization` is the value of the header of that name. The hashes are slow by intent and
  // everybody waits for them: a password that was right once is known again without, and the others
  // are tried only so often. A name that is unknown takes as long as a wrong password.
  Verdict check(std::string_view authorization, Instant now);

 private:
  struct User {
    std::string hash;
    std::optional<Digest> known{};  // of the right password, once it came
  };

  Users();
  bool add_line(std::string_view line, std::string* error);
  bool is_password(const std::string& password, const std::string& hash);

  std::map<std::string, User, std::less<>> users_;
  DigestKey key_ = random_key();
  TokenBucket tries_{{5, 5}};  // of slow hashes
  std::unique_ptr<crypt_data> scratch_;
};

}  // namespace qel::web
