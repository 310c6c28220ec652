// The disk of a simulated host, and a node's death seen from there.
#pragma once

#include <string>

#include "interposed.h"
#include "support/random.h"

namespace qel::simulation {

// Decides what becomes of the calls that change files. A node that dies within a call goes on to
// the end of that call, since nothing can stop it there; but nothing that it does from its death on
// leaves a trace.
class Disk {
 public:
  // `store` is the directory of the store, which is made.
  Disk(const std::string& store, alt_test::Random* random);

  // Each change that takes room fails with this probability.
  void fill(unsigned percent) { refused_percent_ = percent; }
  // The node dies at the so-many-th change of a file from now on; half of that one may be done.
  void doom_node(int changes) { changes_to_death_ = changes; }
  void pardon_node() { changes_to_death_ = 0; }
  void kill_node() { node_is_dead_ = true; }
  bool node_is_dead() const { return node_is_dead_; }
  void expect_new_node();

  FileChange change(bool takes_room);
  FileChange change_by_program(bool takes_room);

  // The alert log has reached the disk with this content.
  void synced(const std::string& log) { durable_log_ = log; }
  const std::string& durable_log() const { return durable_log_; }

  // The log becomes what it was when it last reached the disk. Programs do not wait for the disk,
  // and nobody promises them so: the intake stays as it is. Only while nothing runs, as the next.
  void lose_power() const;
  // The disk is replaced by an empty one.
  void replace();

 private:
  std::string store_;
  alt_test::Random* random_;
  unsigned refused_percent_ = 0;
  int changes_to_death_ = 0;  // 0: it lives on
  bool node_is_dead_ = false;
  std::string durable_log_;
};

}  // namespace qel::simulation
