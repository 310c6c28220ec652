/* A shared state of its own for each test, gone afterwards. */
#ifndef QELIPC_IPC_FIXTURE_H
#define QELIPC_IPC_FIXTURE_H

#include <fcntl.h>
#include <sys/mman.h>

#include <cerrno>

#include "common/unique_fd.h"
#include "qelipc.h"
#include "testing/test_support.h"

class IpcFixture : public ::testing::Test {
 protected:
  ~IpcFixture() override {
    while (shmcm_detach() == 0) {
    }
    remove();
  }

  void remove() const { (void)::shm_unlink(name_.c_str()); }
  bool exists() const { return static_cast<bool>(open_object(O_RDONLY)); }
  qel::UniqueFd open_object(int flags) const {
    return qel::UniqueFd(::shm_open(name_.c_str(), flags, 0666));
  }
  /* An object as somebody else left it. */
  void make_object(const std::string& content) const {
    const qel::UniqueFd object = open_object(O_RDWR | O_CREAT | O_EXCL);
    ASSERT_EQ(::write(object.get(), content.data(), content.size()),
              static_cast<ssize_t>(content.size()));
  }

  /* "ratio/period" of the attached state, or the errno as "!number". */
  static std::string timing() {
    int ratio = -7;
    int period = -7;
    if (shmcm_getratio(&ratio, &period) != 0) {
      EXPECT_EQ(ratio, -7);
      EXPECT_EQ(period, -7);
      return "!" + std::to_string(errno);
    }
    return std::to_string(ratio) + "/" + std::to_string(period);
  }
  static std::string error(int number) { return "!" + std::to_string(number); }

  const std::string name_ = "/qel-test-" + std::to_string(::getpid());
  const qel::testing::ScopedVariable variable_{"QEL_IPC_NAME", name_.c_str()};
};

#endif
