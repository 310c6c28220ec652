// A store of its own for each test: a fresh directory, the settings that point to it, and the
// clean-up of what a store leaves behind in the system.
#ifndef QEL_ALTD_TESTS_SUPPORT_TEMP_STORE_H
#define QEL_ALTD_TESTS_SUPPORT_TEMP_STORE_H

#include <gtest/gtest.h>
#include <sys/types.h>

#include <string>

#include "support/log_capture.h"

namespace alt_test {

// Makes <tmp>/alt_test.XXXXXX with the directories "log" (store) and "cmd" (semaphore files) and
// resets all settings of the library to defaults that point there; umask 022. One at a time: the
// settings belong to the process. The end removes the three semaphores and the directory.
class TempStore {
 public:
  static constexpr int kDefaultCapacity = 10;

  explicit TempStore(int capacity = kDefaultCapacity);
  ~TempStore();
  TempStore(const TempStore&) = delete;
  TempStore& operator=(const TempStore&) = delete;

  const std::string& root() const { return root_; }
  const std::string& directory() const { return directory_; }  // of the store; ends in "/"
  const std::string& command_directory() const { return command_directory_; }  // ends in "/"
  std::string path(const std::string& file_name) const { return directory_ + file_name; }
  // Gives the store another owner, for tests that leave root's rights.
  void give_to(uid_t user, gid_t group) const;

 private:
  void point_settings_here(int capacity);
  void remove_semaphore(const char* name) const;

  std::string root_;
  std::string directory_;
  std::string command_directory_;
  std::string log_path_;
  std::string intake_name_;
  mode_t old_umask_;
};

// Removes a directory tree, also one whose directories its owner may not write.
void remove_tree(const std::string& path);

// A test with a store. A failure prints the library's messages.
class StoreTest : public ::testing::Test {
 protected:
  StoreTest();
  ~StoreTest() override;

  void TearDown() override;

  std::string path(const std::string& file_name) const { return store_.path(file_name); }

  LogCapture& log_ = LogCapture::instance();
  TempStore store_;
};

}  // namespace alt_test

#endif
