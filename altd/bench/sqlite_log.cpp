#include "sqlite_log.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace bench {

namespace {

constexpr char kSchema[] =
    "CREATE TABLE alert(alert_id INTEGER, event TEXT, level TEXT, server TEXT, module TEXT,"
    " written TEXT, raised TEXT, message TEXT);"
    "CREATE INDEX by_time ON alert(raised);"
    "CREATE INDEX by_server ON alert(server);"
    "CREATE INDEX by_module ON alert(module);"
    "CREATE INDEX by_event ON alert(CAST(event AS INTEGER));"
    "CREATE INDEX by_level ON alert(level);"
    "CREATE UNIQUE INDEX by_id ON alert(server, alert_id);";

void bind_text(sqlite3_stmt* statement, int position, const char* text) {
  sqlite3_bind_text(statement, position, text, -1, SQLITE_STATIC);
}

template <size_t N>
void take(sqlite3_stmt* statement, int column, char (&field)[N]) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  snprintf(field, N, "%s", text);
}

[[noreturn]] void give_up(sqlite3* database, const char* what) {
  fprintf(stderr, "SQLite: %s: %s\n", what, sqlite3_errmsg(database));
  exit(1);
}

}  // namespace

SqliteLog::SqliteLog(const std::string& path, const char* synchronous, int capacity)
    : capacity_(capacity) {
  sqlite3* database = nullptr;
  const int opened = sqlite3_open(path.c_str(), &database);
  database_.reset(database);
  if (opened != SQLITE_OK) give_up(database, path.c_str());
  execute("PRAGMA journal_mode=WAL;");
  set_synchronous(synchronous);
  execute(kSchema);
  begin_ = prepare("BEGIN");
  commit_ = prepare("COMMIT");
  insert_ = prepare("INSERT INTO alert VALUES(?,?,?,?,?,?,?,?)");
  drop_oldest_ =
      prepare("DELETE FROM alert WHERE rowid = (SELECT rowid FROM alert ORDER BY raised LIMIT 1)");
  count_ = prepare("SELECT COUNT(*) FROM alert WHERE server = ? AND level = ?");
  select_ =
      prepare("SELECT * FROM alert WHERE server = ? AND level = ? ORDER BY raised DESC LIMIT ?");
}

void SqliteLog::set_synchronous(const char* level) {
  execute("PRAGMA synchronous=" + std::string(level) + ";");
}

void SqliteLog::execute(const std::string& sql) {
  if (sqlite3_exec(database_.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    give_up(database_.get(), sql.c_str());
  }
}

SqliteLog::Statement SqliteLog::prepare(const char* sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(database_.get(), sql, -1, &statement, nullptr) != SQLITE_OK) {
    give_up(database_.get(), sql);
  }
  return Statement(statement);
}

void SqliteLog::step(const Statement& statement) {
  if (sqlite3_step(statement.get()) != SQLITE_DONE) {
    give_up(database_.get(), sqlite3_sql(statement.get()));
  }
  sqlite3_reset(statement.get());
}

void SqliteLog::store(const ALERT_RECORD_INFO& record) {
  step(begin_);
  sqlite3_bind_int64(insert_.get(), 1, record.alert_id);
  bind_text(insert_.get(), 2, record.szEventID);
  bind_text(insert_.get(), 3, record.szLevel);
  bind_text(insert_.get(), 4, record.szServer);
  bind_text(insert_.get(), 5, record.szModType);
  bind_text(insert_.get(), 6, record.szWriteTime);
  bind_text(insert_.get(), 7, record.szServerTime);
  bind_text(insert_.get(), 8, record.szAlertMessage);
  step(insert_);
  if (++stored_ > capacity_) step(drop_oldest_);
  step(commit_);
}

int SqliteLog::search(const char* server, const char* level, int page_size,
                      std::vector<ALERT_RECORD_INFO>* page) {
  bind_text(count_.get(), 1, server);
  bind_text(count_.get(), 2, level);
  if (sqlite3_step(count_.get()) != SQLITE_ROW) give_up(database_.get(), "count");
  const int total = sqlite3_column_int(count_.get(), 0);
  sqlite3_reset(count_.get());
  bind_text(select_.get(), 1, server);
  bind_text(select_.get(), 2, level);
  sqlite3_bind_int(select_.get(), 3, page_size);
  page->clear();
  while (sqlite3_step(select_.get()) == SQLITE_ROW) {
    ALERT_RECORD_INFO record = {};
    record.alert_id = static_cast<uint32_t>(sqlite3_column_int64(select_.get(), 0));
    take(select_.get(), 1, record.szEventID);
    take(select_.get(), 2, record.szLevel);
    take(select_.get(), 3, record.szServer);
    take(select_.get(), 4, record.szModType);
    take(select_.get(), 5, record.szWriteTime);
    take(select_.get(), 6, record.szServerTime);
    take(select_.get(), 7, record.szAlertMessage);
    page->push_back(record);
  }
  sqlite3_reset(select_.get());
  return total;
}

}  // namespace bench
