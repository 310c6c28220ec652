#include "server.h"

#include <signal.h>
#include <sys/ipc.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "host.h"
#include "socket_client.h"
#include "support/files.h"

namespace qel::system_test {
namespace {

namespace fs = std::filesystem;

constexpr int kSemaphoreProject = 97;

std::string make_root() {
  std::string name = (fs::temp_directory_path() / "qel-system.XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp " + name);
  return name;
}

void remove_semaphore(const std::string& file) {
  const key_t key = ftok(file.c_str(), kSemaphoreProject);
  const int id = key == -1 ? -1 : semget(key, 1, 0);
  if (id != -1) semctl(id, 0, IPC_RMID);
}

std::string content_of(const std::string& path) {
  const auto content = alt_test::read_file(path);
  if (!content) throw std::runtime_error("missing: " + path);
  return *content;
}

}  // namespace

void remove_semaphores(const std::string& directory) {
  for (const char* name : {"semindex", "semcreate", "semtemp"}) {
    remove_semaphore(directory + "/" + name);
  }
}

Server::Server() : Server(std::string()) {
  for (const auto& [name, value] : environment()) setenv(name.c_str(), value.c_str(), 1);
}

Server::Server(const std::string& host) : host_(host), root_(make_root()) {
  for (const char* directory : {"etc", "store", "lock", "log", "run", "out"}) {
    fs::create_directory(path(directory));
  }
  for (const char* section : {"cluster", "all", "alert", "webalert"}) {
    fs::copy_file(std::string(QEL_SAMPLE_CONFIG) + "/" + section + ".xml", config(section));
  }
  set("all", "path", root_);
  set("alert", "path", "lock/programs");
  set("webalert", "name", "store/alertlog.alt");
  set("webalert", "socket", path("run/qelalertd.sock"));
  set("webalert", "pidfile", path("run/qelalertd.pid"));
  unsetenv("NOTIFY_SOCKET");
  unsetenv("QELALERT_SOCKET");
}

Server::~Server() {
  remove_semaphores(path("lock"));
  shm_unlink(shared_state().c_str());
  std::error_code ignored;
  fs::remove_all(root_, ignored);
}

// As unique as the directory.
std::string Server::shared_state() const { return "/" + fs::path(root_).filename().string(); }

std::map<std::string, std::string> Server::environment() const {
  return {{"QEL_CONFIG_DIR", path("etc")},
          {"QEL_LOG_DIR", path("log")},
          {"QEL_IPC_NAME", shared_state()}};
}

void Server::enter() const {
  for (const auto& [name, value] : environment()) setenv(name.c_str(), value.c_str(), 1);
  if (!host_.empty()) move_to_host(host_);
}

void Server::set(const std::string& section, const std::string& element,
                 const std::string& text) const {
  const std::string content = content_of(config(section));
  const std::string opening = "<" + element + ">";
  const size_t begin = content.find(opening);
  if (begin == std::string::npos) throw std::runtime_error("no element " + element);
  const size_t end = content.find("</" + element + ">", begin);
  alt_test::write_file(
      config(section),
      std::string(content).replace(begin + opening.size(), end - begin - opening.size(), text));
}

void Server::set_capacity(int records) const {
  set("webalert", "maxrecordcount", std::to_string(records));
}

void Server::edit(const std::string& section, const std::string& from,
                  const std::string& to) const {
  std::string content = content_of(config(section));
  const size_t at = content.find(from);
  if (at == std::string::npos) throw std::runtime_error("not found: " + from);
  alt_test::write_file(config(section), content.replace(at, from.size(), to));
}

std::string Server::next_output() { return path("out/" + std::to_string(++outputs_)); }

std::unique_ptr<Program> Server::launch_daemon(const std::map<std::string, std::string>& added) {
  std::map<std::string, std::string> whole = environment();
  whole.insert(added.begin(), added.end());
  return std::make_unique<Program>(std::vector<std::string>{QELALERTD_PROGRAM}, next_output(),
                                   whole, host_);
}

std::unique_ptr<Program> Server::start_daemon(const std::map<std::string, std::string>& added) {
  auto daemon = launch_daemon(added);
  eventually([&] { return daemon->has_ended() || status().value("pid", 0) == daemon->pid(); });
  if (daemon->has_ended()) throw std::runtime_error("the daemon has ended: " + daemon->err());
  return daemon;
}

std::optional<int> Server::stop(Program* daemon) {
  daemon->signal(SIGTERM);
  return daemon->wait();
}

std::unique_ptr<Program> Server::run_tool(const std::vector<std::string>& arguments) {
  std::vector<std::string> call = {QELALERT_PROGRAM};
  call.insert(call.end(), arguments.begin(), arguments.end());
  return std::make_unique<Program>(call, next_output(), environment(), host_);
}

nlohmann::json Server::status() const {
  daemon_test::SocketClient client(path("run/qelalertd.sock"));
  client.send("{\"request\":\"status\"}\n");
  const auto answer = nlohmann::json::parse(client.receive_all(), nullptr, false);
  return answer.is_object() ? answer : nlohmann::json::object();
}

bool Server::intake_is_empty() const {
  std::error_code failure;
  return fs::file_size(store("alerttmp.alt"), failure) == 0 && !failure;
}

std::string Server::diagnostic_log() const {
  return alt_test::read_file(path("log/qelalertd.log")).value_or("");
}

bool Server::logged(const std::string& text) const {
  return diagnostic_log().find(text) != std::string::npos;
}

}  // namespace qel::system_test
