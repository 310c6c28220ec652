// A real store with one damage planted, and what `qelalert verify` has to say about it.
#pragma once

#include <functional>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "alert_index/layout.h"
#include "alert_log/layout.h"
#include "support.h"

namespace qel::cli::testing {

inline constexpr char kLog[] = "alertlog.alt";
inline constexpr size_t kLogHeader = 332;  // bytes
inline constexpr size_t kLogHeaderLines = 8;
inline constexpr int kRecords = 6;

// Bytes of the store's files, to be changed behind its back.
class StoreBytes {
 public:
  explicit StoreBytes(const TempCluster& cluster) : cluster_(cluster) {}

  std::string read(const std::string& file) const;
  void replace(const std::string& file, const std::string& content) const;
  void put(const std::string& file, size_t offset, const std::string& bytes) const;
  void insert(const std::string& file, size_t offset, const std::string& bytes) const;
  void cut(const std::string& file, size_t size) const;
  void append(const std::string& file, const std::string& bytes) const;

  // The number of a header line of the log, from 0, in the eight characters that it has.
  void put_number(int line, int number) const;
  // A text into a column of a record, filled up with blanks.
  void put_column(size_t record, const Column& column, const std::string& text) const;
  // Exchanges two entries of an index.
  void swap_entries(int idxtype, size_t left, size_t right) const;

 private:
  const TempCluster& cluster_;
};

struct Place {
  size_t line;
  size_t byte;
};

// A place in a record line of the log, and in an entry of an index.
Place in_record(size_t record, size_t offset = 0);
Place in_entry(int idxtype, size_t entry, size_t offset = 0);

struct DamageCase {
  std::string name;
  std::function<void(const StoreBytes&)> plant;
  std::string file;
  Place place;
  std::string words;   // part of what is said there
  int capacity = 100;  // kRecords: the log is full
};

std::ostream& operator<<(std::ostream& out, const DamageCase& test);

// Stores kRecords alerts of two servers whose times are not in the order of their lines.
class DamagedStore : public CliTest, public ::testing::WithParamInterface<DamageCase> {
 protected:
  void SetUp() override;
};

std::string name_of_damage(const ::testing::TestParamInfo<DamageCase>& test);

// Names, modes, times and bytes of everything that a program could have changed.
std::map<std::string, std::string> picture_of(const TempCluster& cluster);

// One damage of each kind: of the log's header, of its records, of the indexes.
std::vector<DamageCase> header_damages();
std::vector<DamageCase> record_damages();
std::vector<DamageCase> index_damages();

}  // namespace qel::cli::testing
