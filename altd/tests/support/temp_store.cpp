#include "support/temp_store.h"

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "alert_config.h"

namespace alt_test {
namespace {

namespace fs = std::filesystem;

constexpr int kSemaphoreProject = 97;
constexpr const char* kSemaphoreFiles[] = {"semindex", "semcreate", "semtemp"};

std::string make_root() {
  std::string name = (fs::temp_directory_path() / "alt_test.XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp " + name);
  return name;
}

void copy_setting(char* setting, size_t size, const std::string& value) {
  if (value.size() >= size) throw std::runtime_error("path too long: " + value);
  std::memset(setting, 0, size);
  value.copy(setting, size - 1);
}

}  // namespace

void remove_tree(const std::string& path) {
  std::error_code ignored;
  fs::permissions(path, fs::perms::owner_all, fs::perm_options::add, ignored);
  for (fs::recursive_directory_iterator it(path, ignored), end; !ignored && it != end;
       it.increment(ignored)) {
    // The rights must be there before the walk steps into the directory.
    std::error_code denied;
    if (it->is_directory(denied) && !it->is_symlink(denied)) {
      fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, denied);
    }
  }
  fs::remove_all(path, ignored);
  if (ignored)
    std::fprintf(stderr, "left behind: %s (%s)\n", path.c_str(), ignored.message().c_str());
}

// The two directories are made here, as packages make them: the mode that the library's own
// mkdir_path gives leaves an owner other than root without the right to write.
TempStore::TempStore(int capacity)
    : root_(make_root()),
      directory_(root_ + "/log/"),
      command_directory_(root_ + "/cmd/"),
      log_path_(directory_ + "alertlog.alt"),
      intake_name_("alerttmp.alt"),
      old_umask_(umask(022)) {
  fs::create_directory(directory_);
  fs::create_directory(command_directory_);
  point_settings_here(capacity);
}

TempStore::~TempStore() {
  for (const char* name : kSemaphoreFiles) remove_semaphore(name);
  remove_tree(root_);
  init_global_var();
  umask(old_umask_);
}

void TempStore::point_settings_here(int capacity) {
  init_global_var();
  copy_setting(alt_path_only, sizeof(alt_path_only), directory_);
  copy_setting(alt_name_only, sizeof(alt_name_only), "alertlog.alt");
  alt_alert_name = log_path_.data();
  alt_cmd_path = command_directory_.data();
  alt_name_temp = intake_name_.data();
  alt_max_count = capacity;
}

void TempStore::remove_semaphore(const char* name) const {
  const key_t key = ftok((command_directory_ + name).c_str(), kSemaphoreProject);
  if (key == -1) return;
  const int id = semget(key, 1, 0);
  if (id != -1) semctl(id, 0, IPC_RMID);
}

void TempStore::give_to(uid_t user, gid_t group) const {
  if (chown(root_.c_str(), user, group) != 0) throw std::runtime_error("chown " + root_);
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root_)) {
    if (chown(entry.path().c_str(), user, group) != 0) {
      throw std::runtime_error("chown " + entry.path().string());
    }
  }
}

StoreTest::StoreTest() {
  log_.clear();
  alt_log_handle = log_.handle();
}

StoreTest::~StoreTest() { alt_log_handle = nullptr; }

void StoreTest::TearDown() {
  if (HasFailure()) std::printf("messages of the library:\n%s", log_.dump().c_str());
}

}  // namespace alt_test
