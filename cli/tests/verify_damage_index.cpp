// Damages of the indexes.
#include "alert_index.h"
#include "verify_damage.h"

namespace qel::cli::testing {
namespace {

using Bytes = const StoreBytes&;

constexpr Place kCountLine = {2, kIndexHeaderLine};
constexpr size_t kCountAt = kIndexHeaderLine + 14;  // behind "Current count:"

std::string short_name(int idxtype) {
  const std::string file = idx_name[idxtype];
  return file == "srv_alt_id.idx" ? "srv_alt_id" : file.substr(0, file.find('.'));
}

size_t line_column(int idxtype) {
  return idxtype == kServerIdIndex ? kKeyWidth + kIdWidth : kKeyWidth;
}

size_t size_of(int idxtype) { return in_entry(idxtype, kRecords).byte; }

// Bytes put into entry 1.
DamageCase entry_case(const std::string& name, int idxtype, size_t offset, const std::string& bytes,
                      const std::string& words, size_t told_at) {
  return {
      name + "_" + short_name(idxtype),
      [=](Bytes store) { store.put(idx_name[idxtype], in_entry(idxtype, 1, offset).byte, bytes); },
      idx_name[idxtype], in_entry(idxtype, 1, told_at), words};
}

void add_damages_of_each(int idxtype, std::vector<DamageCase>* damages) {
  const std::string file = idx_name[idxtype];
  const std::string name = short_name(idxtype);
  const size_t line = line_column(idxtype);
  const size_t end = index_record_size(idxtype) - 1;
  damages->insert(
      damages->end(),
      {{"Order_" + name, [=](Bytes store) { store.swap_entries(idxtype, 0, 1); }, file,
        in_entry(idxtype, 1), "belongs before the one above"},
       entry_case("KeyOfNoRecord", idxtype, 0, "q", "is not that of log line", 0),
       entry_case("KeyWithANul", idxtype, 2, std::string(1, '\0'), "the key", 2),
       entry_case("LineOfLetters", idxtype, line, "1a", "the log line \"1a      \" is not",
                  line + 1),
       entry_case("LineBlank", idxtype, line, "        ", "cannot be cut into its columns", 0),
       entry_case("LineBehindTheLog", idxtype, line, "6",
                  "log line 6 is named, but the log has 6 lines", 0),
       entry_case("EntryEnd", idxtype, end, " ", "the entry does not end here", end)});
}

// One kind each, of "time.idx" and, where the form matters, of "srv_alt_id.idx".
std::vector<DamageCase> file_damages() {
  const std::string time = idx_name[kTimeIndex];
  const std::string ids = idx_name[kServerIdIndex];
  return {
      {"NoWholeHeader",
       [=](Bytes store) { store.cut(time, kIndexHeader - 1); },
       time,
       {2, kIndexHeader - 1},
       "the header is not whole"},
      {"NothingInTheIndex",
       [=](Bytes store) { store.cut(ids, 0); },
       ids,
       {1, 0},
       "the header is not whole"},
      {"ColonOfTheIndexHeader",
       [=](Bytes store) { store.put(time, 11, " "); },
       time,
       {1, 0},
       "the header is not whole"},
      {"NameOfAnotherIndex",
       [=](Bytes store) { store.replace("module.idx", store.read("server.idx")); },
       "module.idx",
       {1, 12},
       "\"Index field:server\" should read \"Index field:module\""},
      {"CountOfTheIndex", [=](Bytes store) { store.put(time, kCountAt, "5"); }, time, kCountLine,
       "5 entries are counted, but the log has 6"},
      {"CountThatIsNoNumber",
       [=](Bytes store) { store.put(time, kCountAt + 1, "x"); },
       time,
       {2, kCountAt + 1},
       "should read \"Current count:6\""},
      {"LastEntryMissing", [=](Bytes store) { store.cut(time, in_entry(kTimeIndex, 5).byte); },
       time, in_entry(kTimeIndex, 5), "the file is too short: its 6 entries end at"},
      {"LastEntryCutInTwo", [=](Bytes store) { store.cut(ids, size_of(kServerIdIndex) - 10); }, ids,
       in_entry(kServerIdIndex, 5, kLongRecord - 10), "the file is too short"},
      {"BytesBehindTheLastEntry", [=](Bytes store) { store.append(ids, "surplus"); }, ids,
       in_entry(kServerIdIndex, 6), "the file is too long"},
      {"LineNamedTwice",
       [=](Bytes store) { store.put(time, in_entry(kTimeIndex, 1, kKeyWidth).byte, "1"); }, time,
       in_entry(kTimeIndex, 1), "log line 1 is named in line 3 as well"},
      {"LineNamedByNoEntry",
       [=](Bytes store) { store.put(time, in_entry(kTimeIndex, 1, kKeyWidth).byte, "1"); }, time,
       kCountLine, "log line 0 (line 9 of the log) has no entry"},
      {"IdOfNoRecord",
       [=](Bytes store) { store.put(ids, in_entry(kServerIdIndex, 1, kKeyWidth).byte, "7"); }, ids,
       in_entry(kServerIdIndex, 1), "the alert id 7 is not that of log line 2, 2"},
      {"IdOfLetters",
       [=](Bytes store) { store.put(ids, in_entry(kServerIdIndex, 1, kKeyWidth).byte, "2a"); }, ids,
       in_entry(kServerIdIndex, 1, kKeyWidth + 1), "the alert id \"2a        \" is not"},
  };
}

}  // namespace

std::vector<DamageCase> index_damages() {
  std::vector<DamageCase> damages = file_damages();
  for (int type = 0; type < ALERT_INDEX_COUNT; ++type) add_damages_of_each(type, &damages);
  return damages;
}

}  // namespace qel::cli::testing
