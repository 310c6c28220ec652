#include "configuration.h"

#include <filesystem>

#include "support/files.h"

namespace qel::simulation {

namespace {

namespace fs = std::filesystem;

std::string element(const std::string& name, const std::string& content) {
  return "<" + name + ">" + content + "</" + name + ">";
}

std::string document(const std::string& content) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n" + element("root", content) + "\n";
}

std::string all_section(const std::string& root) {
  return element("all", element("path", root) + element("core", "0"));
}

std::string alert_section() {
  return element("alert", element("path", "lock/programs") +
                              element("log", element("size", "1") + element("level", "8")));
}

std::string webalert_section(const std::string& server, int batches_per_second) {
  const std::string log =
      element("name", server + "/store/alertlog.alt") + element("maxrecordcount", "10000");
  const std::string main =
      element("alertlog", log) + element("log", element("size", "1") + element("level", "8"));
  const std::string sync =
      element("resynctimeinterval", "60") + element("batches", std::to_string(batches_per_second));
  const std::string daemon = element("udpport", "29003") + element("timeout", "60") +
                             element("sync", sync) + element("intake", element("batch", "4"));
  return element("webalert",
                 element("use", "1") + element("main", main) + element("daemon", daemon));
}

std::string cluster_section(const std::vector<Member>& members) {
  std::string servers;
  for (const Member& member : members) {
    std::string content = element("name", member.name);
    for (size_t i = 0; i < member.addresses.size(); ++i) {
      content += element("address", element("ip", member.addresses[i]) +
                                        element("interconnect", std::to_string(i)));
    }
    servers += element("server", content);
  }
  return element("cluster", servers);
}

}  // namespace

std::string configuration_directory(const std::string& root, const std::string& server) {
  return root + "/" + server + "/etc";
}

std::string store_directory(const std::string& root, const std::string& server) {
  return root + "/" + server + "/store";
}

std::string lock_directory(const std::string& root) { return root + "/lock"; }

std::vector<Member> make_members(int count) {
  std::vector<Member> members;
  for (int number = 1; number <= count; ++number) {
    const std::string text = std::to_string(number);
    // Of equal length: no name may begin another one.
    const std::string name = std::string("server") + (number < 10 ? "0" : "") + text;
    members.push_back({name, {"192.0.2." + text, "2001:db8::" + text}});
  }
  return members;
}

void write_configuration(const std::string& root, const std::vector<Member>& members,
                         int batches_per_second) {
  fs::create_directories(lock_directory(root));
  for (const Member& member : members) {
    const std::string directory = configuration_directory(root, member.name);
    fs::create_directories(directory);
    alt_test::write_file(directory + "/all.xml", document(all_section(root)));
    alt_test::write_file(directory + "/alert.xml", document(alert_section()));
    alt_test::write_file(directory + "/webalert.xml",
                         document(webalert_section(member.name, batches_per_second)));
    alt_test::write_file(directory + "/cluster.xml", document(cluster_section(members)));
  }
}

}  // namespace qel::simulation
