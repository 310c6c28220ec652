#include "verify/log_check.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <tuple>

#include "alert_log/layout.h"
#include "alerts/visible_text.h"
#include "verify/record_check.h"

namespace qel::cli {
namespace {

size_t whole_lines(std::string_view log, const LogHeader& header) {
  return (log.size() - header.records.byte) / kRecordLine;
}

void check_size(std::string_view log, const CheckedLog& checked, Findings* findings) {
  const LogHeader& header = checked.header;
  const size_t count = header.numbers.nCurCount;
  const size_t counted = header.records.byte + count * kRecordLine;
  const std::string records = std::to_string(count) + " records end at byte " +
                              std::to_string(counted) + ", the file at " +
                              std::to_string(log.size());
  if (log.size() < counted) {
    const size_t whole = whole_lines(log, header);
    findings->push_back({{.line = checked.place_of(whole).line, .byte = log.size()},
                         "the file ends too early: its " + records});
  }
  if (log.size() <= counted) return;
  const bool interrupted = log.size() - counted <= kRecordLine;
  findings->push_back({checked.place_of(count), "the file is too long: its " + records +
                                                    (interrupted ? ". An interrupted store leaves "
                                                                   "this; the alert daemon cuts it "
                                                                   "off at its start"
                                                                 : "")});
}

std::optional<ALERT_RECORD_INFO> cut_record(const char* line) {
  ALERT_RECORD_INFO record = {};
  return parse_record(line, &record) ? std::optional(record) : std::nullopt;
}

void check_records(std::string_view log, CheckedLog* checked, Findings* findings) {
  const size_t counted = checked->header.numbers.nCurCount;
  const size_t count = std::min(counted, whole_lines(log, checked->header));
  for (size_t line = 0; line < count; ++line) {
    const Position at = checked->place_of(line);
    const char* const text = log.data() + at.byte;
    checked->records.push_back(cut_record(text));
    const auto fault = find_record_fault(text);
    if (fault) findings->push_back({{at.line, at.byte + fault->offset}, fault->what});
  }
}

// No two alerts have the same server and id.
void check_duplicates(const CheckedLog& checked, Findings* findings) {
  const auto& records = checked.records;
  std::vector<size_t> lines;
  for (size_t line = 0; line < records.size(); ++line) {
    if (records[line]) lines.push_back(line);
  }
  const auto key = [&](size_t line) {
    return std::tuple(std::string_view(records[line]->szServer), records[line]->alert_id);
  };
  std::stable_sort(lines.begin(), lines.end(),
                   [&](size_t left, size_t right) { return key(left) < key(right); });
  for (size_t i = 1; i < lines.size(); ++i) {
    const size_t line = lines[i];
    if (key(lines[i - 1]) != key(line)) continue;
    findings->push_back({checked.place_of(line),
                         "alert " + std::to_string(records[line]->alert_id) + " of " +
                             in_quotes(records[line]->szServer) + " stands in line " +
                             std::to_string(checked.place_of(lines[i - 1]).line) + " as well"});
  }
}

// The next record of a full log replaces the alert with the oldest raise time.
void check_aim(const CheckedLog& checked, Findings* findings) {
  const ALERT_FILE_HEADER& numbers = checked.header.numbers;
  const auto& records = checked.records;
  const size_t aimed = numbers.nCurToWrite;
  if (numbers.nCurCount < numbers.nMaxCount || aimed >= records.size() || !records[aimed]) return;
  const auto oldest = std::find_if(records.begin(), records.end(), [&](const auto& record) {
    return record && strcmp(record->szServerTime, records[aimed]->szServerTime) < 0;
  });
  if (oldest == records.end()) return;
  const auto line = static_cast<size_t>(oldest - records.begin());
  findings->push_back({checked.header.number[kToWriteLine],
                       "the next record goes to log line " + std::to_string(aimed) + " of " +
                           in_quotes(records[aimed]->szServerTime) + ", but log line " +
                           std::to_string(line) + " of " + in_quotes((*oldest)->szServerTime) +
                           " is older"});
}

void check_own_id(const CheckedLog& checked, const std::string& local_server, Findings* findings) {
  uint32_t highest = 0;
  for (const auto& record : checked.records) {
    if (record && record->szServer == local_server) highest = std::max(highest, record->alert_id);
  }
  const uint32_t current = checked.header.numbers.current_alert_id;
  if (current >= highest) return;
  findings->push_back({checked.header.number[kCurrentIdLine],
                       "the highest id given is " + std::to_string(current) + ", but alert " +
                           std::to_string(highest) + " of this server is in the log"});
}

}  // namespace

Position CheckedLog::place_of(size_t line) const {
  return {header.records.line + line, header.records.byte + line * kRecordLine};
}

CheckedLog check_log(std::string_view log, const std::string& local_server, Findings* findings) {
  CheckedLog checked = {.header = check_log_header(log, findings), .records = {}};
  if (!checked.header.readable) return checked;
  check_size(log, checked, findings);
  check_records(log, &checked, findings);
  check_duplicates(checked, findings);
  check_aim(checked, findings);
  if (!local_server.empty()) check_own_id(checked, local_server, findings);
  return checked;
}

}  // namespace qel::cli
