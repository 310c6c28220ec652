// An independent model of the store.
//
// It keeps the bytes of the alert log, of its indexes and of the resize file, and carries out
// every operation by the plain steps, reading and writing those bytes. Random tests run each
// operation here and in the library and compare results and files byte for byte. Slow is fine.
//
// Results are those of the library's functions of the same purpose. An operation whose outcome
// nothing defines throws Undefined; the model is then of no further use (work on a clone).
#ifndef QEL_ALTD_TESTS_MODEL_STORE_MODEL_H
#define QEL_ALTD_TESTS_MODEL_STORE_MODEL_H

#include <array>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "model/disk.h"
#include "model/formats.h"

namespace alt_model {

struct Criteria {
  std::string start;
  std::string stop;
  std::string level;
  std::string server;
  std::string module;
  std::string event;
  std::string sort;

  bool operator==(const Criteria&) const = default;
};

// What a query hands back. size and page hold what the caller gave until the query sets them.
struct Page {
  int result = 0;
  int size = 0;
  int page = 0;
  bool from_cache = false;
  std::vector<Record> records;
};

// The process around the store: capacity setting, cluster, and the state that the store changes.
struct Process {
  int max_count = 10;
  bool daemon = false;  // an initialised daemon knows its local server
  std::string local_server = "local";
  std::vector<std::string> cluster;  // server names, the local one included
  std::vector<std::string> new_servers;
  int local_id_wanted = 0;  // get_maxalertid_localserver_now
  int waiting_for_ids = 0;  // start_count_time_for_maxalertid_localserver
  int may_write_local = 0;  // start_write_local_logfile
  std::array<int, kIndexCount> index_created{};
};

class StoreModel {
 public:
  // Stands in for the write time that the library stamps.
  static constexpr const char* kStamp = "0000/00/00 00:00:00.000";

  StoreModel clone() const;

  Process process;
  Disk disk;

  // ---- store and resize
  int store(const std::string& image, size_t length, int islocal);
  int adjust(int new_size);
  // Puts the real write time where the last store stamped one; the place, or nothing when that
  // record is not in the log any more.
  std::optional<size_t> stamped_at() const;
  void set_stamp(const std::string& time);

  // ---- files
  File open_file(const std::string& name);
  int check_file_size();
  int check_is_update();
  int check_index_file_status();
  int recreate_index_files();
  int check_duplicate(const std::string& image);
  int next_to_write();

  // ---- queries
  Page search(const Criteria& criteria, int size, int page);
  Page last(int count);
  Page by_count(int total, int size, int page);

 private:
  struct Cache {
    std::optional<std::vector<uint32_t>> lines;
    Criteria criteria;
  };
  struct Matches {
    int count = 0;
    std::vector<uint32_t> lines;  // empty when nothing is restricted
  };
  struct Search;

  // files
  bool create_missing(const std::string& name);
  void create_log();
  int check_log(const File& log);
  void remove_destroyed();
  void remove_indexes();
  void ask_cluster_for_log();
  std::optional<LogHeader> read_header(const File& log);
  std::optional<uint32_t> read_index_header(const File& file);
  bool build_index(int index);

  // writing
  int write_record(const File& log, int line, const Record& record, LogHeader header, int islocal,
                   int caller);
  std::pair<int, uint32_t> copy_newest(const File& log, const File& copy, int dropped, int count);
  int rebuild_smaller(const File& log, int new_size, int dropped, int count);

  // index upkeep
  int modify_indexes(int line, const Record& record, const Record& old_record);
  bool update_index(const File& file, int index, int line, const Record& record,
                    const Record& old_record);
  int insert_position(const File& file, int index, int count, const Record& record, int line);
  int old_position(const File& file, int index, int line, const Record& record);

  // queries
  int run_search(Search* search);
  int find_matches(Search* search);
  std::vector<uint32_t> filter(const Search& search) const;
  bool order_by_time(const File& log, std::vector<uint32_t>* lines);
  int deliver(const File& log, const std::vector<uint32_t>& lines, Page* page);
  int deliver_all(const File& log, const File& time_index, int count, Page* page);

  std::pair<File, size_t> stamp_{nullptr, 0};
  Cache cache_;
};

}  // namespace alt_model

#endif
