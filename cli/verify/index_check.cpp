#include "verify/index_check.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "alert_index/layout.h"
#include "alerts/visible_text.h"
#include "verify/header_text.h"
#include "verify/text_place.h"

namespace qel::cli {
namespace {

constexpr Position kCountLine = {.line = 2, .byte = kIndexHeaderLine};

struct EntryColumn {
  const char* name;
  size_t end;
};

constexpr EntryColumn kShortColumns[] = {{"key", kKeyWidth}, {"log line", kKeyWidth + kLineWidth}};
constexpr EntryColumn kLongColumns[] = {{"key", kKeyWidth},
                                        {"alert id", kKeyWidth + kIdWidth},
                                        {"log line", kKeyWidth + kIdWidth + kLineWidth}};

bool parse_entry(int idxtype, const char* text, INDEX_RECORD_INFO* entry) {
  return idxtype == kServerIdIndex ? parse_long(text, entry) : parse_short(text, entry);
}

std::string format_entry(int idxtype, const INDEX_RECORD_INFO& entry) {
  std::string text(index_record_size(idxtype), '\0');
  if (idxtype == kServerIdIndex) {
    format_long(text.data(), entry.szKeyVal, entry.alert_id, entry.nLine);
  } else {
    format_short(text.data(), entry.szKeyVal, static_cast<int>(entry.nLine));
  }
  return text;
}

// The order of two entries, below 0, 0 or above 0. Equal times may stand in any order.
int compare_entries(int idxtype, const INDEX_RECORD_INFO& left, const INDEX_RECORD_INFO& right) {
  const auto compare = [](unsigned a, unsigned b) { return a < b ? -1 : a > b ? 1 : 0; };
  const int order = compare_keys(idxtype, left.szKeyVal, right.szKeyVal);
  if (order != 0 || idxtype == kTimeIndex) return order;
  return idxtype == kServerIdIndex ? compare(left.alert_id, right.alert_id)
                                   : compare(left.nLine, right.nLine);
}

// What of an entry is not as the index writes it, given how it would.
template <size_t count>
std::string form_fault(const EntryColumn (&columns)[count], std::string_view text,
                       size_t different) {
  size_t begin = 0;
  for (const auto& [name, end] : columns) {
    if (different < end) {
      return std::string("the ") + name + " " + in_quotes(text.substr(begin, end - begin)) +
             " is not as the index writes it";
    }
    begin = end;
  }
  return "the entry does not end here";
}

class IndexCheck {
 public:
  IndexCheck(int idxtype, std::string_view index, const CheckedLog& log)
      : type_(idxtype), size_(index_record_size(idxtype)), index_(index), log_(log) {}

  Findings run() {
    const auto header = parse_index_header(index_);
    if (header) {
      check_header(*header);
      check_entries(header->nCurCount);
      if (log_.header.readable) check_all_named();
    } else {
      add(position_of(index_, index_.size() < kIndexHeader ? index_.size() : 0),
          "the header is not whole: the index cannot be read");
    }
    return std::move(findings_);
  }

 private:
  void add(Position at, const std::string& what) { findings_.push_back({at, what}); }

  void check_header(const INDEX_HEADER& header) {
    const std::string wanted = format_index_header(type_, header.nCurCount);
    const size_t at = difference(index_.substr(0, kIndexHeader), wanted);
    if (at < kIndexHeader) {
      const size_t line = at / kIndexHeaderLine;
      const size_t begin = line * kIndexHeaderLine;
      const auto text = [&](std::string_view whole) {
        const std::string_view cut = whole.substr(begin, kIndexHeaderLine - 1);
        return in_quotes(cut.substr(0, text_end(cut.data(), cut.size())));
      };
      add({.line = line + 1, .byte = at}, text(index_) + " should read " + text(wanted));
    }
    const uint32_t count = log_.header.numbers.nCurCount;
    if (log_.header.readable && header.nCurCount != count) {
      add(kCountLine, std::to_string(header.nCurCount) + " entries are counted, but the log has " +
                          std::to_string(count) + " records");
    }
    check_size(header.nCurCount);
  }

  void check_size(size_t count) {
    const size_t counted = kIndexHeader + count * size_;
    if (index_.size() == counted) return;
    const bool early = index_.size() < counted;
    const Position at = place_of(early ? (index_.size() - kIndexHeader) / size_ : count);
    add({at.line, early ? index_.size() : at.byte},
        "the file is too " + std::string(early ? "short" : "long") + ": its " +
            std::to_string(count) + " entries end at byte " + std::to_string(counted) +
            ", the file at " + std::to_string(index_.size()));
  }

  Position place_of(size_t entry) const { return {entry + 3, kIndexHeader + entry * size_}; }

  // As many as the index or the log counts: what is behind them is told by the file's size.
  void check_entries(size_t counted) {
    const size_t whole = (index_.size() - kIndexHeader) / size_;
    const size_t count = std::min(whole, std::max<size_t>(counted, log_.records.size()));
    named_.resize(log_.header.readable ? log_.records.size() : count);
    std::optional<INDEX_RECORD_INFO> before;
    for (size_t i = 0; i < count; ++i) {
      const auto entry = read_entry(i);
      if (entry && fits_log(*entry, i)) {
        if (before) check_order(*before, *entry, i);
        before = entry;
      }
    }
  }

  // Nothing, with a finding, when the text is no entry.
  std::optional<INDEX_RECORD_INFO> read_entry(size_t i) {
    const Position at = place_of(i);
    const std::string_view text = index_.substr(at.byte, size_);
    INDEX_RECORD_INFO entry = {};
    if (!parse_entry(type_, text.data(), &entry)) {
      add(at, "the entry cannot be cut into its columns");
      return std::nullopt;
    }
    const size_t different = difference(text, format_entry(type_, entry));
    if (different == size_) return entry;
    add({at.line, at.byte + different}, type_ == kServerIdIndex
                                            ? form_fault(kLongColumns, text, different)
                                            : form_fault(kShortColumns, text, different));
    return std::nullopt;
  }

  bool fits_log(const INDEX_RECORD_INFO& entry, size_t i) {
    std::string fault = name_fault(entry, i);
    if (fault.empty()) fault = key_fault(entry);
    if (!fault.empty()) add(place_of(i), fault);
    return fault.empty();
  }

  void check_order(const INDEX_RECORD_INFO& before, const INDEX_RECORD_INFO& entry, size_t i) {
    if (compare_entries(type_, before, entry) <= 0) return;
    add(place_of(i), "the entry of " + in_quotes(entry.szKeyVal) + ", log line " +
                         std::to_string(entry.nLine) + ", belongs before the one above it");
  }

  // Each line of the log is named once.
  std::string name_fault(const INDEX_RECORD_INFO& entry, size_t i) {
    const std::string name = "log line " + std::to_string(entry.nLine);
    if (entry.nLine >= named_.size()) {
      return name + " is named, but the log has " + std::to_string(named_.size()) + " lines";
    }
    size_t& by = named_[entry.nLine];
    if (by != 0) return name + " is named in line " + std::to_string(by) + " as well";
    by = place_of(i).line;
    return {};
  }

  std::string key_fault(const INDEX_RECORD_INFO& entry) const {
    if (entry.nLine >= log_.records.size() || !log_.records[entry.nLine]) return {};
    const ALERT_RECORD_INFO& record = *log_.records[entry.nLine];
    const std::string key = key_of(record, type_);
    const std::string name = "log line " + std::to_string(entry.nLine);
    if (key != entry.szKeyVal) {
      return "the key " + in_quotes(entry.szKeyVal) + " is not that of " + name + ", " +
             in_quotes(key);
    }
    if (type_ != kServerIdIndex || record.alert_id == entry.alert_id) return {};
    return "the alert id " + std::to_string(entry.alert_id) + " is not that of " + name + ", " +
           std::to_string(record.alert_id);
  }

  void check_all_named() {
    for (size_t line = 0; line < named_.size(); ++line) {
      if (named_[line] != 0) continue;
      add(kCountLine, "log line " + std::to_string(line) + " (line " +
                          std::to_string(log_.place_of(line).line) + " of the log) has no entry");
    }
  }

  int type_;
  size_t size_;  // of an entry
  std::string_view index_;
  const CheckedLog& log_;
  std::vector<size_t> named_;  // by log line: the line of its entry; 0 without one
  Findings findings_;
};

}  // namespace

Findings check_index(int idxtype, std::string_view index, const CheckedLog& log) {
  return IndexCheck(idxtype, index, log).run();
}

}  // namespace qel::cli
