// Damages of the log's header and size.
#include <fcntl.h>

#include <stdexcept>

#include "alert_config.h"
#include "alert_log.h"
#include "alerts/session.h"
#include "common/unique_fd.h"
#include "verify/log_header_check.h"
#include "verify_damage.h"

namespace qel::cli::testing {
namespace {

using Bytes = const StoreBytes&;

constexpr size_t kLogBytes = kLogHeader + kRecords * kRecordLine;

// Where the number lines of a plain header begin.
constexpr size_t kCountAt = 19;
constexpr size_t kToWriteAt = 42;
constexpr size_t kSizeAt = 68;
constexpr size_t kChangedAt = 93;
constexpr size_t kIdAt = 113;
constexpr size_t kTitlesAt = 139;
constexpr size_t kEmptyLineAt = 331;

// As the library does it, in place.
void write_current_id(uint32_t id) {
  const UniqueFd log(open_file(alt_name_only, O_RDWR));
  ALERT_FILE_HEADER header = {};
  if (read_alert_header(log.get(), &header) != 0) throw std::runtime_error("header");
  header.current_alert_id = id;
  if (write_alert_header(log.get(), header, 1) != 0) throw std::runtime_error("header");
}

// The second line end that this leaves behind ends the header.
void narrow_a_number() {
  write_current_id(100000000);
  write_current_id(99999999);
}

// With room behind the records.
void put_count(Bytes store, int count) {
  store.put_number(kCurCountLine, count);
  store.put_number(kToWriteLine, count);
}

void store_own_alert() {
  ALERT_RECORD_INFO alert = alt_test::make_record(77, local_server_name(), "disk", "1", "1",
                                                  "2024/02/01 00:00:00.000", "own");
  if (udp_write_disk(alt_test::image(alert), sizeof alert, 1) != 0) throw std::runtime_error("own");
}

std::vector<DamageCase> number_damages() {
  return {
      {"WordBeforeANumber",
       [](Bytes store) { store.put(kLog, 1, "i"); },
       kLog,
       {1, 1},
       "\"Mix count:     100\" should read \"Max count:     100\""},
      {"NumberWithALetter",
       [](Bytes store) { store.put(kLog, kCountAt + 21, "x"); },
       kLog,
       {2, kCountAt + 21},
       "should read \"Current count:       0\""},
      {"ColonOfTheFirstLine",
       [](Bytes store) { store.put(kLog, 9, " "); },
       kLog,
       {1, 0},
       "stands where the header has \"Max count:\" and a number"},
      {"LineEndOfTheThirdLine",
       [](Bytes store) { store.put(kLog, kSizeAt - 1, " "); },
       kLog,
       {3, kToWriteAt},
       "stands where the header has \"Current to write:\""},
      {"CapacityOfNothing",
       [](Bytes store) { store.put_number(kMaxCountLine, 0); },
       kLog,
       {1, 0},
       "the capacity 0 is not 1 to 99999999"},
      {"CapacityBelowTheCount",
       [](Bytes store) { store.put_number(kMaxCountLine, 5); },
       kLog,
       {2, kCountAt},
       "6 records are more than the capacity of 5"},
      {"NextLineBeforeTheEndOfALogWithRoom",
       [](Bytes store) { store.put_number(kToWriteLine, 5); },
       kLog,
       {3, kToWriteAt},
       "a log with room is continued at log line 6"},
      {"NextLineBehindAFullLog",
       [](Bytes store) { store.put_number(kToWriteLine, 6); },
       kLog,
       {3, kToWriteAt},
       "the last one of this full log is log line 5",
       kRecords},
      {"NextLineOfAFullLogNotTheOldest",
       [](Bytes store) { store.put_number(kToWriteLine, 0); },
       kLog,
       {3, kToWriteAt},
       "but log line 1 of \"2024/01/31 07:00:00.000\" is older",
       kRecords},
      {"RecordSize",
       [](Bytes store) { store.put_number(kRecordSizeLine, 684); },
       kLog,
       {4, kSizeAt},
       "the record size 684 is not 683"},
      {"ChangeMask",
       [](Bytes store) { store.put_number(kChangedLine, 256); },
       kLog,
       {5, kChangedAt},
       "the change mask 256 is not 0 to 255"},
      {"IdBelowAnOwnAlert",
       [](Bytes store) {
         store_own_alert();
         store.put_number(kCurrentIdLine, 76);
       },
       kLog,
       {6, kIdAt},
       "alert 77 of this server is in the log"},
  };
}

std::vector<DamageCase> layout_damages() {
  return {
      {"NothingInTheFile",
       [](Bytes store) { store.cut(kLog, 0); },
       kLog,
       {1, 0},
       "the file is empty"},
      {"SomeOtherText",
       [](Bytes store) { store.replace(kLog, "Dear diary,\nno alert today.\n"); },
       kLog,
       {1, 0},
       "\"Dear diary,\" stands where"},
      {"HeaderCutInANumberLine",
       [](Bytes store) { store.cut(kLog, kSizeAt + 5); },
       kLog,
       {4, kSizeAt},
       "\"Max r\" stands where"},
      {"ColumnTitle",
       [](Bytes store) { store.put(kLog, kTitlesAt + 10, "w"); },
       kLog,
       {7, kTitlesAt + 10},
       "the column titles"},
      {"EmptyLineBehindTheTitles",
       [](Bytes store) { store.put(kLog, kEmptyLineAt, " "); },
       kLog,
       {8, kEmptyLineAt},
       "no empty line ends the header"},
      {"NumberThatBecameNarrower",
       [](Bytes) { narrow_a_number(); },
       kLog,
       {7, kTitlesAt},
       "192 bytes before the records"},
  };
}

std::vector<DamageCase> size_damages() {
  return {
      {"CountTooLow",
       [](Bytes store) { put_count(store, 4); },
       kLog,
       {13, kLogBytes - 2 * kRecordLine},
       "the file is too long: its 4 records end at"},
      {"CountTooHigh",
       [](Bytes store) { put_count(store, 7); },
       kLog,
       {15, kLogBytes},
       "the file ends too early: its 7 records end at"},
      {"HalfALineBehindTheLast",
       [](Bytes store) { store.append(kLog, std::string(300, 'z')); },
       kLog,
       {15, kLogBytes},
       "An interrupted store leaves this"},
      {"HalfALineBehindTheLastAndANumberThatBecameNarrower",
       [](Bytes store) {
         narrow_a_number();
         store.append(kLog, std::string(300, 'z'));
       },
       kLog,
       {16, kLogBytes},
       "the file is too long: its 6 records end at"},
      {"LastLineCutInTwo",
       [](Bytes store) { store.cut(kLog, kLogBytes - 1); },
       kLog,
       {14, kLogBytes - 1},
       "the file ends too early: its 6 records"},
      {"ByteTooManyInALine", [](Bytes store) { store.insert(kLog, in_record(2, 400).byte, "z"); },
       kLog, in_record(2, kRecordText), "the line does not end here"},
  };
}

}  // namespace

std::vector<DamageCase> header_damages() {
  std::vector<DamageCase> damages = number_damages();
  for (const auto& more : {layout_damages(), size_damages()}) {
    damages.insert(damages.end(), more.begin(), more.end());
  }
  return damages;
}

}  // namespace qel::cli::testing
