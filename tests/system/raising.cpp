#include "raising.h"

#include <stdexcept>

#include "alert_config.h"
#include "alert_log.h"
#include "alert_udp.h"
#include "support/process.h"
#include "support/records.h"

namespace qel::system_test {
namespace {

constexpr char kMessage[] = "alert ";

std::string local_server() {
  char name[256] = {};
  if (get_local_server(name) != 0) throw std::runtime_error("no host name");
  return name;
}

}  // namespace

ALERT_RECORD_INFO numbered_alert(uint32_t number) {
  static const std::string kLocal = local_server();
  ALERT_RECORD_INFO alert = alt_test::make_record(number);
  alert.alert_id = 0;
  alt_test::set_text(alert.szServer, number % 3 == 0 ? "elsewhere" : kLocal);
  alt_test::set_text(alert.szModType, "module" + std::to_string(number % 7));
  alt_test::set_text(alert.szEventID, std::to_string(900 + number % 11 * 20));
  alt_test::set_text(alert.szLevel, std::to_string(1 + number % 3));
  return alert;
}

uint32_t number_of(const std::string& message) {
  if (!message.starts_with(kMessage)) throw std::runtime_error("not raised here: " + message);
  return static_cast<uint32_t>(std::stoul(message.substr(sizeof kMessage - 1)));
}

int as_program(const std::function<int()>& work) {
  if (alert_log_lib_init(nullptr) != 0) return 1;
  const int result = work();
  alert_log_lib_term();
  return result;
}

int raise_alerts(uint32_t first, uint32_t last) {
  return alt_test::in_process([&] {
    return as_program([&] {
      int result = 0;
      for (uint32_t number = first; number <= last; ++number) {
        ALERT_RECORD_INFO alert = numbered_alert(number);
        if (alert_log_lib_write(&alert) != 0) result = 2;
      }
      return result;
    });
  });
}

}  // namespace qel::system_test
