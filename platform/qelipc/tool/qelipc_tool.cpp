/* qelipc: shows, sets and removes the shared state of the product's processes, and waits for its
 * new-alert event. */
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdio>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <string_view>

#include "qelipc.h"
#include "shared_state.h"

namespace {

enum ExitCode { kDone = 0, kFailed = 1, kUsage = 2, kTimedOut = 4 };

constexpr int kWaitSecondsMax = INT_MAX / 1000;

using Arguments = char**; /* what follows the command; ends with a null pointer */

struct Command {
  const char* name;
  const char* arguments;
  const char* help;
  int arguments_min;
  int arguments_max;
  int (*run)(Arguments arguments);
};

int fail(const char* what) {
  const int reason = errno;
  const char* text = reason == EPROTO ? "made by another version of qelipc, or by another program; "
                                        "\"qelipc remove\" takes it away"
                                      : std::strerror(reason);
  (void)std::fprintf(stderr, "qelipc: %s %s: %s\n", what, qel::shared_state_name(), text);
  return kFailed;
}

int fail_usage(const char* reason, const char* word) {
  (void)std::fprintf(stderr, "qelipc: %s%s%s\nTry \"qelipc --help\".\n", reason,
                     word[0] != '\0' ? ": " : "", word);
  return kUsage;
}

/* A whole number within min and max; otherwise none, and the error is told. */
std::optional<int> read_number(const char* what, const char* text, int min, int max) {
  int number = 0;
  const std::string_view digits = text;
  const auto [end, failure] = std::from_chars(digits.begin(), digits.end(), number);
  if (failure == std::errc() && end == digits.end() && number >= min && number <= max) {
    return number;
  }
  (void)std::fprintf(stderr, "qelipc: %s is a whole number from %d to %d, not \"%s\"\n", what, min,
                     max, text);
  return std::nullopt;
}

int show(Arguments /*none*/) {
  const auto mapping = qel::StateMapping::open(qel::StateMapping::Missing::kFail);
  if (!mapping) {
    return fail("cannot show");
  }
  const uint64_t timing = mapping->state().timing.load();
  std::printf("name    %s\nratio   %d\nperiod  %d s\nalerts  %u\n", qel::shared_state_name(),
              qel::ratio_of(timing), qel::period_of(timing), mapping->state().alert_count.load());
  return kDone;
}

/* The period that is set; the default where there is no state yet. */
std::optional<int> current_period() {
  const auto mapping = qel::StateMapping::open(qel::StateMapping::Missing::kFail);
  if (!mapping) {
    return errno == ENOENT ? std::optional<int>(qel::kDefaultPeriod) : std::nullopt;
  }
  return qel::period_of(mapping->state().timing.load());
}

int set_ratio(Arguments arguments) {
  const auto ratio = read_number("RATIO", arguments[0], 1, SHMCM_RATIO_MAX);
  if (!ratio) {
    return kUsage;
  }
  std::optional<int> period;
  if (arguments[1] != nullptr) {
    period = read_number("PERIOD", arguments[1], 1, SHMCM_PERIOD_MAX);
    if (!period) {
      return kUsage;
    }
  } else {
    period = current_period();
  }
  if (!period || shmcm_setratio(*ratio, *period) != 0) {
    return fail("cannot set");
  }
  return kDone;
}

int wait_for_alert(Arguments arguments) {
  int timeout_ms = -1;
  if (arguments[0] != nullptr) {
    const auto seconds = read_number("SECONDS", arguments[0], 0, kWaitSecondsMax);
    if (!seconds) {
      return kUsage;
    }
    timeout_ms = *seconds * 1000;
  }
  unsigned seen = 0;
  if (semevt_wait_alert(&seen, 0) < 0) {
    return fail("cannot wait on");
  }
  const int result = semevt_wait_alert(&seen, timeout_ms);
  if (result < 0) {
    return fail("cannot wait on");
  }
  return result == 1 ? kDone : kTimedOut;
}

int remove(Arguments /*none*/) {
  const int failure = qel::remove_shared_state();
  if (failure != 0) {
    errno = failure;
    return fail("cannot remove");
  }
  return kDone;
}

constexpr Command kCommands[] = {
    {"show", "", "print ratio, period (seconds) and the number of events raised", 0, 0, show},
    {"set-ratio", "RATIO [PERIOD]",
     "set the time-out ratio (1 to 1000) and its period (1 to 86400 s)", 1, 2, set_ratio},
    {"wait", "[SECONDS]", "wait for the next new alert, for ever or so many seconds", 0, 1,
     wait_for_alert},
    {"remove", "", "take the state away; the next user makes it anew", 0, 0, remove},
};

int help() {
  std::printf(
      "usage: qelipc COMMAND [ARGUMENTS]\n"
      "Shared state of the product's processes on this host: time-out ratio and new-alert event.\n"
      "\n");
  for (const Command& command : kCommands) {
    std::printf("  %-10s%-16s%s\n", command.name, command.arguments, command.help);
  }
  std::printf(
      "  --help                    print this text\n"
      "\n"
      "set-ratio without PERIOD keeps the period. The state is made on first use; show and remove\n"
      "do not make it. Environment: QEL_IPC_NAME, the name of the state (default /qelalert).\n"
      "Exit codes: 0 done, 1 failed, 2 wrong usage, 4 no alert within SECONDS.\n");
  return kDone;
}

int run_command(const Command& command, int count, Arguments arguments) {
  if (count < command.arguments_min) {
    return fail_usage("missing argument of", command.name);
  }
  if (count > command.arguments_max) {
    return fail_usage("too many arguments", arguments[command.arguments_max]);
  }
  return command.run(arguments);
}

int run(int count, Arguments arguments) {
  if (count == 0) {
    return fail_usage("missing command", "");
  }
  const std::string_view name = arguments[0];
  if (name == "--help" || name == "-h") {
    return help();
  }
  for (const Command& command : kCommands) {
    if (name == command.name) {
      return run_command(command, count - 1, arguments + 1);
    }
  }
  return fail_usage("unknown command", arguments[0]);
}

/* What a full disk swallowed was not shown. */
int after_output(int result) {
  if (std::fflush(stdout) != 0) {
    std::perror("qelipc: cannot write");
    return result == kDone ? kFailed : result;
  }
  return result;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return after_output(run(argc - 1, argv + 1));
  } catch (const std::exception& failure) {
    (void)std::fprintf(stderr, "qelipc: %s\n", failure.what());
    return kFailed;
  }
}
