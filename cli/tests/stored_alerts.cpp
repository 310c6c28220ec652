#include "stored_alerts.h"

#include <sstream>

#include "support/records.h"

namespace qel::cli::testing {

ALERT_RECORD_INFO alert(uint32_t id, const std::string& server, const std::string& module,
                        const std::string& event, const std::string& level,
                        const std::string& time) {
  ALERT_RECORD_INFO record =
      alt_test::make_record(id, server, module, event, level, time, "alert " + std::to_string(id));
  alt_test::set_text(record.szWriteTime, time);
  return record;
}

ALERT_RECORD_INFO alert_with_message(uint32_t id, const std::string& message) {
  ALERT_RECORD_INFO record = alert(id, "node1", "disk", "1001", "1", "2024/01/30 08:00:00.000");
  alt_test::set_text(record.szAlertMessage, message);
  return record;
}

std::vector<nlohmann::json> objects(const std::string& lines) {
  std::vector<nlohmann::json> found;
  std::istringstream stream(lines);
  for (std::string line; std::getline(stream, line);) found.push_back(nlohmann::json::parse(line));
  return found;
}

std::vector<uint32_t> ids(const std::string& lines) {
  std::vector<uint32_t> found;
  for (const nlohmann::json& object : objects(lines)) found.push_back(object["id"]);
  return found;
}

std::vector<uint32_t> numbers(uint32_t first, uint32_t last) {
  std::vector<uint32_t> list;
  for (uint32_t number = first; number != last; first < last ? ++number : --number) {
    list.push_back(number);
  }
  list.push_back(last);
  return list;
}

std::string on_terminal(const std::string& text) {
  std::string sent;
  for (const char c : text) {
    if (c == '\n') sent += '\r';
    sent += c;
  }
  return sent;
}

std::vector<std::string> joined(std::vector<std::string> words,
                                const std::vector<std::string>& more) {
  words.insert(words.end(), more.begin(), more.end());
  return words;
}

}  // namespace qel::cli::testing
