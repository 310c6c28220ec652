#include "disk.h"

#include <filesystem>

#include "model/formats.h"
#include "support/files.h"

namespace qel::simulation {

namespace fs = std::filesystem;

Disk::Disk(const std::string& store, alt_test::Random* random) : store_(store), random_(random) {
  fs::create_directories(store_);
}

void Disk::expect_new_node() {
  node_is_dead_ = false;
  changes_to_death_ = 0;
}

FileChange Disk::change(bool takes_room) {
  if (node_is_dead_) return FileChange::kNothing;
  if (changes_to_death_ > 0 && --changes_to_death_ == 0) {
    node_is_dead_ = true;
    return random_->chance(50) ? FileChange::kHalf : FileChange::kNothing;
  }
  return change_by_program(takes_room);
}

FileChange Disk::change_by_program(bool takes_room) {
  const bool refused = takes_room && random_->chance(refused_percent_);
  return refused ? FileChange::kRefused : FileChange::kDone;
}

void Disk::lose_power() const {
  const std::string log = store_ + "/" + alt_model::kLogName;
  if (durable_log_.empty()) {
    fs::remove(log);
  } else {
    alt_test::write_file(log, durable_log_);
  }
}

void Disk::replace() {
  durable_log_.clear();
  fs::remove_all(store_);
  fs::create_directories(store_);
}

}  // namespace qel::simulation
