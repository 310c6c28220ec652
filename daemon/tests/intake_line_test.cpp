// Lines of the intake: their forms, the stamp, and where the next whole line begins.
#include "intake_line.h"

#include <gtest/gtest.h>

#include "drain_fixture.h"

namespace qel::daemon_test {
namespace {

using daemon::form_of;
using daemon::LineForm;
using daemon::next_whole_line;
using daemon::parse_line;

std::string with_id_column(const std::string& column) {
  return new_line(1).replace(0, column.size(), column);
}

TEST(LineFormTest, IdOfOneToTenDigitsIsANewLine) {
  for (const char* column :
       {"0         ", "7         ", "123456789 ", "4294967295", "0000000000"}) {
    EXPECT_EQ(LineForm::kNew, form_of(with_id_column(column).c_str())) << column;
  }
}

TEST(LineFormTest, XWithEightHexDigitsAndABlankIsAStampedLine) {
  for (const char* column : {"x00000000 ", "x0000002A ", "xFFFFFFFF ", "xffffffff "}) {
    EXPECT_EQ(LineForm::kStamped, form_of(with_id_column(column).c_str())) << column;
  }
}

TEST(LineFormTest, AnyOtherIdColumnIsBroken) {
  for (const char* column : {"          ", " 1        ", "1 1       ", "1x        ", "x0000000G ",
                             "xx        ", "X0000002A ", "-1        ", "\n1        "}) {
    EXPECT_EQ(LineForm::kBroken, form_of(with_id_column(column).c_str())) << column;
  }
}

// A kill between two pages of the file: nothing was done under a stamp that is not there whole.
TEST(LineFormTest, StampThatWasTornByAKillLeavesTheLineNew) {
  const std::string stamp = "x0000002A ";
  for (size_t written = 1; written < 9; ++written) {
    const std::string column = stamp.substr(0, written) + std::string("0         ").substr(written);
    EXPECT_EQ(LineForm::kNew, form_of(with_id_column(column.c_str()).c_str())) << column;
    EXPECT_EQ(0U, parse_line(with_id_column(column.c_str()).c_str()).alert_id) << column;
  }
  EXPECT_EQ(LineForm::kNew, form_of(with_id_column("x0000002A1").c_str()));
}

TEST(LineFormTest, LineWithoutItsEndIsBroken) {
  std::string line = new_line(1);
  line.back() = ' ';
  EXPECT_EQ(LineForm::kBroken, form_of(line.c_str()));
  line = stamped_line(1, 1);
  line.back() = 'x';
  EXPECT_EQ(LineForm::kBroken, form_of(line.c_str()));
}

TEST(LineFormTest, MessageWithLineEndsIsWhole) {
  ALERT_RECORD_INFO alert = alt_test::make_record(1);
  alt_test::set_text(alert.szAlertMessage, "first\nsecond\n\n");
  const std::string line = line_of(alert);
  EXPECT_EQ(LineForm::kNew, form_of(line.c_str()));
  EXPECT_STREQ("first\nsecond\n\n", parse_line(line.c_str()).szAlertMessage);
}

TEST(Stamp, ComesBackAsTheAlertId) {
  for (const uint32_t id : {0U, 1U, 9U, 10U, 0xABCDEFU, 99999999U, 1000000000U, 0x7FFFFFFFU,
                            0x80000000U, 0xFFFFFFFEU, 0xFFFFFFFFU}) {
    const std::string line = stamped_line(id, 5);
    EXPECT_EQ(LineForm::kStamped, form_of(line.c_str())) << id;
    EXPECT_EQ(id, parse_line(line.c_str()).alert_id);
    EXPECT_EQ(new_line(5).substr(kColumnId.width), line.substr(kColumnId.width));
  }
}

TEST(ParseLine, IdOfTheProgramIsNotTaken) {
  EXPECT_EQ(0U, parse_line(with_id_column("4294967295").c_str()).alert_id);
}

TEST(ParseLine, GivesEveryTextWithoutItsTrailingBlanks) {
  ALERT_RECORD_INFO alert =
      alt_test::make_record(0, std::string(64, 's'), std::string(31, 'm'), "1234567", "3",
                            "2024/01/31 23:59:59.123", std::string(511, 't'));
  EXPECT_EQ(alt_test::describe(alert), alt_test::describe(parse_line(line_of(alert).c_str())));
  alert = alt_test::make_record(0, "s  ", " m ", "1", "2", "2024/01/31 23:59:59.123", " a  b ");
  const ALERT_RECORD_INFO parsed = parse_line(line_of(alert).c_str());
  EXPECT_STREQ("s", parsed.szServer);
  EXPECT_STREQ(" m", parsed.szModType);
  EXPECT_STREQ(" a  b", parsed.szAlertMessage);
}

TEST(ParseLine, BlankColumnsAreEmptyTexts) {
  std::string line(kIntakeLine, ' ');
  line[0] = '0';
  line.back() = '\n';
  const ALERT_RECORD_INFO parsed = parse_line(line.c_str());
  EXPECT_EQ(alt_test::describe(ALERT_RECORD_INFO{}), alt_test::describe(parsed));
}

TEST(NextWholeLine, IsFoundBehindAnyNumberOfBrokenBytes) {
  for (const size_t broken : {1UL, 16UL, 683UL, 684UL, 685UL, 3000UL}) {
    const std::string data = std::string(broken, '#') + new_line(1) + new_line(2);
    EXPECT_EQ(broken, next_whole_line(data.data(), data.size())) << broken;
  }
}

TEST(NextWholeLine, IsFoundBehindPartsOfLines) {
  for (const size_t part : {1UL, 10UL, 171UL, 500UL, 683UL}) {
    const std::string head = new_line(1).substr(0, part) + stamped_line(7, 2);
    EXPECT_EQ(part, next_whole_line(head.data(), head.size())) << part;
    const std::string tail = new_line(1).substr(part) + new_line(2);
    EXPECT_EQ(kIntakeLine - part, next_whole_line(tail.data(), tail.size())) << part;
  }
}

TEST(NextWholeLine, WithoutOneIsTheEndOfTheData) {
  for (const size_t size : {1UL, 683UL, 684UL, 2000UL}) {
    const std::string data(size, '\n');
    EXPECT_EQ(size, next_whole_line(data.data(), data.size()));
  }
  const std::string cut = "#" + new_line(1).substr(0, 683);
  EXPECT_EQ(cut.size(), next_whole_line(cut.data(), cut.size()));
}

}  // namespace
}  // namespace qel::daemon_test
