#include "reading.h"

namespace qel::cli::testing {

void ReadingTest::store_five() const {
  cluster_.store_alert(alert(1, "node1", "disk", "1001", "1", "2024/01/30 08:00:00.000"));
  cluster_.store_alert(alert(2, "node2", "net", "2001", "2", "2024/01/31 00:00:00.000"));
  cluster_.store_alert(alert(3, "node1", "net", "2001", "3", "2024/02/01 12:00:00.500"));
  cluster_.store_alert(alert(4, "node2", "disk", "1002", "1", "2024/01/31 10:00:00.000"));
  cluster_.store_alert(alert(5, "node1", "disk", "1001", "2", "2024/01/31 23:59:59.999"));
}

std::vector<uint32_t> ReadingTest::shown(const std::vector<std::string>& call) const {
  const Result result = qelalert(joined(call, {"-o", "json"}));
  EXPECT_EQ(0, result.exit_code) << result.err;
  return ids(result.out);
}

}  // namespace qel::cli::testing
