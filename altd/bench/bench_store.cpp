// Stores and searches over a full log, beside SQLite doing the same work in the same run.
//
//   bench_store [--benchmark_... options]
//
// The figures that count are the ratios printed at the end: times of one machine and one moment,
// but of both sides. All files lie in a directory of their own below the current one.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "alert_log.h"
#include "sqlite_log.h"

namespace {

constexpr int kCapacity = 10000;
constexpr int kServers = 16;
constexpr int kModules = 12;
constexpr int kEvents = 200;
constexpr int kPageSize = 20;
constexpr int kRepetitions = 11;     // the ratios are those of the medians
constexpr double kMinSeconds = 0.2;  // of one repetition
constexpr char kServer[] = "node07";
constexpr char kLevel[] = "2";

// A stream of alerts as a cluster raises them: many servers, a few modules, times that rise with
// each alert.
class Alerts {
 public:
  ALERT_RECORD_INFO next() {
    ALERT_RECORD_INFO record = {};
    record.alert_id = ++id_;
    snprintf(record.szEventID, sizeof record.szEventID, "%d", pick(kEvents));
    snprintf(record.szLevel, sizeof record.szLevel, "%d", 1 + pick(3));
    snprintf(record.szServer, sizeof record.szServer, "node%02d", pick(kServers));
    snprintf(record.szModType, sizeof record.szModType, "module%d", pick(kModules));
    const int ms = static_cast<int>(id_ % 1000);
    const int seconds = static_cast<int>(id_ / 1000);
    snprintf(record.szServerTime, sizeof record.szServerTime, "2026/01/%02d %02d:%02d:%02d.%03d",
             1 + seconds / 86400 % 28, seconds / 3600 % 24, seconds / 60 % 60, seconds % 60, ms);
    memcpy(record.szWriteTime, record.szServerTime, sizeof record.szWriteTime);
    snprintf(record.szAlertMessage, sizeof record.szAlertMessage,
             "alert %u: the file system /var of this server is %d%% full, its limit is 90%%", id_,
             90 + pick(10));
    return record;
  }

 private:
  int pick(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }

  std::mt19937 random_{20260101};
  uint32_t id_ = 0;
};

std::string work_directory() {
  static const std::string directory =
      (std::filesystem::current_path() / "bench-store-files").string() + "/";
  return directory;
}

void check(bool good, const char* what) {
  if (good) return;
  fprintf(stderr, "bench_store: %s failed\n", what);
  exit(1);
}

// The library's store, filled to its capacity.
class LibraryLog {
 public:
  LibraryLog() {
    init_global_var();
    static std::string commands = work_directory() + "lock/";
    std::filesystem::create_directories(work_directory() + "store");
    std::filesystem::create_directories(commands);
    alt_cmd_path = commands.data();
    alt_max_count = kCapacity;
    snprintf(alt_path_only, sizeof alt_path_only, "%sstore/", work_directory().c_str());
    snprintf(alt_name_only, sizeof alt_name_only, "alertlog.alt");
    for (int i = 0; i < kCapacity; ++i) store();
  }

  void store() {
    const ALERT_RECORD_INFO record = alerts_.next();
    check(udp_write_disk(reinterpret_cast<const char*>(&record), sizeof record, 1) == 0,
          "udp_write_disk");
  }

  void sync() {
    const std::string path = std::string(alt_path_only) + alt_name_only;
    const int fd = open(path.c_str(), O_RDONLY);
    check(fd >= 0 && fdatasync(fd) == 0, "fdatasync");
    close(fd);
  }

  // `fresh` makes the condition differ from the last one, so that nothing cached serves it.
  int search(bool fresh) {
    static char sort = '0';
    if (fresh) sort = sort == '0' ? '1' : '0';
    ALERT_SEARCH_INFO info = {};
    snprintf(info.szServer, sizeof info.szServer, "%s", kServer);
    snprintf(info.szLevel, sizeof info.szLevel, "%s", kLevel);
    info.szSort[0] = sort;
    int size = kPageSize;
    int page = 0;
    return alert_search(info, &size, &page, page_);
  }

 private:
  Alerts alerts_;
  ALERT_RECORD_INFO page_[kPageSize];
};

LibraryLog& library() {
  static LibraryLog log;
  return log;
}

// A SQLite log with the same alerts.
struct FilledSqlite {
  explicit FilledSqlite(const char* synchronous)
      : log(work_directory() + "sqlite-" + synchronous, "OFF", kCapacity) {
    for (int i = 0; i < kCapacity; ++i) log.store(alerts.next());
    log.set_synchronous(synchronous);
  }
  bench::SqliteLog log;
  Alerts alerts;
};

FilledSqlite& sqlite_off() {
  static FilledSqlite filled("OFF");
  return filled;
}

FilledSqlite& sqlite_full() {
  static FilledSqlite filled("FULL");
  return filled;
}

void store_library(benchmark::State& state) {
  LibraryLog& log = library();
  for (auto _ : state) log.store();
}

void store_library_synced(benchmark::State& state) {
  LibraryLog& log = library();
  for (auto _ : state) {
    log.store();
    log.sync();
  }
}

void store_sqlite_off(benchmark::State& state) {
  FilledSqlite& filled = sqlite_off();
  for (auto _ : state) filled.log.store(filled.alerts.next());
}

void store_sqlite_full(benchmark::State& state) {
  FilledSqlite& filled = sqlite_full();
  for (auto _ : state) filled.log.store(filled.alerts.next());
}

void search_library(benchmark::State& state) {
  LibraryLog& log = library();
  for (auto _ : state) check(log.search(true) > kPageSize, "alert_search");
}

void search_library_again(benchmark::State& state) {
  LibraryLog& log = library();
  log.search(true);
  for (auto _ : state) check(log.search(false) > kPageSize, "alert_search");
}

void search_sqlite(benchmark::State& state) {
  FilledSqlite& filled = sqlite_off();
  std::vector<ALERT_RECORD_INFO> page;
  for (auto _ : state) {
    check(filled.log.search(kServer, kLevel, kPageSize, &page) > kPageSize, "the query");
  }
}

// Prints as usual and keeps the real time of each benchmark (the median when it is repeated).
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    benchmark::ConsoleReporter::ReportRuns(runs);
    for (const Run& run : runs) {
      const bool single = run.run_type == Run::RT_Iteration && run.repetitions <= 1;
      if (single || run.aggregate_name == "median") {
        time_[run.run_name.function_name] = run.GetAdjustedRealTime();
      }
    }
  }

  // How many times as fast `name` is as `peer`.
  void ratio(const char* text, const char* name, const char* peer) const {
    const auto own = time_.find(name);
    const auto other = time_.find(peer);
    if (own == time_.end() || other == time_.end()) return;
    printf("%-66s %6.2f\n", text, other->second / own->second);
  }

 private:
  std::map<std::string, double> time_;
};

}  // namespace

int main(int argc, char** argv) {
  std::filesystem::remove_all(work_directory());
  std::filesystem::create_directories(work_directory());
  constexpr struct {
    const char* name;
    void (*function)(benchmark::State&);
  } kBenchmarks[] = {{"store_library", store_library},
                     {"store_sqlite_off", store_sqlite_off},
                     {"store_library_synced", store_library_synced},
                     {"store_sqlite_full", store_sqlite_full},
                     {"search_library", search_library},
                     {"search_sqlite", search_sqlite},
                     {"search_library_again", search_library_again}};
  for (const auto& [name, function] : kBenchmarks) {
    benchmark::RegisterBenchmark(name, function)
        ->Repetitions(kRepetitions)
        ->MinTime(kMinSeconds)
        ->ReportAggregatesOnly();
  }
  // Both sides take turns, so that a slow moment of the machine meets both.
  std::vector<char*> arguments(argv, argv + argc);
  std::string interleaved = "--benchmark_enable_random_interleaving=true";
  arguments.insert(arguments.begin() + 1, interleaved.data());
  argc = static_cast<int>(arguments.size());
  benchmark::Initialize(&argc, arguments.data());
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  puts("\nspeed against the peer (above 1: faster)");
  reporter.ratio("store, full log of 10,000, not synced : SQLite, synchronous OFF", "store_library",
                 "store_sqlite_off");
  reporter.ratio("store, full log of 10,000, synced     : SQLite, synchronous FULL",
                 "store_library_synced", "store_sqlite_full");
  reporter.ratio("first page by server and level        : SQLite", "search_library",
                 "search_sqlite");
  reporter.ratio("the same page again                   : the first time", "search_library_again",
                 "search_library");
  std::filesystem::remove_all(work_directory());
  return 0;
}
