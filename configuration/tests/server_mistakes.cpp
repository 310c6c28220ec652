#include "mistakes.h"

namespace qel::configuration_test {

// clang-format off
std::vector<Mistake> server_mistakes() {
  using enum Readers;
  return {
      {"this_server_missing", "cluster.xml", "<name>@LOCAL@<", "<name>x@LOCAL@<", kRefuse,
       "cluster.xml:2:3: error: /root/cluster: this server, \"@LOCAL@\", is not among its servers\n"},
      {"name_missing", "cluster.xml", "<name>beta</name>", "", kRefuse,
       "cluster.xml:8:5: error: /root/cluster/server[2]/name: missing\n"},
      {"name_with_a_domain", "cluster.xml", ">beta<", ">beta.example.org<", kRefuse,
       "cluster.xml:9:7: error: /root/cluster/server[2]/name: \"beta.example.org\" is not a short host "
       "name of 1 to 64 letters, digits, \"-\" and \"_\"\n"},
      {"own_name_with_a_domain_is_told_once", "cluster.xml", ">@LOCAL@<", ">@LOCAL@.example.org<", kRefuse,
       "cluster.xml:4:7: error: /root/cluster/server[1]/name: \"@LOCAL@.example.org\" is not a short host "
       "name of 1 to 64 letters, digits, \"-\" and \"_\"\n"},
      {"own_name_missing_is_told_once", "cluster.xml", "<name>@LOCAL@</name>", "", kRefuse,
       "cluster.xml:3:5: error: /root/cluster/server[1]/name: missing\n"},
      {"name_twice", "cluster.xml", ">beta<", ">@LOCAL@<", kRefuse,
       "cluster.xml:9:7: error: /root/cluster/server[2]/name: \"@LOCAL@\" is also the name of server 1\n"},
      {"name_that_begins_another", "cluster.xml", ">beta<", ">@LOCAL@-2<", kAccept,
       "cluster.xml:4:7: warning: /root/cluster/server[1]/name: the name of server \"@LOCAL@\" begins "
       "the name of server \"@LOCAL@-2\", which may take alert ids of the first for its own\n"},
      // ---- addresses ----
      {"ip_missing", "cluster.xml", "<ip>192.0.2.12</ip>", "", kRefuse,
       "cluster.xml:10:7: error: /root/cluster/server[2]/address[1]/ip: missing at server \"beta\"\n"},
      {"ip_of_no_form", "cluster.xml", "192.0.2.12", "192.0.2.256", kRefuse,
       "cluster.xml:10:16: error: /root/cluster/server[2]/address[1]/ip: \"192.0.2.256\" of server "
       "\"beta\" is not a numeric IPv4 or IPv6 address\n"},
      {"ip_of_a_nameless_server", "cluster.xml", "<name>beta</name>\n      <address><ip>192.0.2.12",
       "<address><ip>::", kRefuse,
       "cluster.xml:8:5: error: /root/cluster/server[2]/name: missing\n"
       "cluster.xml:9:16: error: /root/cluster/server[2]/address[1]/ip: \"::\" of server 2 is a wildcard address\n"},
      {"ip_multicast", "cluster.xml", "2001:db8::11", "ff02::1", kRefuse,
       "cluster.xml:6:16: error: /root/cluster/server[1]/address[2]/ip: \"ff02::1\" of server "
       "\"@LOCAL@\" is a multicast address\n"},
      {"ip_twice", "cluster.xml", "192.0.2.12", "::ffff:192.0.2.11", kRefuse,
       "cluster.xml:10:16: error: /root/cluster/server[2]/address[1]/ip: \"192.0.2.11\" of server "
       "\"beta\" is also an address of server \"@LOCAL@\"\n"},
      {"interconnect_missing", "cluster.xml", "<interconnect>1</interconnect>", "", kRefuse,
       "cluster.xml:6:7: error: /root/cluster/server[1]/address[2]/interconnect: missing at server \"@LOCAL@\"\n"},
      {"interconnect_of_no_form", "cluster.xml", "<interconnect>1<", "<interconnect>+1<", kRefuse,
       "cluster.xml:6:37: error: /root/cluster/server[1]/address[2]/interconnect: \"+1\" of server "
       "\"@LOCAL@\" is not a whole number from 0 to 2147483647\n"},
      {"interconnect_twice", "cluster.xml", "<interconnect>1<", "<interconnect>0<", kRefuse,
       "cluster.xml:6:37: error: /root/cluster/server[1]/address[2]/interconnect: \"0\" of server "
       "\"@LOCAL@\" is also the interconnect of its address 192.0.2.11\n"},
      {"interconnect_not_shared", "cluster.xml", "<address><ip>192.0.2.12</ip><interconnect>0<",
       "<address><ip>192.0.2.12</ip><interconnect>5<", kAccept,
       "cluster.xml:8:5: warning: /root/cluster/server[2]: server \"beta\" is on no interconnect of "
       "this server, \"@LOCAL@\": they exchange no alerts\n"},
      {"no_address", "cluster.xml", "<address><ip>192.0.2.12</ip><interconnect>0</interconnect></address>", "", kRefuse,
       "cluster.xml:8:5: error: /root/cluster/server[2]/address[1]: missing at server \"beta\"\n"},
      // ---- several ----
      {"several_at_once", "cluster.xml", "<name>beta</name>\n      <address><ip>192.0.2.12</ip><interconnect>0<",
       "<name>be ta</name>\n      <address><ip>node2</ip><interconnect>first<", kRefuse,
       "cluster.xml:9:7: error: /root/cluster/server[2]/name: \"be ta\" is not a short host name of 1 "
       "to 64 letters, digits, \"-\" and \"_\"\n"
       "cluster.xml:10:16: error: /root/cluster/server[2]/address[1]/ip: \"node2\" of server \"be ta\" "
       "is not a numeric IPv4 or IPv6 address\n"
       "cluster.xml:10:30: error: /root/cluster/server[2]/address[1]/interconnect: \"first\" of server "
       "\"be ta\" is not a whole number from 0 to 2147483647\n"},
  };
}
// clang-format on

}  // namespace qel::configuration_test
