// A random series of operations on one store, carried out by the library and by the model side by
// side. After every operation the result, what was handed back, the state that the library shares
// with the daemon and every file of the store must be the same.
#ifndef QEL_ALTD_TESTS_RANDOM_SERIES_H
#define QEL_ALTD_TESTS_RANDOM_SERIES_H

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "alert_udp.h"
#include "model/store_model.h"
#include "random_workload.h"
#include "support/log_capture.h"
#include "support/random.h"
#include "support/temp_store.h"

namespace alt_test {

struct SeriesStyle {
  int capacity = 10;
  bool damage = true;
  WorkloadStyle workload;
};

// The servers that the daemon gives to the library. The others have no address: whatever is to
// be asked of them is asked of nobody.
class Cluster {
 public:
  explicit Cluster(const std::vector<std::string>& names);
  ~Cluster();
  Cluster(const Cluster&) = delete;
  Cluster& operator=(const Cluster&) = delete;

  // As an initialised daemon, or as any other process.
  void act_as_daemon(bool daemon);

 private:
  ty_svrlist* local_ = nullptr;
};

class Series {
 public:
  Series(uint64_t seed, const SeriesStyle& style);
  ~Series();
  Series(const Series&) = delete;
  Series& operator=(const Series&) = delete;

  // False when library and model came apart; the failure has been reported.
  bool run(int operations);

  // Operations left out because nothing defines their outcome on what the files hold.
  int skipped() const { return skipped_; }
  const std::map<std::string, int>& performed() const { return performed_; }

 private:
  using InModel = std::function<std::string(alt_model::StoreModel&)>;
  using InLibrary = std::function<std::string()>;
  struct Operation {
    const char* name;
    int weight;
    bool damages;
    void (Series::*perform)();
  };
  static const std::vector<Operation>& operations();

  void start_over();
  void perform_one();
  void step(const std::string& words, const InModel& in_model, const InLibrary& in_library);
  void note(const std::string& words);
  void settle_write_time();
  void compare(const std::string& actual, const std::string& expected);
  void fail(const std::string& difference);
  void put_file(const std::string& name, const std::string& content);

  void store_record();
  void store_unstorable();
  void search();
  void get_last();
  void get_by_count();
  void ask_update();
  void ask_duplicate();
  void ask_next_to_write();
  void ask_file_size();
  void check_indexes();
  void recreate_indexes();
  void resize();
  void remove_index();
  void break_index();
  void bring_back_index();
  void set_change_mask();
  void break_log();
  void remove_log();
  void leave_resize_file();

  void store(const alt_model::Record& record);
  void search_with(const alt_model::Criteria& criteria, int size, int page);
  int random_page_size();

  const uint64_t seed_;
  const SeriesStyle style_;
  Random random_;
  LogCapture& log_ = LogCapture::instance();
  TempStore directory_;
  Cluster cluster_;
  Workload workload_;
  alt_model::StoreModel model_;
  std::vector<alt_model::Criteria> asked_{1};  // criteria to ask again
  std::map<std::string, std::string> old_indexes_;
  std::deque<std::string> history_;  // the last operations, in words
  std::map<std::string, int> performed_;
  int number_ = 0;
  int skipped_ = 0;
  bool apart_ = false;
};

}  // namespace alt_test

#endif
