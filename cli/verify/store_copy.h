// The bytes of a store, read and nothing else: the library makes a missing file and deletes a
// damaged one when it is asked to open them.
#pragma once

#include <array>
#include <optional>
#include <string>

#include "alert_types.h"

namespace qel::cli {

struct StorePlace {
  std::string directory;  // ends in "/"
  std::string log_name;
  std::string local_server;  // whose store it is; empty when that is not known

  std::string log_path() const { return directory + log_name; }
  std::string index_path(int idxtype) const;
};

// The store that the configuration leads to. Throws a Failure.
StorePlace configured_place();

// The store in a directory, or the one that a log file belongs to. Throws a Failure when there is
// none.
StorePlace place_of(const std::string& path);

// What the files held at one moment.
struct StoreCopy {
  std::string log;
  std::array<std::optional<std::string>, ALERT_INDEX_COUNT> indexes;  // nothing: it is missing
  std::string lock_fault;  // why other programs may have written meanwhile; empty: they could not
};

// Throws a Failure without a log, and when a file cannot be read.
StoreCopy copy_store(const StorePlace& place);

}  // namespace qel::cli
