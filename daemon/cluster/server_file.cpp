#include "cluster/server_file.h"

#include <qelxml.h>

#include <memory>
#include <optional>
#include <utility>

#pragma weak xmllib_last_error

namespace qel::daemon {

namespace {

using configuration::Fault;

constexpr char kProgram[] = "qelalertd";
constexpr int kValueMax = (4 << 20) + 1;  // a value is never longer than the file that holds it

// cluster.xml while it is read; no policy section is loaded that could hide what it holds.
class ClusterFile {
 public:
  ClusterFile() : loaded_(xmllib_init(kProgram) == 0 && xmllib_load_config() == 0) {}
  ~ClusterFile() {
    if (loaded_) xmllib_unload_config();
    xmllib_term();
  }
  ClusterFile(const ClusterFile&) = delete;
  ClusterFile& operator=(const ClusterFile&) = delete;

  bool loaded() const { return loaded_; }
  // Nothing when there is no such element.
  std::optional<std::string> text(const std::string& key) const {
    int size = kValueMax;
    if (xmllib_get_value(key.c_str(), XMLLIB_TEXT, buffer_.get(), &size) != 0) return std::nullopt;
    return std::string(buffer_.get(), static_cast<size_t>(size));
  }

 private:
  bool loaded_;
  std::unique_ptr<char[]> buffer_ = std::make_unique_for_overwrite<char[]>(kValueMax);
};

}  // namespace

bool read_servers(std::vector<ServerEntry>* servers, std::string* error) {
  std::string local;
  if (!local_server_name(&local, error)) return false;
  const ClusterFile file;
  if (!file.loaded()) {
    *error = xmllib_last_error != nullptr ? xmllib_last_error() : "cluster.xml: cannot be read";
    return false;
  }
  std::vector<ServerEntry> found;
  const std::vector<Fault> faults = configuration::read_servers(
      [&](const std::string& key) { return file.text(key); }, local, &found);
  if (!faults.empty()) {
    *error = "cluster.xml: " + faults[0].key + ": " + faults[0].reason;
    return false;
  }
  *servers = std::move(found);
  return true;
}

std::vector<std::string> server_warnings(const std::vector<ServerEntry>& servers,
                                         const std::string& local_name) {
  std::vector<std::string> sentences;
  for (const Fault& warning : configuration::warnings_about(servers, local_name)) {
    sentences.push_back(warning.reason);
  }
  return sentences;
}

}  // namespace qel::daemon
