// The checker and the readers of the configuration agree: what the one calls an error, the others
// refuse, and nothing else.
#include <gtest/gtest.h>

#include "alert_config.h"
#include "alerts/failure.h"
#include "cluster/server_file.h"
#include "configuration_files.h"
#include "mistakes.h"
#include "settings.h"
#include "web/server/settings.h"

namespace qel::configuration_test {
namespace {

using testing::Child;
using testing::ScopedVariable;

enum Answer { kRead = 0, kRefused = 1 };

// What the daemon and the programs that raise alerts make of it, as they do at their start.
Answer read_all() {
  daemon::Settings settings;
  std::vector<daemon::ServerEntry> servers;
  std::string error;
  if (!daemon::load_configuration(&settings, &error)) return kRefused;
  if (!daemon::read_servers(&servers, &error)) return kRefused;
  daemon::close_log();
  return alert_log_lib_init(nullptr) == -1 ? kRefused : kRead;
}

// What the front end makes of it besides.
Answer read_front_end() {
  try {
    (void)web::read_settings();
  } catch (const Failure&) {
    return kRefused;
  }
  return kRead;
}

class Reading : public ::testing::Test {
 protected:
  // In a process of its own: the library's settings belong to the process.
  int answer() const { return Child(read_all).wait(); }
  int answer_of_front_end() const { return Child(read_front_end).wait(); }

  const ConfigurationFiles files_;
  const ScopedVariable config_{"QEL_CONFIG_DIR", files_.filled_in("@DIR@").c_str()};
  const ScopedVariable log_{"QEL_LOG_DIR", files_.path("diag").c_str()};
};

TEST_F(Reading, ConfigurationInWhichNothingIsWrongIsRead) {
  EXPECT_EQ(kRead, answer());
  EXPECT_EQ(kRead, answer_of_front_end());
}

class ReadingAMistake : public Reading, public ::testing::WithParamInterface<Mistake> {};

std::string name_of_row(const ::testing::TestParamInfo<Mistake>& info) { return info.param.name; }
INSTANTIATE_TEST_SUITE_P(OfValues, ReadingAMistake, ::testing::ValuesIn(value_mistakes()),
                         name_of_row);
INSTANTIATE_TEST_SUITE_P(OfElements, ReadingAMistake, ::testing::ValuesIn(element_mistakes()),
                         name_of_row);
INSTANTIATE_TEST_SUITE_P(OfTheFrontEnd, ReadingAMistake, ::testing::ValuesIn(front_end_mistakes()),
                         name_of_row);
INSTANTIATE_TEST_SUITE_P(OfServers, ReadingAMistake, ::testing::ValuesIn(server_mistakes()),
                         name_of_row);

TEST_P(ReadingAMistake, EndsAsTheTableOfMistakesTells) {
  files_.replace(GetParam().file, GetParam().from, GetParam().to);
  EXPECT_EQ(GetParam().readers == Readers::kRefuse ? kRefused : kRead, answer());
  if (GetParam().readers == Readers::kRefuse) return;  // and does so to the front end, or not
  EXPECT_EQ(GetParam().readers == Readers::kFrontEndRefuses ? kRefused : kRead,
            answer_of_front_end());
}

// The other way round: what is refused is told as an error.
TEST_P(ReadingAMistake, IsToldAsAnErrorWhenItIsRefused) {
  const bool is_error = std::string(GetParam().found).find(" error: ") != std::string::npos;
  EXPECT_TRUE(is_error || GetParam().readers == Readers::kAccept);
}

}  // namespace
}  // namespace qel::configuration_test
