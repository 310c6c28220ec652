// Users files with their faults, and passwords.
#include "http/users.h"

#include <crypt.h>
#include <gtest/gtest.h>

#include "testing/test_support.h"
#include "user_files.h"

namespace qel::web_test {
namespace {

using web::Instant;
using web::Users;
using Verdict = Users::Verdict;
using std::chrono::seconds;

constexpr Instant kNow = Instant(std::chrono::hours(1000));

class UsersFile : public ::testing::Test {
 protected:
  std::optional<Users> load(const std::string& content) {
    testing::write_file(file_, content);
    return Users::load(file_, &error_);
  }
  Users load_well(const std::string& content) {
    std::optional<Users> users = load(content);
    EXPECT_TRUE(users) << error_;
    return std::move(users.value());
  }
  void expect_fault(size_t line, const std::string& reason, const std::string& content) {
    EXPECT_FALSE(load(content)) << content;
    EXPECT_EQ(file_ + ":" + std::to_string(line) + ": " + reason, error_) << content;
  }

  testing::ScratchDirectory directory_;
  const std::string file_ = directory_ / "users";
  std::string error_;
};

TEST_F(UsersFile, EveryStrongMethodIsTaken) {
  for (const char* setting : {"$5$rounds=1000$salt$", "$6$rounds=1000$salt$",
                              "$2b$04$abcdefghijklmnopqrstuu", "$2y$04$abcdefghijklmnopqrstuu",
                              "$y$j75$abcdefgh$", "$gy$j75$abcdefgh$", "$7$66..../....abcdefgh$"}) {
    const std::string hash = hash_of("s3cret", setting);
    Users users = load_well("eve:" + hash + "\n");
    EXPECT_EQ(Verdict::kKnown, users.check(basic("eve:s3cret"), kNow)) << hash;
    EXPECT_EQ(Verdict::kUnknown, users.check(basic("eve:S3cret"), kNow)) << hash;
  }
}

TEST_F(UsersFile, CommentsEmptyLinesAndTheRoleReadAreTaken) {
  Users users = load_well("# all of them\n\n  \n  # more\nanna:" + cheap_hash("a") +
                          "\nbert:" + cheap_hash("b") + ":read\n");
  EXPECT_EQ(Verdict::kKnown, users.check(basic("anna:a"), kNow));
  EXPECT_EQ(Verdict::kKnown, users.check(basic("bert:b"), kNow));
  EXPECT_EQ(Verdict::kUnknown, users.check(basic("anna:b"), kNow));
}

TEST_F(UsersFile, OtherRoleIsNamed) {
  expect_fault(2, "the role \"admin\" is unknown; there is only \"read\"",
               "# x\nanna:" + cheap_hash("a") + ":admin\n");
  expect_fault(1, "the role \"\" is unknown; there is only \"read\"",
               "anna:" + cheap_hash("a") + ":\n");
}

TEST_F(UsersFile, WeakAndUnknownHashesAreRefused) {
  const std::string reason =
      "the password has no hash of a method that is strong enough ($y$, $gy$, $7$, $2b$, $2y$, "
      "$6$, $5$)";
  for (const char* hash :
       {"abJnggxhB/yWI", "$1$salt$qJH7.N4xYta3aEG/dfqo/0", "_J9..rasmBYk8r9AiWNc", "s3cret", "",
        "*", "!", "$2a$04$abcdefghijklmnopqrstuuabcdefghijklmnopqrstuuabcdefghi", "$3$$abc", "x"}) {
    expect_fault(1, reason, std::string("anna:") + hash + "\n");
  }
}

TEST_F(UsersFile, HashThatIsNotWholeIsRefused) {
  const std::string hash = hash_of("a", "$6$rounds=1000$salt$");
  const std::string reason = "the hash of the password is not a whole one of the method ";
  expect_fault(1, reason + "$6$", "anna:$6$rounds=1000$salt\n");
  expect_fault(1, reason + "$6$", "anna:" + hash.substr(0, hash.size() - 1) + "\n");
  expect_fault(1, reason + "$6$", "anna:" + hash + "x\n");
  expect_fault(1, reason + "$2b$", "anna:$2b$\n");
}

TEST_F(UsersFile, LineOfAnotherFormIsRefused) {
  const std::string reason = "the line is not name:hash or name:hash:role";
  expect_fault(1, reason, "anna\n");
  expect_fault(3, reason, "\n\nanna:" + cheap_hash("a") + ":read:\n");
}

TEST_F(UsersFile, NameMustBeThereAndVisible) {
  const std::string reason = "the user has no name of visible characters";
  expect_fault(1, reason, ":" + cheap_hash("a") + "\n");
  expect_fault(1, reason, "an\x01na:" + cheap_hash("a") + "\n");
}

TEST_F(UsersFile, UserWhoStandsThereTwiceIsRefused) {
  const std::string line = "anna:" + cheap_hash("a") + "\n";
  expect_fault(2, "the user anna stands there twice", line + line);
}

TEST_F(UsersFile, WithoutUsersIsRefused) {
  EXPECT_FALSE(load("# nobody\n"));
  EXPECT_EQ("the users file " + file_ + " has no users", error_);
}

TEST_F(UsersFile, ThatCannotBeReadIsNamed) {
  EXPECT_FALSE(Users::load(directory_ / "none", &error_));
  EXPECT_EQ("the file " + directory_ / "none" + " cannot be read: No such file or directory",
            error_);
  EXPECT_FALSE(Users::load(directory_.path(), &error_));
  EXPECT_EQ("the file " + directory_.path() + " cannot be read: Is a directory", error_);
}

class Passwords : public UsersFile {
 protected:
  Verdict check(const std::string& credentials, Instant now = kNow) {
    return users_.check(basic(credentials), now);
  }

  Users users_ = load_well("anna:" + cheap_hash("a:b") + "\nbert:" + cheap_hash("") + "\n");
};

TEST_F(Passwords, MayHaveColonsOrBeEmpty) {
  EXPECT_EQ(Verdict::kKnown, check("anna:a:b"));
  EXPECT_EQ(Verdict::kKnown, check("bert:"));
  EXPECT_EQ(Verdict::kUnknown, check("anna:"));
}

TEST_F(Passwords, UnknownUserWithTheirPasswordIsUnknown) {
  EXPECT_EQ(Verdict::kUnknown, check("carl:a:b"));
  EXPECT_EQ(Verdict::kUnknown, check(":a:b"));
  EXPECT_EQ(Verdict::kUnknown, check("Anna:a:b"));
}

TEST_F(Passwords, NulDoesNotCutThem) {
  using namespace std::string_literals;
  EXPECT_EQ(Verdict::kUnknown, check("anna:a:b\0c"s));
  EXPECT_EQ(Verdict::kUnknown, check("anna\0:a:b"s));
  EXPECT_EQ(Verdict::kUnknown, check("bert:\0"s));
}

TEST_F(Passwords, HeaderThatIsNoneOfBasicIsUnknown) {
  const std::string coded = basic("anna:a:b").substr(6);
  for (const std::string& header :
       {std::string(), std::string("Basic"), std::string("Basic "), "Bearer " + coded, coded,
        std::string("Basic !!!!"), "Basic " + coded + "?", std::string("Basic YW5uYQ==")}) {
    EXPECT_EQ(Verdict::kUnknown, users_.check(header, kNow)) << header;
  }
  EXPECT_EQ(Verdict::kKnown, users_.check("bAsIc  " + coded, kNow));
}

TEST_F(Passwords, WrongOnesAreTriedOnlySoOften) {
  for (int i = 0; i < 5; ++i) EXPECT_EQ(Verdict::kUnknown, check("anna:wrong"));
  EXPECT_EQ(Verdict::kNotNow, check("anna:wrong"));
  EXPECT_EQ(Verdict::kNotNow, check("carl:wrong"));
  EXPECT_EQ(Verdict::kNotNow, check("anna:a:b"));
  EXPECT_EQ(Verdict::kKnown, check("anna:a:b", kNow + seconds(1)));
}

TEST_F(Passwords, RightOneIsKnownAgainWhileOthersAreTried) {
  EXPECT_EQ(Verdict::kKnown, check("anna:a:b"));
  for (int i = 0; i < 20; ++i) check("anna:wrong");
  ASSERT_EQ(Verdict::kNotNow, check("anna:wrong"));
  for (int i = 0; i < 1000; ++i) EXPECT_EQ(Verdict::kKnown, check("anna:a:b"));
}

TEST_F(Passwords, WithoutCredentialsCostsNoTry) {
  for (int i = 0; i < 100; ++i) EXPECT_EQ(Verdict::kUnknown, users_.check("", kNow));
  EXPECT_EQ(Verdict::kKnown, check("anna:a:b"));
}

}  // namespace
}  // namespace qel::web_test
