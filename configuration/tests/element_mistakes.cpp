#include "mistakes.h"

namespace qel::configuration_test {

// clang-format off
std::vector<Mistake> element_mistakes() {
  using enum Readers;
  return {
      {"wrong_end_tag", "webalert.xml", "</use>", "</used>", kRefuse,
       "webalert.xml:3:13: error: not well-formed XML: Start-end tags mismatch\n"},
      {"wrong_attribute", "all.xml", "<path>", "<path a=1>", kRefuse,
       "all.xml:3:13: error: not well-formed XML: Error parsing element attribute\n"},
      {"wrong_root", "all.xml", "<root>\n  <all>\n    <path>@DIR@</path>\n    <core>0</core>\n  </all>\n</root>",
       "<!-- all -->\n <config/>", kRefuse,
       "all.xml:2:2: error: the root element is <config>, not <root>\n"},
      {"two_roots", "alert.xml", "</root>", "</root><more/>", kRefuse,
       "alert.xml:9:8: error: not well-formed XML: element <more> after the root element\n"},
      // ---- elements that nobody reads ----
      {"misspelt_optional_key", "webalert.xml", "<resend>2</resend>", "<resned>2</resned>", kAccept,
       "webalert.xml:14:7: warning: /root/webalert/daemon/resned: unknown element; did you mean <resend>?\n"},
      {"misspelt_required_key", "webalert.xml", "<timeout>60</timeout>", "<time-out>60</time-out>", kRefuse,
       "webalert.xml:11:5: error: /root/webalert/daemon/timeout: missing\n"
       "webalert.xml:13:7: warning: /root/webalert/daemon/time-out: unknown element; did you mean <timeout>?\n"},
      {"misspelt_section", "all.xml", "<all>\n    <path>@DIR@</path>\n    <core>0</core>\n  </all>",
       "<al><path>/</path></al>", kRefuse,
       "all.xml:1:1: error: /root/all/path: missing\n"
       "all.xml:1:1: error: /root/all/core: missing\n"
       "all.xml:2:3: warning: /root/al: unknown element; did you mean <all>?\n"},
      {"key_in_the_wrong_group", "webalert.xml", "<durable>1</durable>", "<newserver>1</newserver>", kAccept,
       "webalert.xml:24:7: warning: /root/webalert/daemon/newserver: unknown element\n"},
      {"section_of_another_file", "webalert.xml", "</root>", "<alert/></root>", kAccept,
       "webalert.xml:36:1: warning: /root/alert: unknown element\n"},
      {"element_below_a_value", "all.xml", "<core>0<", "<core>0<limit>1</limit><", kAccept,
       "all.xml:4:12: warning: /root/all/core/limit: unknown element\n"},
      {"what_is_below_an_unknown_element", "webalert.xml", "<intake>", "<in><batch>0</batch></in><intake>", kAccept,
       "webalert.xml:25:7: warning: /root/webalert/daemon/in: unknown element\n"},
      {"misspelt_element_of_a_server", "cluster.xml", "<name>beta</name>", "<name>beta</name><adress/>", kAccept,
       "cluster.xml:9:24: warning: /root/cluster/server[2]/adress: unknown element; did you mean <address>?\n"},
      {"misspelt_element_of_an_address", "cluster.xml", "2001:db8::11</ip>", "2001:db8::11</ip><interconect/>", kAccept,
       "cluster.xml:6:37: warning: /root/cluster/server[1]/address[2]/interconect: unknown element; "
       "did you mean <interconnect>?\n"},
      {"misspelt_server", "cluster.xml", "<server>", "<servers/><server>", kAccept,
       "cluster.xml:3:5: warning: /root/cluster/servers: unknown element; did you mean <server>?\n"},
      // ---- again ----
      {"value_again", "webalert.xml", "<resend>2</resend>", "<resend>2</resend><resend>900000</resend>", kAccept,
       "webalert.xml:14:25: warning: /root/webalert/daemon/resend: is there again: only the one in line 14 counts\n"},
      {"group_again", "webalert.xml", "<intake>", "<sync><names>x</names></sync><intake>", kAccept,
       "webalert.xml:25:7: warning: /root/webalert/daemon/sync: is there again: only the one in line 16 counts\n"},
      {"cluster_again", "cluster.xml", "</root>", "<cluster><server/></cluster></root>", kAccept,
       "cluster.xml:13:1: warning: /root/cluster: is there again: only the one in line 2 counts\n"},
      {"server_name_again", "cluster.xml", "<name>beta</name>", "<name>beta</name>\n<name>gamma</name>", kAccept,
       "cluster.xml:10:1: warning: /root/cluster/server[2]/name: is there again: only the one in line 9 counts\n"},
      // ---- text ----
      {"text_beside_elements", "alert.xml", "<log>", "<log>4", kAccept,
       "alert.xml:4:5: warning: /root/alert/log: the text \"4\" is not used\n"},
      {"text_in_the_root", "cluster.xml", "</root>", "end</root>", kAccept,
       "cluster.xml:1:1: warning: /root: the text \"end\" is not used\n"},
      // ---- places ----
      {"columns_count_bytes", "all.xml", "<core>0<", "<!-- \xc3\xa4\xe2\x82\xac --><core>zero<", kRefuse,
       "all.xml:4:19: error: /root/all/core: \"zero\" is not a whole number\n"},
      {"lines_within_comments_count", "all.xml", "<core>0<", "<!--\n\n--> <core>zero<", kRefuse,
       "all.xml:6:5: error: /root/all/core: \"zero\" is not a whole number\n"},
  };
}
// clang-format on

}  // namespace qel::configuration_test
