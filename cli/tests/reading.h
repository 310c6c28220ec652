// A store with alerts in it, for the subcommands that read.
#pragma once

#include <string>
#include <vector>

#include "stored_alerts.h"
#include "support.h"

namespace qel::cli::testing {

class ReadingTest : public CliTest {
 protected:
  // Five alerts; the third one stored is the newest.
  void store_five() const;

  // The ids that a call shows, in its order.
  std::vector<uint32_t> shown(const std::vector<std::string>& call) const;
  // Those of `list` with these options.
  std::vector<uint32_t> listed(const std::vector<std::string>& options) const {
    return shown(joined({"list"}, options));
  }
};

}  // namespace qel::cli::testing
