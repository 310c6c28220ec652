#include "mistakes.h"

namespace qel::configuration_test {

// clang-format off
std::vector<Mistake> value_mistakes() {
  using enum Readers;
  return {
      // ---- missing ----
      {"missing_number", "webalert.xml", "<maxrecordcount>100</maxrecordcount>", "", kRefuse,
       "webalert.xml:5:7: error: /root/webalert/main/alertlog/maxrecordcount: missing\n"},
      {"missing_path", "alert.xml", "<path>bin/</path>", "", kRefuse,
       "alert.xml:2:3: error: /root/alert/path: missing\n"},
      {"missing_group", "webalert.xml", "<log><size>4194304</size><level>4</level></log>", "", kRefuse,
       "webalert.xml:4:5: error: /root/webalert/main/log/size: missing\n"
       "webalert.xml:4:5: error: /root/webalert/main/log/level: missing\n"},
      {"missing_section", "all.xml", "<path>@DIR@</path>\n    <core>0</core>", "", kRefuse,
       "all.xml:2:3: error: /root/all/path: missing\n"
       "all.xml:2:3: error: /root/all/core: missing\n"},
      // ---- wrong kind ----
      {"text_for_a_number", "webalert.xml", ">29003<", ">many<", kRefuse,
       "webalert.xml:12:7: error: /root/webalert/daemon/udpport: \"many\" is not a whole number\n"},
      {"text_behind_a_number", "alert.xml", ">4194304<", ">4 MiB<", kRefuse,
       "alert.xml:5:7: error: /root/alert/log/size: \"4 MiB\" is not a whole number\n"},
      {"empty_number", "webalert.xml", "<use>1</use>", "<use/>", kRefuse,
       "webalert.xml:3:5: error: /root/webalert/use: \"\" is not a whole number\n"},
      {"number_of_twelve_digits", "all.xml", "<core>0<", "<core>999999999999<", kRefuse,
       "all.xml:4:5: error: /root/all/core: \"999999999999\" is outside of -2147483648 to 2147483647\n"},
      {"control_characters", "webalert.xml", "<resend>2<", "<resend>\x1b[2J<", kRefuse,
       "webalert.xml:14:7: error: /root/webalert/daemon/resend: \"\\x1b[2J\" is not a whole number\n"},
      // ---- out of range ----
      {"port_0", "webalert.xml", ">29003<", ">0<", kRefuse,
       "webalert.xml:12:7: error: /root/webalert/daemon/udpport: 0 is not within 1 to 65535\n"},
      {"port_65536", "webalert.xml", ">29003<", ">65536<", kRefuse,
       "webalert.xml:12:7: error: /root/webalert/daemon/udpport: 65536 is not within 1 to 65535\n"},
      {"capacity_0", "webalert.xml", ">100<", ">0<", kRefuse,
       "webalert.xml:7:9: error: /root/webalert/main/alertlog/maxrecordcount: 0 is not within 1 to 99999999\n"},
      {"capacity_of_nine_digits", "webalert.xml", ">100<", ">100000000<", kRefuse,
       "webalert.xml:7:9: error: /root/webalert/main/alertlog/maxrecordcount: 100000000 is not within 1 to 99999999\n"},
      {"log_size_0", "webalert.xml", ">4194304<", ">0<", kRefuse,
       "webalert.xml:9:12: error: /root/webalert/main/log/size: 0 is not within 1 to 2147483647\n"},
      {"programs_log_size_0", "alert.xml", ">4194304<", ">-1<", kRefuse,
       "alert.xml:5:7: error: /root/alert/log/size: -1 is not within 1 to 2147483647\n"},
      {"retries_1", "webalert.xml", "<retries>3<", "<retries>1<", kRefuse,
       "webalert.xml:15:7: error: /root/webalert/daemon/retries: 1 is not within 2 to 1000\n"},
      {"durable_2", "webalert.xml", "<durable>1<", "<durable>2<", kRefuse,
       "webalert.xml:24:7: error: /root/webalert/daemon/durable: 2 is not within 0 to 1\n"},
      {"batch_6001", "webalert.xml", ">64<", ">6001<", kRefuse,
       "webalert.xml:25:15: error: /root/webalert/daemon/intake/batch: 6001 is not within 1 to 6000\n"},
      {"level_3", "webalert.xml", "<level>4<", "<level>3<", kAccept,
       "webalert.xml:9:32: error: /root/webalert/main/log/level: 3 is not one of 0, 1, 2, 4, 8, 16, 32\n"},
      {"programs_level_64", "alert.xml", "<level>4<", "<level>64<", kAccept,
       "alert.xml:6:7: error: /root/alert/log/level: 64 is not one of 0, 1, 2, 4, 8, 16, 32\n"},
      // ---- paths ----
      {"relative_root", "all.xml", "<path>@DIR@<", "<path>var<", kAccept,
       "all.xml:3:5: error: /root/all/path: \"var\" is not an absolute path\n"},
      {"relative_socket", "webalert.xml", "<socket>@DIR@/run/", "<socket>", kRefuse,
       "webalert.xml:22:7: error: /root/webalert/daemon/socket: \"qelalertd.sock\" is not an absolute path\n"},
      {"relative_pid_file", "webalert.xml", "<pidfile>@DIR@/run/", "<pidfile>./", kRefuse,
       "webalert.xml:23:7: error: /root/webalert/daemon/pidfile: \"./qelalertd.pid\" is not an absolute path\n"},
      {"long_socket", "webalert.xml", "<socket>@DIR@/run/qelalertd.sock<",
       "<socket>/aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa<",
       kAccept,  // and fails at the socket
       "webalert.xml:22:7: error: /root/webalert/daemon/socket: "
       "\"/aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa...\" has 108 bytes, at most 107 are allowed\n"},
      {"empty_log_name", "webalert.xml", "<name>log/alertlog.alt<", "<name> <", kAccept,
       "webalert.xml:6:9: error: /root/webalert/main/alertlog/name: is empty\n"},
      {"empty_program_path", "alert.xml", "<path>bin/<", "<path><", kAccept,
       "alert.xml:3:5: error: /root/alert/path: is empty\n"},
      // ---- what does not fit together ----
      {"pause_as_long_as_the_wait", "webalert.xml", "<newserver>1<", "<newserver>2<", kRefuse,
       "webalert.xml:18:9: error: /root/webalert/daemon/sync/newserver: "
       "2 is not below /root/webalert/daemon/sync/names, 2\n"},
      {"pause_above_the_default_of_the_wait", "webalert.xml",
       "<newserver>1</newserver>\n        <names>2</names>", "<newserver>5</newserver>", kRefuse,
       "webalert.xml:18:9: error: /root/webalert/daemon/sync/newserver: "
       "5 is not below /root/webalert/daemon/sync/names, 2\n"},
      {"stall_time_as_long_as_the_longest_wait", "webalert.xml", ">600<", ">7<", kRefuse,
       "webalert.xml:17:9: error: /root/webalert/daemon/sync/resynctimeinterval: "
       "7 is not above the longest wait, 7\n"},
      {"stall_time_below_the_wait_for_names", "webalert.xml", ">600</resynctimeinterval>\n        <newserver>1</newserver>\n        <names>2<",
       ">100</resynctimeinterval><names>100<", kRefuse,
       "webalert.xml:17:9: error: /root/webalert/daemon/sync/resynctimeinterval: "
       "100 is not above the longest wait, 100\n"},
      {"stall_time_below_default_repeats", "webalert.xml",
       "<resend>2</resend>\n      <retries>3</retries>\n      <sync>\n        <resynctimeinterval>600<",
       "<sync><resynctimeinterval>6<", kRefuse,
       "webalert.xml:14:13: error: /root/webalert/daemon/sync/resynctimeinterval: "
       "6 is not above the longest wait, 7\n"},
      {"wrong_wait_leads_to_no_further_fault", "webalert.xml", "<names>2<", "<names>1<", kRefuse,
       "webalert.xml:19:9: error: /root/webalert/daemon/sync/names: 1 is not within 2 to 999\n"},
      {"wrong_pause_leads_to_no_further_fault", "webalert.xml", "<newserver>1<", "<newserver>soon<", kRefuse,
       "webalert.xml:18:9: error: /root/webalert/daemon/sync/newserver: \"soon\" is not a whole number\n"},
      {"wrong_resend_leads_to_no_further_fault", "webalert.xml", "<resend>2<", "<resend>86401<", kRefuse,
       "webalert.xml:14:7: error: /root/webalert/daemon/resend: 86401 is not within 1 to 86400\n"},
      {"missing_stall_time_leads_to_no_further_fault", "webalert.xml",
       "<resynctimeinterval>600</resynctimeinterval>", "", kRefuse,
       "webalert.xml:16:7: error: /root/webalert/daemon/sync/resynctimeinterval: missing\n"},
  };
}
// clang-format on

}  // namespace qel::configuration_test
