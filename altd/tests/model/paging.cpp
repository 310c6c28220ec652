// Which records a page holds, and the queries that need no search.
#include <algorithm>

#include "model/store_model.h"

namespace alt_model {
namespace {

// Appends the records of the lines; false when one cannot be read.
bool read_lines(const File& log, const std::vector<uint32_t>& lines, Page* page) {
  for (const uint32_t line : lines) {
    const auto record = read_record(log, line);
    if (!record) return false;
    page->records.push_back(*record);
  }
  return true;
}

// The lines of the time index from position `last` back to `first`: newest first.
std::vector<uint32_t> lines_back(const File& time_index, int first, int last) {
  std::vector<uint32_t> lines;
  for (int at = last; at >= first; --at) {
    lines.push_back(read_entry(time_index, kTimeIndex, at).line);
  }
  return lines;
}

int pages_of(int total, int size) { return total / size + (total % size != 0 ? 1 : 0); }

// Brings the page number to the last page at most and the size to what that page holds.
void settle_page(int total, Page* page) {
  const int last_page = pages_of(total, page->size) - 1;
  if (page->page < last_page) return;
  page->page = last_page;
  if (total % page->size != 0) page->size = total % page->size;
}

}  // namespace

int StoreModel::deliver(const File& log, const std::vector<uint32_t>& lines, Page* page) {
  const int total = static_cast<int>(lines.size());
  const int full_size = page->size;
  settle_page(total, page);
  const auto begin = lines.begin() + static_cast<long>(page->page) * full_size;
  return read_lines(log, {begin, begin + page->size}, page) ? total : -1;
}

int StoreModel::deliver_all(const File& log, const File& time_index, int count, Page* page) {
  const int full_size = page->size;
  settle_page(count, page);
  const int last = count - page->page * full_size - 1;
  return read_lines(log, lines_back(time_index, last - page->size + 1, last), page) ? count : -1;
}

Page StoreModel::last(int count) {
  Page answer;
  const File log = open_file(kLogName);
  const File time_index = log == nullptr ? nullptr : open_file(kIndexNames[kTimeIndex]);
  const auto entries = time_index == nullptr ? std::nullopt : read_index_header(time_index);
  if (!entries) {
    answer.result = -1;
    return answer;
  }
  const int held = static_cast<int>(*entries);
  const auto lines = lines_back(time_index, held - std::min(count, held), held - 1);
  answer.result = read_lines(log, lines, &answer) ? static_cast<int>(lines.size()) : -1;
  return answer;
}

Page StoreModel::by_count(int total, int size, int page) {
  if (total == 0) throw Undefined("page of no records");
  Page answer{-1, size, page, false, {}};
  const File log = open_file(kLogName);
  if (log == nullptr) return answer;
  const auto header = read_header(log);
  if (!header) return answer;
  int held = 0;
  File time_index;
  if (header->count != 0) {
    time_index = open_file(kIndexNames[kTimeIndex]);
    const auto entries = time_index == nullptr ? std::nullopt : read_index_header(time_index);
    if (!entries) return answer;
    held = static_cast<int>(*entries);
  }
  if (held == 0) return {0, 0, -1, false, {}};
  const int considered = std::min(total, held);
  settle_page(considered, &answer);
  const int last = held - answer.page * size - 1;
  if (read_lines(log, lines_back(time_index, last - answer.size + 1, last), &answer)) {
    answer.result = considered;
  }
  return answer;
}

}  // namespace alt_model
