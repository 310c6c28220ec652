#include "cluster.h"

#include <sys/ipc.h>
#include <sys/sem.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "configuration.h"

namespace qel::simulation {

namespace {

namespace fs = std::filesystem;

constexpr char kMemoryDirectory[] = "/dev/shm";
constexpr int kSemaphoreProject = 97;

std::string make_directory() {
  const bool in_memory = fs::is_directory(kMemoryDirectory);
  const fs::path parent = in_memory ? fs::path(kMemoryDirectory) : fs::temp_directory_path();
  std::string name = (parent / "qel-simulation.XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp " + name);
  return name;
}

void remove_semaphore(const std::string& file) {
  const key_t key = ftok(file.c_str(), kSemaphoreProject);
  const int id = key == -1 ? -1 : semget(key, 1, 0);
  if (id != -1) semctl(id, 0, IPC_RMID);
}

}  // namespace

ClusterDirectory::ClusterDirectory() : path_(make_directory()) {
  fs::create_directory(path_ + "/modules");
}

ClusterDirectory::~ClusterDirectory() {
  for (const char* name : {"semindex", "semcreate", "semtemp"}) {
    remove_semaphore(lock_directory(path_) + "/" + name);
  }
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

Cluster::Cluster(int servers, uint64_t seed)
    : random_(seed),
      network_(&queue_, &random_, &trace_,
               [this](int server, const std::string& from, const std::string& bytes) {
                 this->server(server).arrive(from, bytes);
               }),
      program_(std::make_unique<ModuleCopy>(directory_.path() + "/modules/program")) {
  const std::vector<Member> members = make_members(servers);
  static const std::vector<int> kPaces = {0, 2, 1000, 1000};  // 0: that of the retransmission
  write_configuration(directory_.path(), members, random_.pick(kPaces));
  for (const Member& member : members) {
    for (size_t i = 0; i < member.addresses.size(); ++i) {
      network_.add_address(member.addresses[i], size(), static_cast<int>(i));
    }
    servers_.push_back(std::make_unique<Server>(member.name, directory_.path(), &surroundings_));
  }
}

}  // namespace qel::simulation
