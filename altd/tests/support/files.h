// Whole files, and differences between their bytes that a person can read.
#ifndef QEL_ALTD_TESTS_SUPPORT_FILES_H
#define QEL_ALTD_TESTS_SUPPORT_FILES_H

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace alt_test {

// The alert log and its six index files, the log first, the indexes in order of their type.
extern const char* const kStoreFiles[7];

// Nothing when the file does not exist; any other trouble throws.
std::optional<std::string> read_file(const std::string& path);
// Replaces the content in place; makes a missing file.
void write_file(const std::string& path, const std::string& content);
// Changes the bytes from `offset` in place; the file may grow.
void write_file_at(const std::string& path, size_t offset, const std::string& bytes);
// False when there was nothing to remove.
bool remove_file(const std::string& path);
bool file_exists(const std::string& path);

// Sorted names of everything in a directory.
std::vector<std::string> list_directory(const std::string& path);
// Name and content of every file in a directory.
std::map<std::string, std::string> read_directory(const std::string& path);

// Empty when both are equal, else the first difference: offset, line and both lines with whatever
// is not printable as \xHH.
std::string first_difference(const std::string& actual, const std::string& expected);
// The same for whole directories, with the names of files that only one side has.
std::string first_difference(const std::map<std::string, std::string>& actual,
                             const std::map<std::string, std::string>& expected);

std::string printable(const std::string& bytes);

}  // namespace alt_test

#endif
