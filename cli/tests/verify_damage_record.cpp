// Damages of single records.
#include "verify_damage.h"

namespace qel::cli::testing {
namespace {

using Bytes = const StoreBytes&;

// A text put into a column of record 3.
DamageCase column_case(const std::string& name, const Column& column, const std::string& text,
                       const std::string& words) {
  return {name, [=](Bytes store) { store.put_column(3, column, text); }, kLog,
          in_record(3, column.begin), words};
}

DamageCase byte_case(const std::string& name, size_t offset, char byte, const std::string& words) {
  return {name, [=](Bytes store) { store.put(kLog, in_record(3, offset).byte, {byte}); }, kLog,
          in_record(3, offset), words};
}

std::vector<DamageCase> blank_columns() {
  return {column_case("WriteTimeBlank", kColumnWriteTime, "", "the write time is blank"),
          column_case("RaiseTimeBlank", kColumnServerTime, "", "the raise time is blank"),
          column_case("ServerBlank", kColumnServer, "", "the server is blank"),
          column_case("ModuleBlank", kColumnModule, "", "the module is blank"),
          column_case("EventIdBlank", kColumnEvent, "", "the event id is blank"),
          column_case("LevelBlank", kColumnLevel, "", "the level is blank"),
          column_case("MessageBlank", kColumnMessage, "", "the message is blank")};
}

std::vector<DamageCase> wrong_values() {
  return {column_case("IdOfLetters", kColumnId, "2a", "the alert id \"2a        \" is no number"),
          column_case("IdTooLarge", kColumnId, "4294967296", "the alert id \"4294967296\" is no"),
          column_case("IdZero", kColumnId, "0", "the alert id is 0"),
          column_case("WriteTimeWithoutMilliseconds", kColumnWriteTime, "2024/01/01 00:00:00",
                      "the write time \"2024/01/01 00:00:00\" is not YYYY/MM/DD"),
          column_case("RaiseTimeWithOtherSeparators", kColumnServerTime, "2024-01-31 10:00:00.000",
                      "the raise time \"2024-01-31 10:00:00.000\" is not"),
          column_case("RaiseTimeOnADayThatIsNone", kColumnServerTime, "2024/02/30 10:00:00.000",
                      "is not YYYY/MM/DD"),
          column_case("RaiseTimeAtAnHourThatIsNone", kColumnServerTime, "2024/01/31 24:00:00.000",
                      "is not YYYY/MM/DD"),
          column_case("LevelOutOfRange", kColumnLevel, "4", "the level \"4\" is not 1, 2 or 3"),
          column_case("ServerThatFillsItsColumn", kColumnServer, std::string(65, 's'),
                      "the server is longer than its column"),
          column_case("MessageThatFillsItsColumn", kColumnMessage, std::string(512, 'm'),
                      "the message is longer than its column"),
          {"SameServerAndIdTwice", [](Bytes store) { store.put_column(3, kColumnId, "1"); }, kLog,
           in_record(3), "alert 1 of \"node2\" stands in line 10 as well"}};
}

}  // namespace

std::vector<DamageCase> record_damages() {
  std::vector<DamageCase> damages = {
      byte_case("LineEnd", kRecordText, ' ', "the line does not end here"),
      byte_case("NulInAMessage", kColumnMessage.begin + 5, '\0',
                "the message holds the byte \\x00"),
      byte_case("NewLineInAMessage", kColumnMessage.begin + 5, '\n', "holds the byte \\x0a"),
      byte_case("EscapeInAServer", kColumnServer.begin + 1, '\x1b',
                "the server holds the byte \\x1b"),
      byte_case("DeleteInAnEventId", kColumnEvent.begin, '\x7f',
                "the event id holds the byte \\x7f")};
  for (const auto& more : {blank_columns(), wrong_values()}) {
    damages.insert(damages.end(), more.begin(), more.end());
  }
  return damages;
}

}  // namespace qel::cli::testing
