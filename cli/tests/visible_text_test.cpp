#include "alerts/visible_text.h"

#include <gtest/gtest.h>

#include <clocale>

namespace qel::cli {
namespace {

TEST(VisibleText, PlainTextStays) { EXPECT_EQ("a \\ b \"c\" ~", visible("a \\ b \"c\" ~")); }

TEST(VisibleText, ControlCharactersBecomeHexadecimal) {
  EXPECT_EQ("a\\x0ab\\x1b[31m\\x7f\\x00", visible(std::string_view("a\nb\x1b[31m\x7f\0", 10)));
}

TEST(VisibleText, CharactersOfAllLengthsStay) {
  const std::string text = "\u00e9 \u20ac \U0001f514";
  EXPECT_EQ(text, visible(text));
}

TEST(VisibleText, SecondSetOfControlCharactersBecomesHexadecimal) {
  EXPECT_EQ("\\xc2\\x9b31m", visible("\xc2\x9b"
                                     "31m"));
}

TEST(VisibleText, InvalidBytesBecomeHexadecimal) {
  EXPECT_EQ("\\xff", visible("\xff"));
  EXPECT_EQ("\\x80z", visible("\x80z"));
  EXPECT_EQ("\\xe2\\x82", visible("\xe2\x82"));                    // cut off
  EXPECT_EQ("\\xc3(", visible("\xc3("));                           // continued wrongly
  EXPECT_EQ("\\xc0\\xaf", visible("\xc0\xaf"));                    // longer than needed
  EXPECT_EQ("\\xe0\\x80\\xaf", visible("\xe0\x80\xaf"));           // the same in three bytes
  EXPECT_EQ("\\xed\\xa0\\x80", visible("\xed\xa0\x80"));           // a surrogate
  EXPECT_EQ("\\xf4\\x90\\x80\\x80", visible("\xf4\x90\x80\x80"));  // behind the last character
}

TEST(VisibleText, ShortTextIsNotCut) { EXPECT_EQ("abcde", cut_to_cells("abcde", 5)); }

TEST(VisibleText, LongTextIsCutWithAMark) { EXPECT_EQ("ab...", cut_to_cells("abcdef", 5)); }

TEST(VisibleText, CutNeverSplitsACharacter) {
  EXPECT_EQ("\u00e9...", cut_to_cells("\u00e9\u00e9\u00e9\u00e9\u00e9", 4));
}

TEST(VisibleText, CutBelowTheMarkKeepsTheWidth) { EXPECT_EQ("..", cut_to_cells("abcdef", 2)); }

TEST(VisibleText, WideCharactersTakeTwoCells) {
  ASSERT_NE(nullptr, setlocale(LC_CTYPE, "C.UTF-8"));
  EXPECT_EQ(4U, cell_count("\u8b66\u5831"));
  EXPECT_EQ("\u8b66...", cut_to_cells("\u8b66\u5831\u8b66\u5831", 6));
  setlocale(LC_CTYPE, "C");
}

TEST(VisibleText, QuotedValueIsVisibleAndShortened) {
  EXPECT_EQ("\"a\\x09b\"", in_quotes("a\tb"));
  EXPECT_EQ("\"" + std::string(57, 'x') + "...\"", in_quotes(std::string(600, 'x')));
}

}  // namespace
}  // namespace qel::cli
