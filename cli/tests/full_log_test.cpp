// list and count over a full log of the usual capacity, against a filter of the test's own. With
// sanitizers over a smaller one: there each store and each reading of it takes ten times as long.
#include <algorithm>
#include <functional>
#include <map>
#include <memory>

#include "reading.h"
#include "support/random.h"
#include "support/sanitizer.h"

namespace qel::cli::testing {
namespace {

using Alert = ALERT_RECORD_INFO;
using Texts = std::vector<std::string>;

constexpr uint32_t kAlerts = alt_test::is_sanitized() ? 1000 : 10000;
constexpr uint64_t kSeed = 20240131;
constexpr int kCombinations =
    alt_test::is_sanitized() ? 10 : 25;  // of options, with each seed of the random test

const Texts kServers = {"node1", "node10", "node2", "rack/7", "n\u00f6rd"};
const Texts kModules = {"disk", "net", "power", "a module with blanks", "!bang"};
const Texts kEvents = {"1", "10", "1001", "x", "A-7"};
const Texts kThings = {"Disk 3", "disk 12", "Link eth0", "fan", "Temperature (CPU)"};
const Texts kStates = {"failed", "is up", "is DOWN", "at 97%", "Failed again, \"hard\""};

std::string random_time(alt_test::Random* random) {
  char text[64];
  const int length =
      snprintf(text, sizeof text, "2024/%02d/%02d %02d:%02d:%02d.%03d", random->between(1, 2),
               random->between(1, 28), random->between(0, 23), random->between(0, 59),
               random->between(0, 59), random->between(0, 3) * 250);
  constexpr int kMilliseconds = 4;
  return {text, static_cast<size_t>(length - (random->chance(5) ? kMilliseconds : 0))};
}

// Some have the time of the alert before them, and one in ten that of a day with many.
std::vector<Alert> random_alerts() {
  alt_test::Random random(kSeed);
  std::vector<Alert> alerts;
  std::string time;
  for (uint32_t id = 1; id <= kAlerts; ++id) {
    if (time.empty() || !random.chance(20)) time = random_time(&random);
    if (random.chance(10)) time = "2024/01/31 12:00:00.000";
    alerts.push_back(alert(id, random.pick(kServers), random.pick(kModules), random.pick(kEvents),
                           std::to_string(random.between(1, 3)), time));
    alt_test::set_text(alerts.back().szAlertMessage,
                       random.pick(kThings) + " " + random.pick(kStates));
  }
  return alerts;
}

// A filter option with what it means, written down without the program's own words for it.
struct Option {
  std::string name;
  std::string value;
  std::function<bool(const Alert&)> fits;
};
using Options = std::vector<Option>;

Option text_option(const std::string& name, const std::string& value, size_t offset) {
  return {name, value, [value, offset](const Alert& alert) {
            return value == reinterpret_cast<const char*>(&alert) + offset;
          }};
}

Option server(const std::string& value) {
  return text_option("-s", value, offsetof(Alert, szServer));
}
Option module(const std::string& value) {
  return text_option("-m", value, offsetof(Alert, szModType));
}
Option event(const std::string& value) {
  return text_option("-i", value, offsetof(Alert, szEventID));
}

Option levels(const std::string& value, const std::string& those) {
  return {"-p", value, [those](const Alert& alert) {
            return those.find(alert.szLevel[0]) != std::string::npos;
          }};
}

// `texts`: what one of must be in the message, in small letters where case does not count.
Option grep(const std::string& value, const Texts& texts, bool any_case) {
  return {"-g", value, [texts, any_case](const Alert& alert) {
            std::string message = alert.szAlertMessage;
            if (any_case) std::transform(message.begin(), message.end(), message.begin(), tolower);
            return std::any_of(texts.begin(), texts.end(), [&](const std::string& text) {
              return message.find(text) != std::string::npos;
            });
          }};
}

// A stored time without milliseconds stands for its whole second.
Option since(const std::string& value, const std::string& stored) {
  return {"-S", value, [stored](const Alert& alert) {
            return std::string(alert.szServerTime) + (alert.szServerTime[19] == 0 ? ".999" : "") >=
                   stored;
          }};
}
Option until(const std::string& value, const std::string& stored) {
  return {"-U", value, [stored](const Alert& alert) {
            return std::string(alert.szServerTime) + (alert.szServerTime[19] == 0 ? ".000" : "") <=
                   stored;
          }};
}

Option refusing(Option option) {
  option.value = "!" + option.value;
  return option;
}
bool is_refusing(const Option& option) { return option.value[0] == '!'; }

Options repeatable_options() {
  Options options;
  for (const std::string& text : kServers) options.push_back(server(text));
  for (const std::string& text : kModules) {
    if (text[0] != '!') options.push_back(module(text));
  }
  for (const std::string& text : kEvents) options.push_back(event(text));
  options.push_back(server("node3"));
  for (const char* level : {"1", "2", "3"}) options.push_back(levels(level, level));
  options.push_back(levels("1..2", "12"));
  options.push_back(levels("2..3", "23"));
  options.push_back(levels("1..3", "123"));
  options.push_back(levels("2..2", "2"));
  options.push_back(grep("failed", {"failed"}, true));
  options.push_back(grep("Failed", {"Failed"}, false));
  options.push_back(grep("DOWN$", {"is DOWN"}, false));
  options.push_back(grep("^(disk|link)", {"disk", "link"}, true));
  options.push_back(grep("[0-9]%|cpu", {"97%", "cpu"}, true));
  options.push_back(grep("\\(.*\\)", {"(cpu)"}, true));
  options.push_back(grep("no such text", {"no such text"}, true));
  return options;
}

const Options kSince = {since("2024/01/31", "2024/01/31 00:00:00.000"),
                        since("2024/01/31 12:00:00", "2024/01/31 12:00:00.000"),
                        since("2024-01-15T11:30:00.250Z", "2024/01/15 11:30:00.250"),
                        since("2023/01/01", "2023/01/01 00:00:00.000"), since("-1h", "9999")};
const Options kUntil = {until("2024/02/01", "2024/02/01 00:00:00.000"),
                        until("2024/01/31 12:00:00.000", "2024/01/31 12:00:00.000"),
                        until("2024-02-20T23:00:00+01:00", "2024/02/20 22:00:00.000"),
                        until("now", "9999")};

// All of another name must admit the alert; of one name none refused, and any allowed.
bool admitted(const Options& options, const Alert& alert) {
  std::map<std::string, bool> allowed;
  for (const Option& option : options) {
    const bool fits = option.fits(alert);
    if (is_refusing(option) && fits) return false;
    if (!is_refusing(option)) allowed[option.name] = allowed[option.name] || fits;
  }
  return std::all_of(allowed.begin(), allowed.end(),
                     [](const auto& entry) { return entry.second; });
}

class FullLog : public ::testing::Test {
 protected:
  // Once for the program: it takes seconds.
  static void SetUpTestSuite() {
    cluster_ = std::make_unique<TempCluster>();
    cluster_->set_capacity(kAlerts);
    alerts_ = random_alerts();
    for (const Alert& alert : alerts_) cluster_->store_alert(alert);
    std::sort(alerts_.begin(), alerts_.end(), [](const Alert& a, const Alert& b) {
      return std::make_tuple(std::string(a.szServerTime), std::string(a.szServer), a.alert_id) <
             std::make_tuple(std::string(b.szServerTime), std::string(b.szServer), b.alert_id);
    });
  }
  static void TearDownTestSuite() { cluster_.reset(); }

  static void expect_same(const Options& options) {
    Texts words;
    std::string expected;
    size_t count = 0;
    for (const Option& option : options) words.push_back(option.name + option.value);
    for (const Alert& alert : alerts_) {
      if (!admitted(options, alert)) continue;
      expected += std::to_string(alert.alert_id) + "\n";
      ++count;
    }
    SCOPED_TRACE(::testing::PrintToString(words));
    const Result list = cluster_->run(joined(words, {"-o", "cat", "--fields", "id"}));
    EXPECT_EQ(0, list.exit_code) << list.err;
    EXPECT_TRUE(expected == list.out) << list.out.substr(0, 200);
    EXPECT_EQ(std::to_string(count) + "\n", cluster_->run(joined({"count"}, words)).out);
  }

  static std::unique_ptr<TempCluster> cluster_;
  static std::vector<Alert> alerts_;
};

std::unique_ptr<TempCluster> FullLog::cluster_;
std::vector<Alert> FullLog::alerts_;

TEST_F(FullLog, EveryFilterShowsAndCountsWhatItSays) {
  expect_same({});
  for (const Option& option : repeatable_options()) {
    expect_same({option});
    expect_same({refusing(option)});
  }
  for (const Option& option : kSince) expect_same({option});
  for (const Option& option : kUntil) expect_same({option});
  expect_same({refusing(module("!bang"))});
}

TEST_F(FullLog, CombinationsOfFiltersShowAndCountWhatTheySay) {
  expect_same({server("node1"), server("node2")});
  expect_same({refusing(server("node1")), refusing(server("node2"))});
  expect_same({server("node1"), refusing(server("node1"))});
  expect_same({levels("1", "1"), levels("3", "3"), refusing(event("x"))});
  const Options all = repeatable_options();
  for (const uint64_t seed : alt_test::test_seeds({1})) {
    SCOPED_TRACE(alt_test::repeat_command(seed));
    alt_test::Random random(seed);
    for (int i = 0; i < kCombinations; ++i) {
      Options options;
      for (int k = random.between(1, 5); k > 0; --k) {
        const Option& option = random.pick(all);
        options.push_back(random.chance(30) ? refusing(option) : option);
      }
      if (random.chance(40)) options.push_back(kSince[random.below(3)]);
      if (random.chance(40)) options.push_back(random.chance(50) ? kUntil[0] : kUntil[2]);
      expect_same(options);
    }
  }
}

TEST_F(FullLog, LongAnswersArriveWholeInAFileAPipeAndATerminal) {
  const Result file = cluster_->run({"list", "-o", "json"});
  EXPECT_EQ(kAlerts, objects(file.out).size());
  const Result terminal = cluster_->run({"list", "-o", "json"}, {.terminal_columns = 80});
  EXPECT_TRUE(on_terminal(file.out) == terminal.out);
  const Result paged = cluster_->run(
      {"list", "-o", "json"},
      {.environment = {{"QELALERT_PAGER", "sed -n '1p;$p'"}}, .terminal_columns = 80});
  const std::string first = file.out.substr(0, file.out.find('\n') + 1);
  EXPECT_EQ(on_terminal(first), paged.out.substr(0, first.size() + 1));
  EXPECT_EQ(2U, objects(paged.out).size());
  EXPECT_EQ(objects(file.out).back(), objects(paged.out).back());
}

}  // namespace
}  // namespace qel::cli::testing
