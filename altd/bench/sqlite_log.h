// The peer of the benchmarks: the same alert log as a table of SQLite.
#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <vector>

#include "alert_types.h"

namespace bench {

// One table with an index for each of the six index files, in a WAL database. Statements are
// prepared once. Any failure ends the program.
class SqliteLog {
 public:
  SqliteLog(const std::string& path, const char* synchronous, int capacity);

  // Durability: OFF leaves the disk to the system, FULL waits for it at each commit.
  void set_synchronous(const char* level);

  // Stores an alert in a transaction of its own and drops the oldest from a full table.
  void store(const ALERT_RECORD_INFO& record);

  // The first page of the alerts of one server and level, newest first, and their total.
  int search(const char* server, const char* level, int page_size,
             std::vector<ALERT_RECORD_INFO>* page);

 private:
  struct Close {
    void operator()(sqlite3* database) const { sqlite3_close(database); }
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
  };
  using Statement = std::unique_ptr<sqlite3_stmt, Close>;

  void execute(const std::string& sql);
  Statement prepare(const char* sql);
  void step(const Statement& statement);

  std::unique_ptr<sqlite3, Close> database_;
  Statement begin_;
  Statement commit_;
  Statement insert_;
  Statement drop_oldest_;
  Statement count_;
  Statement select_;
  int capacity_;
  int stored_ = 0;
};

}  // namespace bench
