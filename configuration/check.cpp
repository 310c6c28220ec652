#include "configuration/check.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <list>
#include <map>
#include <optional>

#include "configuration/checked_file.h"
#include "configuration/elements.h"
#include "configuration/keys.h"
#include "configuration/rules.h"
#include "configuration/servers.h"

namespace qel::configuration {

namespace {

using Path = std::filesystem::path;

// 0, or the errno that a program will meet.
int directory_fault(const char* directory) {
  struct stat status {};
  if (stat(directory, &status) != 0) return errno;
  if (!S_ISDIR(status.st_mode)) return ENOTDIR;
  return access(directory, R_OK | X_OK) == 0 ? 0 : errno;
}

// The files that are checked together.
class Check {
 public:
  explicit Check(const NearestName& nearest) : nearest_(nearest) {}

  void load(const std::string& path) {
    CheckedFile& file = files_.emplace_back(path);
    if (file.loaded() && file.section().empty()) {
      return file.add(Severity::kError, "/root",
                      "neither the file's name nor its first element tells which file of the "
                      "configuration it is");
    }
    if (file.loaded()) sections_.emplace(file.section(), &file);
  }

  void run(Scope scope) {
    for (const auto& [section, file] : sections_) check_elements(file, nearest_);
    for (const Key& key : kKeys) {
      if (section_of(key.path) != "cluster" && sections_.contains(section_of(key.path))) {
        check_value(key);
      }
    }
    if (sections_.contains("webalert")) {
      add_all(faults_between(times()));
      add_all(faults_between(access()));
    }
    if (sections_.contains("cluster")) check_cluster(sections_.at("cluster"));
    if (scope == Scope::kThisHost) check_directories();
  }

  std::vector<Finding> findings() const {
    std::vector<Finding> all;
    for (const CheckedFile& file : files_) {
      const std::vector<Finding> found = file.findings();
      all.insert(all.end(), found.begin(), found.end());
    }
    return all;
  }

 private:
  // The file that has the value of a key: a key that its own file leaves out is looked for in
  // cluster.xml. Without a value, its own file.
  CheckedFile& file_of(std::string_view key) const {
    CheckedFile* const own = sections_.at(section_of(key));
    const auto cluster = sections_.find("cluster");
    const bool elsewhere =
        !own->has(key) && cluster != sections_.end() && cluster->second->has(key);
    return elsewhere ? *cluster->second : *own;
  }

  void check_value(const Key& key) {
    CheckedFile& file = file_of(key.path);
    const std::optional<std::string> text = file.text(key.path);
    const std::string fault = text ? value_fault(key, *text) : key.required ? "missing" : "";
    if (!fault.empty()) file.add(Severity::kError, key.path, fault);
  }

  // Keeps a number that is right.
  std::string value_fault(const Key& key, const std::string& text) {
    if (key.kind != Kind::kNumber && key.kind != Kind::kLevel) return text_fault(key, text);
    int number = 0;
    const std::string no_int = int_fault(text, &number);
    if (!no_int.empty()) return shown(text) + " " + no_int;
    std::string fault = number_fault(key, number);
    if (fault.empty()) numbers_[key.path] = number;
    return fault;
  }

  // A key's number; of one that is wrong or missing, what leads to no further fault.
  int number_or(const Key& key, int harmless) const {
    const auto number = numbers_.find(key.path);
    if (number != numbers_.end()) return number->second;
    int standard = 0;
    const bool by_default = !key.required && !file_of(key.path).has(key.path) &&
                            int_fault(key.standard, &standard).empty();
    return by_default ? standard : harmless;
  }

  void add_all(const std::vector<Fault>& faults) {
    for (const Fault& fault : faults) {
      file_of(fault.key).add(Severity::kError, fault.key, fault.reason);
    }
  }

  Times times() const {
    const int names = number_or(key_at("/root/webalert/daemon/sync/names"), INT_MAX);
    const int stall = number_or(key_at("/root/webalert/daemon/sync/resynctimeinterval"), INT_MAX);
    return {number_or(key_at("/root/webalert/daemon/resend"), 1),
            number_or(key_at("/root/webalert/daemon/retries"), 1),
            number_or(key_at("/root/webalert/daemon/sync/newserver"), 1),
            names,
            number_or(key_at("/root/webalert/daemon/sync/ids"), 1),
            std::max(names, stall) == INT_MAX ? INT64_MAX : stall};
  }

  // A wrong value is there all the same.
  Access access() const {
    const Key& listen = key_at("/root/webalert/web/listen");
    const auto is_there = [&](const char* key) { return file_of(key).has(key); };
    return {file_of(listen.path).text(listen.path).value_or(listen.standard),
            is_there("/root/webalert/web/certificate"), is_there("/root/webalert/web/key"),
            is_there("/root/webalert/web/users")};
  }

  static void check_cluster(CheckedFile* file) {
    std::string local;
    std::string error;
    if (!local_server_name(&local, &error)) return file->add(Severity::kError, kCluster, error);
    std::vector<ServerEntry> servers;
    const auto text_of = [&](const std::string& key) { return file->text(key); };
    const std::vector<Fault> faults = read_servers(text_of, local, &servers);
    for (const Fault& fault : faults) file->add(Severity::kError, fault.key, fault.reason);
    if (!faults.empty()) return;
    for (const Fault& warning : warnings_about(servers, local)) {
      file->add(Severity::kWarning, warning.key, warning.reason);
    }
  }

  void check_directories() {
    const Key& name = key_at("/root/webalert/main/alertlog/name");
    const Key& socket = key_at("/root/webalert/daemon/socket");
    if (!sections_.contains("all") || !sections_.contains("webalert")) return;
    const std::optional<std::string> root = file_of("/root/all/path").text("/root/all/path");
    const std::optional<std::string> log = file_of(name.path).text(name.path);
    if (root && log) {
      check_directory_of(name, Path(*root) / Path(*log).relative_path());
    }
    check_directory_of(socket, file_of(socket.path).text(socket.path).value_or(socket.standard));
  }

  // The directory of a file, which programs have to enter and to read.
  void check_directory_of(const Key& key, const Path& path) {
    const Path file = path.has_filename() ? path : path.parent_path();
    const std::string directory = file.parent_path();
    const int fault = file.is_absolute() ? directory_fault(directory.c_str()) : 0;
    if (fault == 0) return;
    file_of(key.path).add(Severity::kWarning, key.path,
                          "the directory " + shown(directory) + ": " + strerror(fault));
  }

  const NearestName& nearest_;
  std::list<CheckedFile> files_;  // their places stay
  std::map<std::string_view, CheckedFile*> sections_;
  std::map<std::string_view, int> numbers_;  // by key
};

}  // namespace

std::vector<Finding> check_directory(const std::string& directory, Scope scope,
                                     const NearestName& nearest) {
  Check check(nearest);
  for (const std::string_view section : kSections) {
    check.load((Path(directory) / section).native() + ".xml");
  }
  check.run(scope);
  return check.findings();
}

std::vector<Finding> check_file(const std::string& path, const NearestName& nearest) {
  Check check(nearest);
  check.load(path);
  check.run(Scope::kFiles);
  return check.findings();
}

std::string line_of(const Finding& finding) {
  const char* const severity = finding.severity == Severity::kError ? "error" : "warning";
  return finding.file + ":" + std::to_string(finding.line) + ":" + std::to_string(finding.column) +
         ": " + severity + ": " + (finding.key.empty() ? "" : finding.key + ": ") + finding.text;
}

}  // namespace qel::configuration
