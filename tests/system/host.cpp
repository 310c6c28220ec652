#include "host.h"

#include <fcntl.h>
#include <sched.h>
#include <unistd.h>

#include <stdexcept>

#include "support/process.h"
#include "unique_fd.h"

namespace qel::system_test {
namespace {

bool write_line(const char* path, const std::string& line) {
  const UniqueFd file(open(path, O_WRONLY | O_CLOEXEC));
  return file && write(file.get(), line.data(), line.size()) == static_cast<ssize_t>(line.size());
}

// Who is not root may name a host only in a user namespace of its own, where it stays who it is.
bool leave_as_user() {
  const std::string user = std::to_string(geteuid());
  const std::string group = std::to_string(getegid());
  return unshare(CLONE_NEWUSER | CLONE_NEWUTS) == 0 && write_line("/proc/self/setgroups", "deny") &&
         write_line("/proc/self/uid_map", user + " " + user + " 1") &&
         write_line("/proc/self/gid_map", group + " " + group + " 1");
}

}  // namespace

void move_to_host(const std::string& name) {
  const bool left = unshare(CLONE_NEWUTS) == 0 || leave_as_user();
  if (left && sethostname(name.data(), name.size()) == 0) return;
  throw std::runtime_error("no host \"" + name + "\" can be made here");
}

bool can_move_to_host() {
  return alt_test::in_process([] {
           move_to_host("other");
           return 0;
         }) == 0;
}

}  // namespace qel::system_test
