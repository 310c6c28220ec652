// Calls of the system and of the platform libraries that nodes make, taken over by this program.
//
// The program defines socket, bind, sendto and close, the calls that change files, the clocks, the
// host name, and the calls of the log and IPC libraries itself and exports them, so that every copy
// of the module comes here. While no node runs they do what the system does, or nothing.
#pragma once

#include <cstdint>
#include <string>

namespace qel::simulation {

// What becomes of a call that changes a file.
enum class FileChange {
  kDone,
  kHalf,     // half of the bytes are written, and the node is told that all are
  kNothing,  // and the node is told that it is done
  kRefused,  // since the disk is full
};

// The host that the running node believes to be on.
class Host {
 public:
  virtual ~Host() = default;
  virtual const std::string& name() const = 0;
  virtual int64_t wall_clock_us() const = 0;  // since 1970
  virtual int64_t tick_clock() const = 0;     // hundredths of a second since whenever
  // Whether the address is one of this host at the moment.
  virtual bool can_bind(const std::string& address) const = 0;
  // False when the system refuses to send.
  virtual bool send(const std::string& from, const std::string& to, const std::string& bytes) = 0;
  virtual int timeout_ratio() const = 0;  // of the cluster
  // Asked before each call that changes a file; `takes_room` when a full disk would matter.
  virtual FileChange change_file(bool takes_room) = 0;
  // The content of the alert log has reached the disk.
  virtual void synced(const std::string& content) = 0;
  virtual void log(const std::string& text) = 0;
};

// While it lives, calls are those of a node on `host`. They nest.
class Running {
 public:
  explicit Running(Host* host);
  ~Running();
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

 private:
  Host* outer_;
};

}  // namespace qel::simulation
