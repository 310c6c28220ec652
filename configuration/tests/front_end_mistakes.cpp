#include "mistakes.h"

namespace qel::configuration_test {

// clang-format off
std::vector<Mistake> front_end_mistakes() {
  using enum Readers;
  return {
      // ---- single values ----
      {"listen_at_a_name", "webalert.xml", ">127.0.0.1:29080<", ">localhost:29080<", kFrontEndRefuses,
       "webalert.xml:28:7: error: /root/webalert/web/listen: \"localhost:29080\" is not a numeric "
       "address and port such as 127.0.0.1:29080 or [::1]:29080\n"},
      {"listen_without_a_port", "webalert.xml", ">127.0.0.1:29080<", ">127.0.0.1<", kFrontEndRefuses,
       "webalert.xml:28:7: error: /root/webalert/web/listen: \"127.0.0.1\" is not a numeric "
       "address and port such as 127.0.0.1:29080 or [::1]:29080\n"},
      {"listen_at_port_65536", "webalert.xml", ":29080<", ":65536<", kFrontEndRefuses,
       "webalert.xml:28:7: error: /root/webalert/web/listen: \"127.0.0.1:65536\" is not a numeric "
       "address and port such as 127.0.0.1:29080 or [::1]:29080\n"},
      {"listen_at_a_port_of_letters", "webalert.xml", ":29080<", ":http<", kFrontEndRefuses,
       "webalert.xml:28:7: error: /root/webalert/web/listen: \"127.0.0.1:http\" is not a numeric "
       "address and port such as 127.0.0.1:29080 or [::1]:29080\n"},
      {"listen_at_an_ipv6_address_without_brackets", "webalert.xml", ">127.0.0.1:29080<", ">::1:29080<", kFrontEndRefuses,
       "webalert.xml:28:7: error: /root/webalert/web/listen: \"::1:29080\" is not a numeric "
       "address and port such as 127.0.0.1:29080 or [::1]:29080\n"},
      {"listen_at_an_ipv4_address_in_brackets", "webalert.xml", ">127.0.0.1:29080<", ">[127.0.0.1]:29080<", kFrontEndRefuses,
       "webalert.xml:28:7: error: /root/webalert/web/listen: \"[127.0.0.1]:29080\" is not a numeric "
       "address and port such as 127.0.0.1:29080 or [::1]:29080\n"},
      {"empty_listen", "webalert.xml", ">127.0.0.1:29080<", "><", kFrontEndRefuses,
       "webalert.xml:28:7: error: /root/webalert/web/listen: \"\" is not a numeric "
       "address and port such as 127.0.0.1:29080 or [::1]:29080\n"},
      {"relative_web_socket", "webalert.xml", "<socket>@DIR@/run/web", "<socket>web", kFrontEndRefuses,
       "webalert.xml:29:7: error: /root/webalert/web/socket: \"web.sock\" is not an absolute path\n"},
      {"long_web_socket", "webalert.xml", "<socket>@DIR@/run/web.sock<",
       "<socket>/aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa<",
       kFrontEndRefuses,
       "webalert.xml:29:7: error: /root/webalert/web/socket: "
       "\"/aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa...\" has 108 bytes, at most 107 are allowed\n"},
      {"empty_users", "webalert.xml", ">@DIR@/users<", "><", kFrontEndRefuses,
       "webalert.xml:32:7: error: /root/webalert/web/users: \"\" is not an absolute path\n"},
      {"name_with_a_port", "webalert.xml", " alerts.example<", " alerts.example:443<", kFrontEndRefuses,
       "webalert.xml:33:7: error: /root/webalert/web/names: \"alerts.example:443\" is not the name of a host, nor its address\n"},
      {"name_with_a_scheme", "webalert.xml", ">alerts ", ">https://alerts ", kFrontEndRefuses,
       "webalert.xml:33:7: error: /root/webalert/web/names: \"https://alerts\" is not the name of a host, nor its address\n"},
      {"brackets_without_an_address", "webalert.xml", ">alerts ", ">[alerts] ", kFrontEndRefuses,
       "webalert.xml:33:7: error: /root/webalert/web/names: \"[alerts]\" is not the name of a host, nor its address\n"},
      {"empty_names", "webalert.xml", ">alerts alerts.example<", "> <", kFrontEndRefuses,
       "webalert.xml:33:7: error: /root/webalert/web/names: is empty\n"},
      {"misspelt_key_of_the_front_end", "webalert.xml", "<names>alerts alerts.example</names>", "<name>alerts</name>", kAccept,
       "webalert.xml:33:7: warning: /root/webalert/web/name: unknown element; did you mean <names>?\n"},
      // ---- what does not fit together ----
      {"certificate_without_its_key", "webalert.xml", "<key>@DIR@/web.key</key>", "", kFrontEndRefuses,
       "webalert.xml:30:7: error: /root/webalert/web/certificate: needs /root/webalert/web/key\n"},
      {"key_without_its_certificate", "webalert.xml", "<certificate>@DIR@/web.pem</certificate>", "", kFrontEndRefuses,
       "webalert.xml:31:7: error: /root/webalert/web/key: needs /root/webalert/web/certificate\n"},
      {"open_to_others_without_users", "webalert.xml",
       "127.0.0.1:29080</listen>\n      <socket>@DIR@/run/web.sock</socket>\n"
       "      <certificate>@DIR@/web.pem</certificate>\n      <key>@DIR@/web.key</key>\n      <users>@DIR@/users</users>",
       "0.0.0.0:443</listen><certificate>@DIR@/web.pem</certificate><key>@DIR@/web.key</key>", kFrontEndRefuses,
       "webalert.xml:28:7: error: /root/webalert/web/listen: \"0.0.0.0:443\" is open to others, "
       "which needs \"certificate\", \"key\" and \"users\" beside it\n"},
      {"open_to_others_without_encryption", "webalert.xml",
       "127.0.0.1:29080</listen>\n      <socket>@DIR@/run/web.sock</socket>\n"
       "      <certificate>@DIR@/web.pem</certificate>\n      <key>@DIR@/web.key</key>",
       "[2001:db8::11]:80</listen>", kFrontEndRefuses,
       "webalert.xml:28:7: error: /root/webalert/web/listen: \"[2001:db8::11]:80\" is open to others, "
       "which needs \"certificate\", \"key\" and \"users\" beside it\n"},
      {"wrong_listen_leads_to_no_further_fault", "webalert.xml",
       "127.0.0.1:29080</listen>\n      <socket>@DIR@/run/web.sock</socket>\n"
       "      <certificate>@DIR@/web.pem</certificate>\n      <key>@DIR@/web.key</key>",
       "0.0.0.0:https</listen>", kFrontEndRefuses,
       "webalert.xml:28:7: error: /root/webalert/web/listen: \"0.0.0.0:https\" is not a numeric "
       "address and port such as 127.0.0.1:29080 or [::1]:29080\n"},
  };
}
// clang-format on

}  // namespace qel::configuration_test
