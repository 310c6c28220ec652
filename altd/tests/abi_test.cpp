// The library as a binary: its names, a client in C, and several copies in one process. This
// program does not link with the library.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "abi_client.h"

namespace {

namespace fs = std::filesystem;

// A library that stays loaded as long as its owner.
class Module {
 public:
  explicit Module(const std::string& path) : handle_(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) throw std::runtime_error(dlerror());
  }
  ~Module() { dlclose(handle_); }
  Module(const Module&) = delete;
  Module& operator=(const Module&) = delete;

  template <typename T>
  T* find(const std::string& name) const {
    return reinterpret_cast<T*>(dlsym(handle_, name.c_str()));
  }

 private:
  void* handle_;
};

class Abi : public ::testing::Test {
 protected:
  Abi() {
    std::string name = (fs::temp_directory_path() / "alt_test.XXXXXX").string();
    root_ = mkdtemp(name.data());
    fs::create_directories(root_ + "/log");
    fs::create_directories(root_ + "/cmd");
  }
  ~Abi() override {
    for (const char* name : {"semindex", "semcreate", "semtemp"}) {
      const key_t key = ftok((root_ + "/cmd/" + name).c_str(), 97);
      const int id = key == -1 ? -1 : semget(key, 1, 0);
      if (id != -1) semctl(id, 0, IPC_RMID);
    }
    fs::remove_all(root_);
  }
  std::string copy_of_library(const std::string& name) const {
    fs::copy_file(QEL_LIBRARY, root_ + "/" + name);
    return root_ + "/" + name;
  }

  std::string root_;
};

// The names of the export list.
std::set<std::string> exported_names() {
  std::ifstream file(QEL_EXPORT_LIST);
  std::set<std::string> names;
  for (std::string line; std::getline(file, line);) {
    line = line.substr(0, line.find('#'));
    static const std::regex name(R"(([A-Za-z_]\w*);)");
    for (std::sregex_iterator it(line.begin(), line.end(), name), end; it != end; ++it) {
      names.insert((*it)[1]);
    }
  }
  return names;
}

std::set<std::string> names_of_client(const Module& client) {
  std::set<std::string> names;
  for (const abi_symbol* each = client.find<const abi_symbol>("abi_symbols"); each->name != nullptr;
       ++each) {
    names.insert(each->name);
  }
  return names;
}

TEST_F(Abi, ClientInCStoresSearchesAndTalks) {
  const Module client(QEL_CLIENT);
  EXPECT_EQ(client.find<int(const char*)>("abi_client_run")(root_.c_str()), 0);
}

TEST_F(Abi, ClientTakesTheAddressOfEveryExportedName) {
  const Module client(QEL_CLIENT);
  EXPECT_GT(exported_names().size(), 100U);
  EXPECT_EQ(names_of_client(client), exported_names());
}

TEST_F(Abi, EveryNameOfTheClientIsFoundInTheLibrary) {
  const Module client(QEL_CLIENT);
  const Module library(QEL_LIBRARY);
  for (const abi_symbol* each = client.find<const abi_symbol>("abi_symbols"); each->name != nullptr;
       ++each) {
    const void* found = library.find<void>(each->name);
    EXPECT_NE(found, nullptr) << each->name;
    const void* used =
        each->object != nullptr ? each->object : reinterpret_cast<const void*>(each->function);
    EXPECT_EQ(used, found) << each->name;
  }
}

TEST_F(Abi, GlobalsOfTwoCopiesAreSeparate) {
  const Module one(copy_of_library("libone.so"));
  const Module two(copy_of_library("libtwo.so"));
  for (const std::string& name : exported_names()) {
    EXPECT_NE(one.find<void>(name), two.find<void>(name)) << name;
  }
  for (const Module* copy : {&one, &two}) copy->find<void()>("init_global_var")();
  *one.find<int>("alt_max_count") = 1;
  *two.find<int>("alt_max_count") = 2;
  EXPECT_EQ(*one.find<int>("alt_max_count"), 1);
  one.find<void()>("init_global_var")();
  EXPECT_EQ(*one.find<int>("alt_max_count"), 10000);
  EXPECT_EQ(*two.find<int>("alt_max_count"), 2);
}

TEST_F(Abi, FunctionsOfACopyUseItsOwnGlobals) {
  const Module one(copy_of_library("libone.so"));
  const Module two(copy_of_library("libtwo.so"));
  struct {
    unsigned max_count;
    char rest[244];
  } header = {};
  *one.find<int>("alt_max_count") = 11;
  *two.find<int>("alt_max_count") = 22;
  one.find<void(void*)>("init_header_data")(&header);
  EXPECT_EQ(header.max_count, 11U);
  two.find<void(void*)>("init_header_data")(&header);
  EXPECT_EQ(header.max_count, 22U);
}

TEST_F(Abi, CopyIsUnloadedAndLoadedAfresh) {
  const std::string path = copy_of_library("libone.so");
  auto copy = std::make_unique<Module>(path);
  *copy->find<int>("alt_udp_port") = 1;
  copy.reset();
  copy = std::make_unique<Module>(path);
  copy->find<void()>("init_global_var")();
  EXPECT_EQ(*copy->find<int>("alt_udp_port"), 29003);
}

}  // namespace
