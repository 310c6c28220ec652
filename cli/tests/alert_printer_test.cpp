#include "output/alert_printer.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <vector>

#include "output/out.h"
#include "support/records.h"

namespace qel::cli {
namespace {

using alt_test::make_record;
using Alerts = std::vector<ALERT_RECORD_INFO>;

ALERT_RECORD_INFO with_written(ALERT_RECORD_INFO alert, const std::string& time) {
  alt_test::set_text(alert.szWriteTime, time);
  return alert;
}

const Alerts kTwo = {with_written(make_record(7, "node1", "disk", "1001", "2",
                                              "2024/01/31 10:00:00.500", "disk 3 failed"),
                                  "2024/01/31 10:00:00.750"),
                     with_written(make_record(4294967295U, "n", "network", "7", "1",
                                              "2024/01/31 10:00:01.000", "a, \"b\""),
                                  "2024/01/31 10:00:01.000")};

ALERT_RECORD_INFO with_message(const std::string& message) {
  return with_written(make_record(7, "n", "m", "1", "3", "2024/01/31 10:00:00.500", message),
                      "2024/01/31 10:00:00.500");
}

// Standard output goes into a file as long as this lives.
class CapturedOutput {
 public:
  CapturedOutput() : file_(tmpfile()), saved_(dup(STDOUT_FILENO)) {
    fflush(stdout);
    dup2(fileno(file_), STDOUT_FILENO);
  }
  ~CapturedOutput() {
    dup2(saved_, STDOUT_FILENO);
    close(saved_);
    fclose(file_);
  }
  CapturedOutput(const CapturedOutput&) = delete;
  CapturedOutput& operator=(const CapturedOutput&) = delete;

  std::string text() const {
    flush_output();
    std::string text;
    rewind(file_);
    for (int c; (c = fgetc(file_)) != EOF;) text += static_cast<char>(c);
    return text;
  }

 private:
  FILE* file_;
  int saved_;
};

AlertList list_of(const Alerts& alerts) {
  AlertList list;
  for (const ALERT_RECORD_INFO& alert : alerts) list.push_back(&alert);
  return list;
}

// What the batches look like, one after the other.
std::string printed(const Presentation& presentation, const std::vector<Alerts>& batches) {
  const CapturedOutput output;
  AlertPrinter printer(presentation);
  for (const Alerts& batch : batches) printer.print_batch(list_of(batch));
  return output.text();
}

TEST(AlertPrinter, ShortIsALineForEachAlert) {
  EXPECT_EQ(
      "2024/01/31 10:00:00.500 2 node1/7 disk[1001]: disk 3 failed\n"
      "2024/01/31 10:00:01.000 1 n/4294967295 network[7]: a, \"b\"\n",
      printed({.form = "short"}, {kTwo}));
}

TEST(AlertPrinter, FullIsABlockForEachAlertWithAnEmptyLineBetween) {
  EXPECT_EQ(
      "Alert:    node1/7\n"
      "Raised:   2024/01/31 10:00:00.500\n"
      "Written:  2024/01/31 10:00:00.750\n"
      "Level:    2\n"
      "Module:   disk\n"
      "Event:    1001\n"
      "Message:  disk 3 failed\n"
      "\n"
      "Alert:    n/4294967295\n"
      "Raised:   2024/01/31 10:00:01.000\n"
      "Written:  2024/01/31 10:00:01.000\n"
      "Level:    1\n"
      "Module:   network\n"
      "Event:    7\n"
      "Message:  a, \"b\"\n",
      printed({.form = "full"}, {kTwo}));
}

TEST(AlertPrinter, BlocksOfLaterBatchesAreSeparatedToo) {
  const std::string text =
      printed({.form = "full", .fields = {Field::kMessage}},
              {{with_message("one")}, {}, {with_message("two"), with_message("three")}});
  EXPECT_EQ("Message:  one\n\nMessage:  two\n\nMessage:  three\n", text);
}

TEST(AlertPrinter, TableHasTitlesAndAlignedColumns) {
  EXPECT_EQ(
      "RAISED                   LEVEL  SERVER  ID          MODULE   EVENT  MESSAGE\n"
      "2024/01/31 10:00:00.500  2      node1   7           disk     1001   disk 3 failed\n"
      "2024/01/31 10:00:01.000  1      n       4294967295  network  7      a, \"b\"\n",
      printed({.form = "table"}, {kTwo}));
}

TEST(AlertPrinter, TableIsCutAtItsWidth) {
  EXPECT_EQ(
      "RAISED                   LEVEL  SERVER  ...\n"
      "2024/01/31 10:00:00.500  2      node1   ...\n",
      printed({.form = "table", .width = 43}, {{kTwo[0]}}));
}

TEST(AlertPrinter, TableOfSeveralBatchesHasItsTitlesOnceAndGrows) {
  const Presentation presentation{.form = "table", .fields = {Field::kMessage, Field::kId}};
  EXPECT_EQ(
      "MESSAGE  ID\n"
      "one      7\n"
      "message of two  7\n"
      "three           7\n",
      printed(
          presentation,
          {{}, {with_message("one")}, {with_message("message of two")}, {with_message("three")}}));
}

TEST(AlertPrinter, JsonIsAnObjectALineWithEveryMember) {
  EXPECT_EQ(
      R"({"raised":"2024/01/31 10:00:00.500","written":"2024/01/31 10:00:00.750","level":"2",)"
      R"("server":"node1","id":7,"module":"disk","event":"1001","message":"disk 3 failed"})"
      "\n"
      R"({"raised":"2024/01/31 10:00:01.000","written":"2024/01/31 10:00:01.000","level":"1",)"
      R"("server":"n","id":4294967295,"module":"network","event":"7","message":"a, \"b\""})"
      "\n",
      printed({.form = "json"}, {kTwo}));
}

TEST(AlertPrinter, JsonPrettyIsTheSameObjectOverLines) {
  EXPECT_EQ(
      "{\n"
      "  \"raised\": \"2024/01/31 10:00:00.500\",\n"
      "  \"written\": \"2024/01/31 10:00:00.750\",\n"
      "  \"level\": \"2\",\n"
      "  \"server\": \"node1\",\n"
      "  \"id\": 7,\n"
      "  \"module\": \"disk\",\n"
      "  \"event\": \"1001\",\n"
      "  \"message\": \"disk 3 failed\"\n"
      "}\n",
      printed({.form = "json-pretty"}, {{kTwo[0]}}));
}

TEST(AlertPrinter, CsvIsALineOfNamesAndOneOfValuesForEachAlert) {
  EXPECT_EQ(
      "raised,written,level,server,id,module,event,message\n"
      "2024/01/31 10:00:00.500,2024/01/31 10:00:00.750,2,node1,7,disk,1001,disk 3 failed\n"
      "2024/01/31 10:00:01.000,2024/01/31 10:00:01.000,1,n,4294967295,network,7,"
      "\"a, \"\"b\"\"\"\n",
      printed({.form = "csv"}, {kTwo}));
}

TEST(AlertPrinter, CsvNamesStandOnceAboveAllBatches) {
  const Presentation presentation{.form = "csv", .fields = {Field::kMessage}};
  EXPECT_EQ("message\none\ntwo\n",
            printed(presentation, {{with_message("one")}, {with_message("two")}}));
  EXPECT_EQ("message\n", printed(presentation, {{}}));
}

TEST(AlertPrinter, CsvQuotesWhatWouldBeTakenForStructure) {
  const auto value = [](const std::string& message) {
    return printed({.form = "csv", .fields = {Field::kMessage}}, {{with_message(message)}})
        .substr(std::string("message\n").size());
  };
  EXPECT_EQ("plain 'text' ; | \t tab\n", value("plain 'text' ; | \t tab"));
  EXPECT_EQ("\"a,b\"\n", value("a,b"));
  EXPECT_EQ("\"\"\"\"\n", value("\""));
  EXPECT_EQ("\"a\nb\"\n", value("a\nb"));
  EXPECT_EQ("\"a\rb\"\n", value("a\rb"));
}

TEST(AlertPrinter, CatIsTheMessageAlone) {
  EXPECT_EQ("disk 3 failed\na, \"b\"\n", printed({.form = "cat"}, {kTwo}));
  EXPECT_EQ("7 disk 3 failed\n4294967295 a, \"b\"\n",
            printed({.form = "cat", .fields = {Field::kId, Field::kMessage}}, {kTwo}));
}

TEST(AlertPrinter, FieldsComeInTheOrderAsked) {
  const Fields fields = {Field::kAlert, Field::kWritten, Field::kLevel};
  EXPECT_EQ(
      "ALERT    WRITTEN                  LEVEL\n"
      "node1/7  2024/01/31 10:00:00.750  2\n",
      printed({.form = "table", .fields = fields}, {{kTwo[0]}}));
  EXPECT_EQ(R"({"alert":"node1/7","written":"2024/01/31 10:00:00.750","level":"2"})"
            "\n",
            printed({.form = "json", .fields = fields}, {{kTwo[0]}}));
  EXPECT_EQ("alert,written,level\nnode1/7,2024/01/31 10:00:00.750,2\n",
            printed({.form = "csv", .fields = fields}, {{kTwo[0]}}));
}

TEST(AlertPrinter, NoAlertsAreNoTextExceptTheNamesOfCsv) {
  for (const std::string& form : output_forms()) {
    const std::string text = printed({.form = form}, {{}});
    EXPECT_EQ(form == "csv" ? "raised,written,level,server,id,module,event,message\n" : "", text)
        << form;
  }
}

TEST(AlertPrinter, FormsForPeopleShowControlCharactersAsHexadecimal) {
  const Alerts hostile = {with_message("a\n\x1b[2Jb\xff")};
  for (const char* form : {"short", "full", "table"}) {
    EXPECT_NE(std::string::npos, printed({.form = form}, {hostile}).find("a\\x0a\\x1b[2Jb\\xff\n"))
        << form;
  }
}

TEST(AlertPrinter, FormsForProgramsKeepControlCharactersUnlessATerminalGetsThem) {
  const Alerts hostile = {with_message("a\x1b[2Jb")};
  for (const char* form : {"csv", "cat"}) {
    EXPECT_NE(std::string::npos, printed({.form = form}, {hostile}).find("a\x1b[2Jb\n")) << form;
    EXPECT_NE(std::string::npos,
              printed({.form = form, .terminal = true}, {hostile}).find("a\\x1b[2Jb\n"))
        << form;
  }
}

TEST(AlertPrinter, LevelsHaveColoursWhereTheFormIsForPeople) {
  const Alerts levels = {make_record(1, "n", "m", "1", "1", "", "one"),
                         make_record(2, "n", "m", "1", "2", "", "two"),
                         make_record(3, "n", "m", "1", "3", "", "three")};
  const Fields fields = {Field::kMessage};
  EXPECT_EQ("\x1b[1;31mone\x1b[0m\n\x1b[33mtwo\x1b[0m\nthree\n",
            printed({.form = "cat", .fields = fields, .color = true}, {levels}));
  EXPECT_EQ("\x1b[1mMESSAGE\x1b[0m\n\x1b[1;31mone\x1b[0m\n\x1b[33mtwo\x1b[0m\nthree\n",
            printed({.form = "table", .fields = fields, .color = true}, {levels}));
  EXPECT_EQ("\x1b[1;31m 1 n/1 m[1]: one\x1b[0m\n",
            printed({.form = "short", .color = true}, {{levels[0]}}));
  for (const char* form : {"json", "json-pretty", "csv"}) {
    EXPECT_EQ(std::string::npos, printed({.form = form, .color = true}, {levels}).find('\x1b'));
  }
}

TEST(AlertPrinter, TimesAreUtcOnRequestAndStayWhenTheyAreNone) {
  setenv("TZ", "XYZ-1", 1);
  tzset();
  const Fields fields = {Field::kRaised, Field::kWritten};
  EXPECT_EQ("2024-01-31T09:00:00.500Z 2024-01-31T09:00:00.750Z\n",
            printed({.form = "cat", .fields = fields, .zone = Zone::kUtc}, {{kTwo[0]}}));
  EXPECT_EQ("noon 2024-01-31T09:00:00.750Z\n",
            printed({.form = "cat", .fields = fields, .zone = Zone::kUtc},
                    {{with_written(make_record(1, "n", "m", "1", "1", "noon", "x"),
                                   "2024/01/31 10:00:00.750")}}));
  unsetenv("TZ");
  tzset();
}

}  // namespace
}  // namespace qel::cli
