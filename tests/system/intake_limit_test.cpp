// The intake file at its size limit, as the tool and then the daemon meet it.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "alert_log/layout.h"
#include "raising.h"
#include "server.h"
#include "store_content.h"
#include "support/files.h"

namespace qel::system_test {
namespace {

constexpr size_t kIntakeMax = 4194304;
constexpr uint32_t kLines = kIntakeMax / kRecordLine;
constexpr size_t kRest = kIntakeMax % kRecordLine;  // the limit is no whole number of lines

std::string intake_of_exactly_the_limit() {
  std::string content(kRest, '#');
  for (uint32_t number = 1; number <= kLines; ++number) {
    std::string line(kRecordLine, '\0');
    format_record(line.data(), numbered_alert(number));
    content += line;
  }
  return content;
}

TEST(IntakeLimit, IsExceededByOneAlertThenRefusedUntilTheDaemonHasStoredAll) {
  Server server;
  server.set_capacity(2 * kLines);
  alt_test::write_file(server.store("alerttmp.alt"), intake_of_exactly_the_limit());
  ASSERT_EQ(kIntakeMax, std::filesystem::file_size(server.store("alerttmp.alt")));
  ASSERT_EQ(0, raise_alerts(kLines + 1, kLines + 1));
  ASSERT_EQ(kIntakeMax + kRecordLine, std::filesystem::file_size(server.store("alerttmp.alt")));

  const auto refused = server.run_tool({"raise", "-i", "1", "-m", "disk", "one too many"});
  EXPECT_EQ(1, refused->wait());
  EXPECT_NE(std::string::npos,
            refused->err().find("temporary file's size is too large,alert can not be wrote"))
      << refused->err();
  EXPECT_EQ(kIntakeMax + kRecordLine, std::filesystem::file_size(server.store("alerttmp.alt")));

  const auto daemon = server.start_daemon();
  ASSERT_TRUE(eventually([&] { return server.intake_is_empty(); }));
  const auto accepted = server.run_tool({"raise", "-i", "1", "-m", "disk", "alert 9999"});
  EXPECT_EQ(0, accepted->wait()) << accepted->err();
  ASSERT_TRUE(eventually([&] { return server.intake_is_empty(); }));
  auto expected = counting(1, kLines + 1);
  expected.push_back(9999);
  EXPECT_EQ(expected, numbers_of(read_log(server.store("alertlog.alt"))));
  EXPECT_EQ(std::string(kRest, '#'), alt_test::read_file(server.store("alerttmp.bad")));
  EXPECT_EQ(0, Server::stop(daemon.get()));
}

}  // namespace
}  // namespace qel::system_test
