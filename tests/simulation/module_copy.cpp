#include "module_copy.h"

#include <dlfcn.h>

#include <filesystem>
#include <stdexcept>

namespace qel::simulation {
namespace {

namespace fs = std::filesystem;

// Beside the program, so that a campaign can run from a copy of both.
fs::path module_file() {
  return fs::read_symlink("/proc/self/exe").parent_path() / QEL_NODE_MODULE;
}

}  // namespace

// A module that is loaded already would be handed out again, with its globals.
ModuleCopy::ModuleCopy(const std::string& path) : path_(path) {
  fs::copy_file(module_file(), path_);
  if (dlopen(path_.c_str(), RTLD_NOW | RTLD_NOLOAD) != nullptr) {
    throw std::runtime_error(path_ + " is still loaded");
  }
  handle_ = dlopen(path_.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_ == nullptr) throw std::runtime_error(dlerror());
}

ModuleCopy::~ModuleCopy() {
  dlclose(handle_);
  std::error_code ignored;
  fs::remove(path_, ignored);
}

void* ModuleCopy::symbol(const char* name) const {
  void* found = dlsym(handle_, name);
  if (found == nullptr) throw std::runtime_error(path_ + " lacks " + name);
  return found;
}

decltype(qel_make_node)* ModuleCopy::make_node() const {
  return reinterpret_cast<decltype(qel_make_node)*>(symbol("qel_make_node"));
}

decltype(qel_raise_alert)* ModuleCopy::raise_alert() const {
  return reinterpret_cast<decltype(qel_raise_alert)*>(symbol("qel_raise_alert"));
}

}  // namespace qel::simulation
