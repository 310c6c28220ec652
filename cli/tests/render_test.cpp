#include "output/render.h"

#include <gtest/gtest.h>

#include <clocale>
#include <vector>

#include "output/visible_text.h"
#include "support/records.h"

namespace qel::cli {
namespace {

using alt_test::make_record;

ALERT_RECORD_INFO alert_with(const std::string& message) {
  return make_record(7, "node1", "disk", "1001", "2", "2024/01/31 10:00:00.500", message);
}

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

TEST(Table, ColumnsAreAsWideAsTheirWidestText) {
  const std::vector<ALERT_RECORD_INFO> alerts = {
      make_record(2, "n", "network-interfaces", "7", "1", "2024/01/31 10:00:01.000", "link down"),
      alert_with("disk 3 failed")};
  EXPECT_EQ(
      "RAISED                   LEVEL  SERVER  MODULE              EVENT  MESSAGE\n"
      "2024/01/31 10:00:01.000  1      n       network-interfaces  7      link down\n"
      "2024/01/31 10:00:00.500  2      node1   disk                1001   disk 3 failed\n",
      alerts_as_table(alerts, 0));
}

TEST(Table, LinesAreCutAtTheWidthGiven) {
  const std::vector<ALERT_RECORD_INFO> alerts = {alert_with("disk 3 failed")};
  EXPECT_EQ(
      "RAISED                   LEVEL  SERVER  MODULE  EVENT  MES...\n"
      "2024/01/31 10:00:00.500  2      node1   disk    1001   dis...\n",
      alerts_as_table(alerts, 61));
}

TEST(Table, MessageWithLineEndStaysOnItsLine) {
  const std::vector<ALERT_RECORD_INFO> alerts = {alert_with("a\nb")};
  EXPECT_NE(std::string::npos, alerts_as_table(alerts, 0).find("  a\\x0ab\n"));
}

TEST(Full, EveryFieldHasALine) {
  ALERT_RECORD_INFO alert = alert_with("disk \x1b failed");
  alt_test::set_text(alert.szWriteTime, "2024/01/31 10:00:00.750");
  EXPECT_EQ(
      "Alert:    7\n"
      "Raised:   2024/01/31 10:00:00.500\n"
      "Written:  2024/01/31 10:00:00.750\n"
      "Level:    2\n"
      "Server:   node1\n"
      "Module:   disk\n"
      "Event:    1001\n"
      "Message:  disk \\x1b failed\n",
      alerts_as_full(std::vector{alert}));
}

TEST(Full, BlocksAreSeparatedByAnEmptyLine) {
  const std::string text = alerts_as_full(std::vector{alert_with("one"), alert_with("two")});
  EXPECT_NE(std::string::npos, text.find("Message:  one\n\nAlert:    7\n"));
}

TEST(JsonText, AlertHasEveryMemberInOrder) {
  ALERT_RECORD_INFO alert = alert_with("say \"hi\"\n");
  alert.alert_id = 4294967295U;
  alt_test::set_text(alert.szWriteTime, "2024/01/31 10:00:00.750");
  EXPECT_EQ(
      "[{\"id\":4294967295,\"event\":\"1001\",\"level\":\"2\",\"server\":\"node1\","
      "\"module\":\"disk\",\"written\":\"2024/01/31 10:00:00.750\","
      "\"raised\":\"2024/01/31 10:00:00.500\",\"message\":\"say \\\"hi\\\"\\n\"}]",
      alerts_as_json(std::vector{alert}).dump());
}

TEST(JsonText, NoAlertsAreAnEmptyArray) { EXPECT_EQ("[]\n", alerts_as("json", {})); }

TEST(JsonText, InvalidBytesBecomeReplacementCharacters) {
  const std::string text =
      json_text(alerts_as_json(std::vector{alert_with("a\xff"
                                                      "b")}));
  EXPECT_NE(std::string::npos, text.find("\"a\ufffdb\""));
}

TEST(Forms, NoAlertsGiveNoTable) {
  EXPECT_EQ("", alerts_as("table", {}));
  EXPECT_EQ("", alerts_as("full", {}));
}

}  // namespace
}  // namespace qel::cli
