// Alerts as JSON and CSV, with every kind of hostile text.
#include "alert_forms.h"

#include <nlohmann/json.hpp>

#include "front_end_test.h"

namespace qel::web::testing {
namespace {

ALERT_RECORD_INFO with_message(const std::string& message) {
  return make_record(17, "node1", "storage", "42", "2", "2024/01/31 12:00:00.123", message);
}

std::string csv_message(const std::string& message) {
  constexpr char kBefore[] =
      "node1/17,node1,17,42,2,storage,2024/01/31 12:00:00.123,2024/01/01 00:00:00.000,";
  const std::string line = csv_line(with_message(message));
  EXPECT_TRUE(line.starts_with(kBefore)) << line;
  EXPECT_TRUE(line.ends_with("\r\n"));
  return line.substr(sizeof kBefore - 1, line.size() - sizeof kBefore - 1);
}

std::string json_message(const std::string& message) {
  const std::string text = json_text(alert_json(with_message(message)));
  EXPECT_EQ(std::string::npos, text.find('\n'));
  return nlohmann::json::parse(text)["message"];
}

TEST(AlertJson, HasEveryField) {
  const Json alert = alert_json(with_message("text"));
  EXPECT_EQ("node1/17", alert["alert"]);
  EXPECT_EQ("node1", alert["server"]);
  EXPECT_EQ(17, alert["id"]);
  EXPECT_EQ("42", alert["event"]);
  EXPECT_EQ("2", alert["level"]);
  EXPECT_EQ("storage", alert["module"]);
  EXPECT_EQ("2024/01/31 12:00:00.123", alert["raised"]);
  EXPECT_EQ("text", alert["message"]);
}

TEST(AlertJson, TimeThatIsNoneHasNoUtc) {
  const ALERT_RECORD_INFO alert = make_record(1, "n", "m", "1", "1", "soon", "text");
  EXPECT_TRUE(alert_json(alert)["raised_utc"].is_null());
}

TEST(AlertJson, MarkupAndControlCharactersComeThroughAsTheyAre) {
  for (const char* text : {"<script>alert(1)</script>", "a\"b\\c", "a\x01\x1b[31m\x7f", "\r\n\t"}) {
    EXPECT_EQ(text, json_message(text));
  }
}

TEST(AlertJson, BytesThatAreNoUtf8AreReplaced) {
  EXPECT_EQ("a\xef\xbf\xbd z", json_message("a\xff z"));
  EXPECT_EQ("\xef\xbf\xbd", json_message("\xc3"));
}

TEST(AlertCsv, HeadNamesTheColumns) {
  EXPECT_EQ("alert,server,id,event,level,module,raised,written,message\r\n", csv_head());
}

TEST(AlertCsv, SeparatorsAreQuoted) {
  EXPECT_EQ("\"a,b\"", csv_message("a,b"));
  EXPECT_EQ("\"say \"\"x\"\"\"", csv_message("say \"x\""));
}

TEST(AlertCsv, FormulasAreGuarded) {
  EXPECT_EQ("'=1+1", csv_message("=1+1"));
  EXPECT_EQ("'+1", csv_message("+1"));
  EXPECT_EQ("'-1", csv_message("-1"));
  EXPECT_EQ("'@x", csv_message("@x"));
  EXPECT_EQ("\"'=a,b\"", csv_message("=a,b"));
  EXPECT_EQ("a=1", csv_message("a=1"));
}

TEST(AlertCsv, ControlCharactersAndOtherBytesAreShown) {
  EXPECT_EQ("a\\x0d\\x0ab", csv_message("a\r\nb"));
  EXPECT_EQ("\\x1b[31m\\xff", csv_message("\x1b[31m\xff"));
  EXPECT_EQ("\\x09=1", csv_message("\t=1"));
}

}  // namespace
}  // namespace qel::web::testing
