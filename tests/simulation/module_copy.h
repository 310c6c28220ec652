// A copy of the node's module, loaded.
#pragma once

#include <string>

#include "node.h"

namespace qel::simulation {

// Two copies share no global.
class ModuleCopy {
 public:
  // Makes the file `path`, which no copy has had before, and loads it. Throws when that fails.
  explicit ModuleCopy(const std::string& path);
  ~ModuleCopy();
  ModuleCopy(const ModuleCopy&) = delete;
  ModuleCopy& operator=(const ModuleCopy&) = delete;

  decltype(qel_make_node)* make_node() const;
  decltype(qel_raise_alert)* raise_alert() const;

 private:
  void* symbol(const char* name) const;

  std::string path_;
  void* handle_;
};

}  // namespace qel::simulation
