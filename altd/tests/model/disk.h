// Files in memory with the rules that matter to the store: a file that is removed or replaced
// stays readable and writable for whoever has it open.
#ifndef QEL_ALTD_TESTS_MODEL_DISK_H
#define QEL_ALTD_TESTS_MODEL_DISK_H

#include <cstddef>
#include <map>
#include <memory>
#include <string>

namespace alt_model {

using File = std::shared_ptr<std::string>;

class Disk {
 public:
  // Null when there is no such file.
  File open(const std::string& name) const;
  // An existing file is emptied and stays the same file.
  File create(const std::string& name);
  void remove(const std::string& name) { files_.erase(name); }
  void rename(const std::string& from, const std::string& to);

  // The same files; changes of the copy do not touch this disk.
  Disk clone() const;
  std::map<std::string, std::string> contents() const;

 private:
  std::map<std::string, File> files_;
};

// `size` bytes from `offset`; what lies behind the end of the file is zero.
std::string read_bytes(const File& file, size_t offset, size_t size);
// A gap before `offset` becomes zero bytes.
void write_bytes(const File& file, size_t offset, const std::string& bytes);

}  // namespace alt_model

#endif
