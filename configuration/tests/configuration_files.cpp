#include "configuration_files.h"

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <stdexcept>

#include "configuration/servers.h"

namespace qel::configuration_test {

namespace {

// Tests count lines and columns here.
constexpr char kAll[] = R"(<root>
  <all>
    <path>@DIR@</path>
    <core>0</core>
  </all>
</root>
)";

constexpr char kAlert[] = R"(<root>
  <alert>
    <path>bin/</path>
    <log>
      <size>4194304</size>
      <level>4</level>
    </log>
  </alert>
</root>
)";

constexpr char kWebalert[] = R"(<root>
  <webalert>
    <use>1</use>
    <main>
      <alertlog>
        <name>log/alertlog.alt</name>
        <maxrecordcount>100</maxrecordcount>
      </alertlog>
      <log><size>4194304</size><level>4</level></log>
    </main>
    <daemon>
      <udpport>29003</udpport>
      <timeout>60</timeout>
      <resend>2</resend>
      <retries>3</retries>
      <sync>
        <resynctimeinterval>600</resynctimeinterval>
        <newserver>1</newserver>
        <names>2</names>
        <ids>1</ids>
      </sync>
      <socket>@DIR@/run/qelalertd.sock</socket>
      <pidfile>@DIR@/run/qelalertd.pid</pidfile>
      <durable>1</durable>
      <intake><batch>64</batch></intake>
    </daemon>
    <web>
      <listen>127.0.0.1:29080</listen>
      <socket>@DIR@/run/web.sock</socket>
      <certificate>@DIR@/web.pem</certificate>
      <key>@DIR@/web.key</key>
      <users>@DIR@/users</users>
      <names>alerts alerts.example</names>
    </web>
  </webalert>
</root>
)";

constexpr char kCluster[] = R"(<root>
  <cluster>
    <server>
      <name>@LOCAL@</name>
      <address><ip>192.0.2.11</ip><interconnect>0</interconnect></address>
      <address><ip>2001:db8::11</ip><interconnect>1</interconnect></address>
    </server>
    <server>
      <name>beta</name>
      <address><ip>192.0.2.12</ip><interconnect>0</interconnect></address>
    </server>
  </cluster>
</root>
)";

std::string replaced_everywhere(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size())) {
    text.replace(at, from.size(), to);
  }
  return text;
}

std::string local_name() {
  std::string name;
  std::string error;
  if (!configuration::local_server_name(&name, &error)) throw std::runtime_error(error);
  return name;
}

}  // namespace

ConfigurationFiles::ConfigurationFiles() {
  write("all.xml", kAll);
  write("alert.xml", kAlert);
  write("webalert.xml", kWebalert);
  write("cluster.xml", kCluster);
  for (const char* directory : {"log", "run", "diag"}) {
    std::filesystem::create_directory(path(directory));
  }
}

std::string ConfigurationFiles::content(const std::string& file) const {
  return testing::read_file(path(file));
}

void ConfigurationFiles::write(const std::string& file, const std::string& content) const {
  testing::write_file(path(file), filled_in(content));
}

void ConfigurationFiles::remove(const std::string& file) const {
  if (!std::filesystem::remove(path(file))) throw std::runtime_error("not there: " + file);
}

void ConfigurationFiles::replace(const std::string& file, const std::string& from,
                                 const std::string& to) const {
  std::string text = content(file);
  const std::string wanted = filled_in(from);
  const size_t at = text.find(wanted);
  if (at == std::string::npos) throw std::runtime_error("not found: " + wanted);
  write(file, text.replace(at, wanted.size(), to));
}

Result ConfigurationFiles::check(const std::string& arguments) const {
  const std::string command = "LC_ALL=C.UTF-8 QEL_CONFIG_DIR='" + directory_.path() + "' '" +
                              QELALERT_PROGRAM + "' config check " + filled_in(arguments) + " 2>&1";
  FILE* const program = popen(command.c_str(), "r");
  if (program == nullptr) throw std::runtime_error("popen");
  Result result = {-1, ""};
  std::array<char, 4096> piece;
  for (size_t size = 1; size > 0;) {
    size = fread(piece.data(), 1, piece.size(), program);
    result.output.append(piece.data(), size);
  }
  const int status = pclose(program);
  result.exit_code = WIFEXITED(status) ? WEXITSTATUS(status) : 1000;
  return result;
}

std::string ConfigurationFiles::filled_in(std::string text) const {
  text = replaced_everywhere(std::move(text), "@DIR@", directory_.path());
  return replaced_everywhere(std::move(text), "@LOCAL@", local_name());
}

std::string ConfigurationFiles::at_home(const std::string& lines) const {
  std::istringstream input(filled_in(lines));
  std::string complete;
  for (std::string line; std::getline(input, line);) complete += path(line) + "\n";
  return complete;
}

}  // namespace qel::configuration_test
