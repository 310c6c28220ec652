// Every form of the answer, from every subcommand that shows alerts, as the program prints it.
#include "reading.h"

namespace qel::cli::testing {
namespace {

struct Golden {
  const char* form;
  const char* head;  // before the first alert
  const char* alerts[2];
  const char* between;
};

constexpr Golden kForms[] = {
    {"short",
     "",
     {"2024/01/31 10:00:00.500 2 node1/7 disk[1001]: disk 3 failed\n",
      "2024/01/31 10:00:01.000 1 n/12 network[7]: a, \"b\"\n"},
     ""},
    {"full",
     "",
     {"Alert:    node1/7\n"
      "Raised:   2024/01/31 10:00:00.500\n"
      "Written:  2024/01/31 10:00:00.750\n"
      "Level:    2\n"
      "Module:   disk\n"
      "Event:    1001\n"
      "Message:  disk 3 failed\n",
      "Alert:    n/12\n"
      "Raised:   2024/01/31 10:00:01.000\n"
      "Written:  2024/01/31 10:00:01.250\n"
      "Level:    1\n"
      "Module:   network\n"
      "Event:    7\n"
      "Message:  a, \"b\"\n"},
     "\n"},
    {"table",
     "RAISED                   LEVEL  SERVER  ID  MODULE   EVENT  MESSAGE\n",
     {"2024/01/31 10:00:00.500  2      node1   7   disk     1001   disk 3 failed\n",
      "2024/01/31 10:00:01.000  1      n       12  network  7      a, \"b\"\n"},
     ""},
    {"json",
     "",
     {R"({"raised":"2024/01/31 10:00:00.500","written":"2024/01/31 10:00:00.750","level":"2",)"
      R"("server":"node1","id":7,"module":"disk","event":"1001","message":"disk 3 failed"})"
      "\n",
      R"({"raised":"2024/01/31 10:00:01.000","written":"2024/01/31 10:00:01.250","level":"1",)"
      R"("server":"n","id":12,"module":"network","event":"7","message":"a, \"b\""})"
      "\n"},
     ""},
    {"json-pretty",
     "",
     {"{\n"
      "  \"raised\": \"2024/01/31 10:00:00.500\",\n"
      "  \"written\": \"2024/01/31 10:00:00.750\",\n"
      "  \"level\": \"2\",\n"
      "  \"server\": \"node1\",\n"
      "  \"id\": 7,\n"
      "  \"module\": \"disk\",\n"
      "  \"event\": \"1001\",\n"
      "  \"message\": \"disk 3 failed\"\n"
      "}\n",
      "{\n"
      "  \"raised\": \"2024/01/31 10:00:01.000\",\n"
      "  \"written\": \"2024/01/31 10:00:01.250\",\n"
      "  \"level\": \"1\",\n"
      "  \"server\": \"n\",\n"
      "  \"id\": 12,\n"
      "  \"module\": \"network\",\n"
      "  \"event\": \"7\",\n"
      "  \"message\": \"a, \\\"b\\\"\"\n"
      "}\n"},
     ""},
    {"csv",
     "raised,written,level,server,id,module,event,message\n",
     {"2024/01/31 10:00:00.500,2024/01/31 10:00:00.750,2,node1,7,disk,1001,disk 3 failed\n",
      "2024/01/31 10:00:01.000,2024/01/31 10:00:01.250,1,n,12,network,7,\"a, \"\"b\"\"\"\n"},
     ""},
    {"cat", "", {"disk 3 failed\n", "a, \"b\"\n"}, ""}};

class Forms : public ReadingTest {
 protected:
  Forms() {
    ALERT_RECORD_INFO one = alert(7, "node1", "disk", "1001", "2", "2024/01/31 10:00:00.500");
    alt_test::set_text(one.szWriteTime, "2024/01/31 10:00:00.750");
    alt_test::set_text(one.szAlertMessage, "disk 3 failed");
    ALERT_RECORD_INFO two = alert(12, "n", "network", "7", "1", "2024/01/31 10:00:01.000");
    alt_test::set_text(two.szWriteTime, "2024/01/31 10:00:01.250");
    alt_test::set_text(two.szAlertMessage, "a, \"b\"");
    cluster_.store_alert(one);
    cluster_.store_alert(two);
  }

  // The only answer of a call that succeeds.
  std::string answer(const std::vector<std::string>& call, const RunOptions& options = {}) const {
    const Result result = qelalert(call, options);
    EXPECT_EQ(0, result.exit_code) << result.err;
    EXPECT_EQ("", result.err);
    return result.out;
  }
};

TEST_F(Forms, EveryFormIsTheSameFromEverySubcommand) {
  for (const auto& [form, head, alerts, between] : kForms) {
    SCOPED_TRACE(form);
    const std::string upwards = std::string(head) + alerts[0] + between + alerts[1];
    const std::string downwards = std::string(head) + alerts[1] + between + alerts[0];
    EXPECT_EQ(upwards, answer({"list", "-o", form}));
    EXPECT_EQ(upwards, answer({"export", "-o", form}));
    EXPECT_EQ(downwards, answer({"list", "-r", "--output", form}));
    EXPECT_EQ(downwards, answer({"last", "-o", form}));
  }
}

TEST_F(Forms, ShowHasTheFormsAlertByAlert) {
  for (const auto& [form, head, alerts, between] : kForms) {
    if (form == std::string("table")) continue;  // its columns grow from alert to alert
    SCOPED_TRACE(form);
    EXPECT_EQ(std::string(head) + alerts[1] + between + alerts[0],
              answer({"show", "n/12", "node1/7", "-o", form}));
  }
  EXPECT_EQ(
      "MESSAGE\n"
      "a, \"b\"\n"
      "disk 3 failed\n",
      answer({"show", "n/12", "node1/7", "--fields", "message"}));
}

TEST_F(Forms, EverySubcommandHasItsUsualForm) {
  EXPECT_EQ(answer({"list", "-o", "short"}), answer({"list"}));
  EXPECT_EQ(answer({"last", "-o", "table"}), answer({"last"}));
  EXPECT_EQ(answer({"show", "n/12", "-o", "full"}), answer({"show", "n/12"}));
  EXPECT_EQ(answer({"export", "-o", "json"}), answer({"export"}));
}

TEST_F(Forms, FieldsChooseWhatIsShownAndTakeATableByThemselves) {
  EXPECT_EQ(
      "ID  ALERT\n"
      "7   node1/7\n"
      "12  n/12\n",
      answer({"list", "--fields", "id,alert"}));
  EXPECT_EQ("ID  ALERT\n12  n/12\n7   node1/7\n", answer({"last", "--fields", "id,alert"}));
  EXPECT_EQ("MESSAGE  LEVEL\na, \"b\"   1\n", answer({"show", "n/12", "--fields=message,level"}));
  EXPECT_EQ("{\"id\":7}\n{\"id\":12}\n", answer({"list", "-o", "json", "--fields", "id"}));
  EXPECT_EQ("Event:   1001\nModule:  disk\n\nEvent:   7\nModule:  network\n",
            answer({"list", "-o", "full", "--fields", "event,module"}));
  EXPECT_EQ("server,message\nnode1,disk 3 failed\nn,\"a, \"\"b\"\"\"\n",
            answer({"export", "-o", "csv", "--fields", "server,message"}));
  EXPECT_EQ("2024/01/31 10:00:00.500 2024/01/31 10:00:00.750\n",
            answer({"list", "-s", "node1", "-o", "cat", "--fields", "raised,written"}));
}

TEST_F(Forms, TimesAreUtcOnRequestInEveryForm) {
  const RunOptions east{.environment = {{"TZ", "XYZ-5:30"}}};
  for (const char* command : {"list", "last", "export"}) {
    for (const auto& golden : kForms) {
      const std::string text = answer({command, "--utc", "-o", golden.form}, east);
      const bool with_times = golden.form != std::string("cat");
      EXPECT_EQ(with_times, text.find("2024-01-31T04:30:00.500Z") != std::string::npos) << text;
      EXPECT_EQ(std::string::npos, text.find("2024/01/31"));
    }
  }
  EXPECT_EQ("2024-01-31T04:30:01.000Z 2024-01-31T04:30:01.250Z\n",
            answer({"show", "n/12", "--utc", "-o", "cat", "--fields", "raised,written"}, east));
}

TEST_F(Forms, TableIsCutAtTheWidthOfATerminalOnly) {
  cluster_.store_alert(alert_with_message(1, std::string(511, 'x')));
  const Result terminal = qelalert({"last", "--color", "never"}, {.terminal_columns = 70});
  EXPECT_NE(std::string::npos, terminal.out.find("1001   xxxxxxx...\r\n")) << terminal.out;
  for (size_t begin = 0; begin < terminal.out.size();) {
    const size_t end = terminal.out.find("\r\n", begin);
    EXPECT_LE(end - begin, 70U);
    begin = end + 2;
  }
  EXPECT_NE(std::string::npos, answer({"last"}).find(std::string(511, 'x') + "\n"));
}

// ---- texts that would harm a terminal or a reader ----------------------------------------------

constexpr char kHostile[] = "a\x1b[31m\tb\xff\x7f\xc2\x9b \u00e9";
constexpr char kVisible[] = "a\\x1b[31m\\x09b\\xff\\x7f\\xc2\\x9b \u00e9";

class HostileText : public Forms {
 protected:
  HostileText() { cluster_.store_alert(alert_with_message(1, kHostile)); }

  std::string shown(const std::string& form, int terminal_columns) const {
    const RunOptions options{.terminal_columns = terminal_columns};
    return answer({"show", "node1/1", "-o", form, "--fields", "message", "--color", "never"},
                  options);
  }
};

TEST_F(HostileText, FormsForPeopleShowItAsHexadecimalEverywhere) {
  const std::string line = std::string(kVisible) + "\n";
  EXPECT_EQ("MESSAGE\n" + line, shown("table", 0));
  EXPECT_EQ("Message:  " + line, shown("full", 0));
  EXPECT_EQ(on_terminal("MESSAGE\n" + line), shown("table", 200));
  EXPECT_EQ(on_terminal("Message:  " + line), shown("full", 200));
  const std::vector<std::string> call = {"list", "-s", "node1", "-i", "1001", "-p", "1"};
  const std::string short_line = "2024/01/30 08:00:00.000 1 node1/1 disk[1001]: " + line;
  EXPECT_EQ(short_line, answer(call));
  EXPECT_EQ(on_terminal(short_line),
            answer(joined(call, {"--color=never"}), {.terminal_columns = 200}));
}

TEST_F(HostileText, CsvAndCatKeepItsBytesButNotOnATerminal) {
  EXPECT_EQ(std::string("message\n") + kHostile + "\n", shown("csv", 0));
  EXPECT_EQ(std::string(kHostile) + "\n", shown("cat", 0));
  EXPECT_EQ(std::string("message\r\n") + kVisible + "\r\n", shown("csv", 200));
  EXPECT_EQ(std::string(kVisible) + "\r\n", shown("cat", 200));
}

TEST_F(HostileText, JsonIsValidAndSafeEverywhere) {
  for (const char* form : {"json", "json-pretty"}) {
    const std::string text = shown(form, 0);
    EXPECT_EQ("a\x1b[31m\tb\ufffd\x7f\u009b \u00e9", nlohmann::json::parse(text)["message"]);
    const std::string terminal = shown(form, 200);
    EXPECT_EQ(std::string::npos, terminal.find('\x1b')) << form;
    EXPECT_EQ(std::string::npos, terminal.find("\xc2\x9b")) << form;
    EXPECT_EQ(std::string::npos, terminal.find('\x7f')) << form;
    EXPECT_EQ(nlohmann::json::parse(text), nlohmann::json::parse(terminal));
  }
}

TEST_F(HostileText, OtherFieldsAreAsHarmless) {
  cluster_.store_alert(alert(2, "s\x1b[2J", "m\x1b[2J", "e\x1b[2J", "\x1b", "t\x1b[2J"));
  for (const auto& golden : kForms) {
    const RunOptions options{.terminal_columns = 300};
    const std::vector<std::string> call = {"list", "-o", golden.form, "--color", "never"};
    EXPECT_EQ(std::string::npos, answer(call, options).find('\x1b')) << golden.form;
  }
  EXPECT_EQ(std::string::npos, qelalert({"gaps"}).out.find('\x1b'));
  EXPECT_EQ(std::string::npos, qelalert({"stats"}).out.find('\x1b'));
  EXPECT_EQ(std::string::npos, qelalert({"complete", "server"}).out.find('\x1b'));
}

}  // namespace
}  // namespace qel::cli::testing
