#include <algorithm>
#include <cctype>

#include "random_workload.h"

namespace alt_test {
namespace {

using alt_model::kIndexHeader;
using alt_model::kRecordLine;

constexpr size_t kCountColumn = 74 + 14;  // behind "Current count:" of an index
constexpr size_t kKeyWidth = 65;
constexpr int kLogToWriteLine = 2;

std::string replaced(std::string content, size_t offset, const std::string& bytes) {
  return content.replace(offset, bytes.size(), bytes);
}

std::string padded(int number, size_t width) {
  std::string text = std::to_string(number);
  text.resize(width, ' ');
  return text;
}

// Offset of the nth `wanted` (from 0), or npos.
size_t find_nth(const std::string& content, char wanted, int n) {
  size_t at = content.find(wanted);
  while (n-- > 0 && at != std::string::npos) at = content.find(wanted, at + 1);
  return at;
}

struct IndexFile {
  Random& random;
  const std::string& content;
  size_t entry;    // bytes
  size_t entries;  // whole ones in the file
  size_t line_column;
};

size_t random_entry(const IndexFile& file) {
  return kIndexHeader + file.entry * file.random.below(file.entries);
}

Damage cut_index(const IndexFile& file) {
  const size_t size = file.random.below(file.content.size() + 1);
  return {"cut to " + std::to_string(size) + " bytes", file.content.substr(0, size)};
}

Damage cut_entries(const IndexFile& file) {
  const size_t size = kIndexHeader + file.entry * file.random.below(file.entries + 1);
  return {"cut to " + std::to_string(size) + " bytes", file.content.substr(0, size)};
}

Damage lose_colon(const IndexFile& file) {
  const int line = file.random.between(0, 1);
  const size_t colon = find_nth(file.content, ':', line);
  return {"colon of line " + std::to_string(line) + " lost",
          colon == std::string::npos ? file.content : replaced(file.content, colon, " ")};
}

Damage lose_line_end(const IndexFile& file) {
  const int line = file.random.between(0, 1);
  const size_t end = find_nth(file.content, '\n', line);
  return {"end of line " + std::to_string(line) + " lost",
          end == std::string::npos ? file.content : replaced(file.content, end, " ")};
}

Damage change_count(const IndexFile& file) {
  const int count = file.random.between(0, static_cast<int>(file.entries) + 3);
  return {"count changed to " + std::to_string(count),
          replaced(file.content, kCountColumn, padded(count, 8))};
}

Damage append_garbage(const IndexFile& file) {
  const std::string garbage =
      file.random.chance(50) ? "garbage" : file.content.substr(random_entry(file), file.entry);
  return {"bytes appended: " + garbage, file.content + garbage};
}

Damage swap_entries(const IndexFile& file) {
  const size_t a = random_entry(file);
  const size_t b = random_entry(file);
  std::string content = replaced(file.content, a, file.content.substr(b, file.entry));
  content = replaced(content, b, file.content.substr(a, file.entry));
  return {"entries at " + std::to_string(a) + " and " + std::to_string(b) + " swapped", content};
}

Damage change_line(const IndexFile& file) {
  const size_t digit = random_entry(file) + file.line_column;
  const std::string value(1, static_cast<char>('0' + file.random.below(10)));
  return {"line digit at " + std::to_string(digit) + " changed to " + value,
          replaced(file.content, digit, value)};
}

Damage change_key(const IndexFile& file) {
  const size_t at = random_entry(file);
  return {"key at " + std::to_string(at) + " changed", replaced(file.content, at, "q")};
}

struct LogFile {
  Random& random;
  const std::string& content;
  int capacity;
};

Damage cut_log(const LogFile& file) {
  const size_t cut = std::min<size_t>(file.content.size(),
                                      1 + file.random.below(file.random.chance(50) ? 10 : 2000));
  return {"log shorter by " + std::to_string(cut),
          file.content.substr(0, file.content.size() - cut)};
}

Damage lengthen_log(const LogFile& file) {
  const size_t surplus = file.random.chance(30) ? kRecordLine : 1 + file.random.below(kRecordLine);
  return {"log longer by " + std::to_string(surplus), file.content + std::string(surplus, 'z')};
}

Damage empty_log(const LogFile& /*file*/) { return {"log emptied", ""}; }

Damage lose_log_character(const LogFile& file, char lost) {
  const int line = file.random.between(0, 5);
  const size_t at = find_nth(file.content, lost, line);
  return {
      std::string(lost == ':' ? "colon" : "end") + " of log line " + std::to_string(line) + " lost",
      at == std::string::npos ? file.content : replaced(file.content, at, " ")};
}

Damage lose_log_colon(const LogFile& file) { return lose_log_character(file, ':'); }
Damage lose_log_line_end(const LogFile& file) { return lose_log_character(file, '\n'); }

Damage lose_empty_line(const LogFile& file) {
  const size_t at = file.content.find("\n\n");
  return {"empty line of the log lost",
          at == std::string::npos ? file.content : replaced(file.content, at + 1, " ")};
}

// The line that the next record goes to is then not the one that is due.
Damage move_next_line(const LogFile& file) {
  const size_t end = find_nth(file.content, '\n', kLogToWriteLine);
  const int line = file.random.between(0, file.capacity);
  std::string number = std::to_string(line);
  number.insert(0, 8 - number.size(), ' ');
  return {"next line of the log changed to " + std::to_string(line),
          end == std::string::npos ? file.content : replaced(file.content, end - 8, number)};
}

}  // namespace

Damage damage_index(Random* random, const std::string& content, int index) {
  using Way = Damage (*)(const IndexFile&);
  static const std::vector<Way> any = {cut_index, cut_entries, lose_colon, lose_line_end,
                                       change_count};
  static const std::vector<Way> with_entries = {cut_entries,    lose_colon,   change_count,
                                                append_garbage, swap_entries, swap_entries,
                                                change_line,    change_key};
  const size_t entry = alt_model::entry_size(index);
  const size_t entries = (content.size() - kIndexHeader) / entry;
  const size_t line_column = index == alt_model::kIdIndex ? kKeyWidth + 10 : kKeyWidth;
  const IndexFile file{*random, content, entry, entries, line_column};
  return random->pick(entries > 0 && random->chance(80) ? with_entries : any)(file);
}

Damage damage_log(Random* random, const std::string& content, int capacity) {
  using Way = Damage (*)(const LogFile&);
  static const std::vector<Way> ways = {cut_log,        lengthen_log,      empty_log,
                                        lose_log_colon, lose_log_line_end, lose_empty_line,
                                        move_next_line, move_next_line,    move_next_line};
  return random->pick(ways)({*random, content, capacity});
}

}  // namespace alt_test
