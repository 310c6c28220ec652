#include "verify/log_header_check.h"

#include <string>
#include <vector>

#include "alert_log/layout.h"
#include "alerts/visible_text.h"
#include "verify/header_text.h"
#include "verify/limits.h"
#include "verify/text_place.h"

namespace qel::cli {
namespace {

// A line that has its end, which is not part of the text.
struct Line {
  size_t begin;
  std::string_view text;

  size_t next() const { return begin + text.size() + 1; }
};

// The number lines at the start of a header; fewer when it has fewer lines.
std::vector<Line> number_lines(std::string_view header) {
  header = header.substr(0, kHeaderSearch);
  std::vector<Line> lines;
  size_t begin = 0;
  while (lines.size() < kNumberLines) {
    const size_t end = header.find('\n', begin);
    if (end == std::string_view::npos) break;
    lines.push_back({begin, header.substr(begin, end - begin)});
    begin = lines.back().next();
  }
  return lines;
}

bool is_number_line(std::string_view text, std::string_view label) {
  return text.starts_with(label) &&
         text.find_first_not_of(" -0123456789", label.size()) == std::string_view::npos;
}

// The first line that keeps the library from finding the numbers.
Finding broken_line(std::string_view log) {
  const std::string plain = format_log_header({});
  const std::vector<Line> wanted = number_lines(plain);
  const std::vector<Line> lines = number_lines(log);
  size_t i = 0;
  std::string_view label;
  for (; i < kNumberLines; ++i) {
    label = wanted[i].text.substr(0, wanted[i].text.find(':') + 1);
    if (i >= lines.size() || !is_number_line(lines[i].text, label)) break;
  }
  const size_t begin = i == 0 ? 0 : lines[i - 1].next();
  const std::string_view text = i < lines.size() ? lines[i].text : log.substr(begin, kHeaderSearch);
  return {position_of(log, begin), in_quotes(text) + " stands where the header has " +
                                       in_quotes(label) + " and a number: nothing can be read"};
}

// The lines as the library would write them again.
void check_number_lines(const std::vector<Line>& lines, const std::string& rewritten,
                        Findings* findings) {
  const std::vector<Line> wanted = number_lines(rewritten);
  for (size_t i = 0; i < kNumberLines; ++i) {
    if (lines[i].text == wanted[i].text) continue;
    const size_t at = lines[i].begin + difference(lines[i].text, wanted[i].text);
    findings->push_back({{.line = i + 1, .byte = at},
                         in_quotes(lines[i].text) + " should read " + in_quotes(wanted[i].text)});
  }
}

std::string text_of(uint32_t number) { return std::to_string(static_cast<int>(number)); }

std::string log_line(uint32_t line) { return "log line " + text_of(line); }

// What is wrong with the line that the next record is to take; empty when nothing is.
std::string aim_fault(const ALERT_FILE_HEADER& numbers) {
  const uint32_t count = numbers.nCurCount;
  const std::string aim = "the next record goes to " + log_line(numbers.nCurToWrite) + ", but ";
  if (count < numbers.nMaxCount) {
    if (numbers.nCurToWrite == count) return {};
    return aim + "a log with room is continued at " + log_line(count);
  }
  return numbers.nCurToWrite < count
             ? ""
             : aim + "the last one of this full log is " + log_line(count - 1);
}

void check_values(const LogHeader& header, Findings* findings) {
  const ALERT_FILE_HEADER& numbers = header.numbers;
  const auto require = [&](bool sound, HeaderLine line, const std::string& what) {
    if (!sound) findings->push_back({header.number[line], what});
  };
  const uint32_t capacity = numbers.nMaxCount;
  require(capacity >= 1 && capacity <= kCapacityMax, kMaxCountLine,
          "the capacity " + text_of(capacity) + " is not 1 to " + std::to_string(kCapacityMax));
  require(
      numbers.nCurCount <= capacity, kCurCountLine,
      text_of(numbers.nCurCount) + " records are more than the capacity of " + text_of(capacity));
  require(aim_fault(numbers).empty(), kToWriteLine, aim_fault(numbers));
  require(numbers.nMaxRecordSize == kRecordText, kRecordSizeLine,
          "the record size " + text_of(numbers.nMaxRecordSize) + " is not " +
              std::to_string(kRecordText));
  require(numbers.isChanged >= 0 && numbers.isChanged <= 255, kChangedLine,
          "the change mask " + std::to_string(numbers.isChanged) + " is not 0 to 255");
}

bool stands_at(std::string_view log, size_t begin) {
  return log.size() >= begin + kRecordLine && log[begin - 1] == '\n' &&
         log[begin + kRecordText] == '\n';
}

// Where the records begin: where every program looks for them, unless only another place fits. A
// number that gets wider is written over the first titles and leaves the length as it was.
size_t find_records(std::string_view log, const LogHeaderText& header,
                    const std::string& rewritten) {
  const size_t places[] = {header.length, format_log_header({}).size(), rewritten.size()};
  const size_t counted = header.numbers.nCurCount * kRecordLine;
  for (const size_t begin : places) {
    if (log.size() == begin + counted) return begin;
  }
  for (const size_t begin : places) {
    if (stands_at(log, begin)) return begin;
  }
  return std::min(header.length, log.size());
}

// False, with a finding, when programs look for the records elsewhere.
bool check_header_end(std::string_view log, size_t length, size_t records, Findings* findings) {
  const bool ended = length <= std::min(log.size(), kHeaderSearch);
  if (ended && length == records) return true;
  const bool early = ended && length < records;
  const size_t at = (early ? length : records) - 1;
  findings->push_back(
      {position_of(log, at),
       early ? "an empty line ends the header here, " + std::to_string(records - length) +
                   " bytes before the records: no program finds them. A number above has become "
                   "shorter and has left its old line end behind"
             : "no empty line ends the header here: no program finds the records"});
  return false;
}

void check_titles(std::string_view titles, size_t numbers_end, const std::string& rewritten,
                  Findings* findings) {
  const size_t numbers_plain = number_lines(format_log_header({})).back().next();
  const size_t widened = numbers_end - std::min(numbers_end, numbers_plain);
  std::string_view wanted = rewritten;
  wanted.remove_prefix(number_lines(rewritten).back().next());
  const size_t lost = wanted.size() - std::min(wanted.size(), titles.size());
  if (lost <= widened) wanted.remove_prefix(lost);
  if (titles == wanted) return;
  findings->push_back({{.line = kNumberLines + 1, .byte = numbers_end + difference(titles, wanted)},
                       "the column titles are not those of an alert log"});
}

}  // namespace

LogHeader check_log_header(std::string_view log, Findings* findings) {
  if (log.empty()) {
    findings->push_back({position_of(log, 0), "the file is empty"});
    return {};
  }
  const auto text = parse_log_header(log);
  if (!text) {
    findings->push_back(broken_line(log));
    return {};
  }
  LogHeader header = {.readable = true, .numbers = text->numbers};
  const std::vector<Line> lines = number_lines(log);
  for (size_t i = 0; i < kNumberLines; ++i) {
    header.number[i] = {.line = i + 1, .byte = lines[i].begin};
  }
  const std::string rewritten = format_log_header(text->numbers);
  check_number_lines(lines, rewritten, findings);
  check_values(header, findings);
  const size_t records = find_records(log, *text, rewritten);
  header.records = position_of(log, records);
  const size_t titles = std::min(lines.back().next(), records);
  if (check_header_end(log, text->length, records, findings)) {
    check_titles(log.substr(titles, records - titles), titles, rewritten, findings);
  }
  return header;
}

}  // namespace qel::cli
