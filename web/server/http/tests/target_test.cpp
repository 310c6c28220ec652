// Paths and parameters taken apart.
#include "http/target.h"

#include <gtest/gtest.h>

namespace qel::web_test {
namespace {

using namespace std::string_literals;
using web::NamedText;
using web::parse_target;

std::vector<NamedText> parameters_of(const std::string& query) {
  const auto target = parse_target("/?" + query);
  return target ? target->parameters : std::vector<NamedText>{{"refused", ""}};
}

std::string path_of(const std::string& text) {
  const auto target = parse_target(text);
  return target ? target->path : "refused";
}

TEST(Target, PathIsDecoded) {
  EXPECT_EQ("/a b/c+d", path_of("/a%20b/c+d?x"));
  EXPECT_EQ("/../%", path_of("/%2e%2E/%25"));
  EXPECT_EQ("/\xc3\xa4\xff", path_of("/%c3%A4%ff"));
  EXPECT_EQ("/a\0b"s, path_of("/a%00b"));
  EXPECT_EQ("/%00", path_of("/%2500"));
}

TEST(Target, ParametersKeepTheirOrder) {
  const std::vector<NamedText> expected{{"b", "1"}, {"a", ""}, {"b", "2=3"}, {"", "4"}};
  EXPECT_EQ(expected, parameters_of("b=1&a&b=2=3&=4"));
}

TEST(Target, ParametersAreDecodedAfterTheyWereTakenApart) {
  const std::vector<NamedText> expected{{"a&b", "c=d e+f"}, {"x", "?"}};
  EXPECT_EQ(expected, parameters_of("a%26b=c%3Dd+e%2Bf&x=?"));
}

TEST(Target, NulIsAByteLikeOthers) {
  const std::vector<NamedText> expected{{"a\0b"s, "\0"s}};
  EXPECT_EQ(expected, parameters_of("a%00b=%00"));
}

TEST(Target, EmptyParametersAreNone) {
  EXPECT_TRUE(parameters_of("").empty());
  EXPECT_TRUE(parameters_of("&&&").empty());
}

TEST(Target, WrongEncodingIsRefused) {
  for (const char* text :
       {"/%", "/%a", "/%0x", "/% 1", "/%+1", "/%-1", "/?a=%", "/?%zz=1", "/?a=%1"}) {
    EXPECT_FALSE(parse_target(text)) << text;
  }
}

TEST(Target, WhatIsNoPathIsRefused) {
  for (const char* text : {"", "*", "a", "http://localhost/", "localhost:80", "?a=1"}) {
    EXPECT_FALSE(parse_target(text)) << text;
  }
}

}  // namespace
}  // namespace qel::web_test
