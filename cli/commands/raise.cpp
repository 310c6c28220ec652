// qelalert raise: hands an alert to the alert daemon.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <iostream>
#include <memory>
#include <string>

#include "alert_config.h"
#include "alert_log.h"
#include "alert_log/layout.h"
#include "alerts/owner_rights.h"
#include "alerts/record_text.h"
#include "alerts/session.h"
#include "alerts/store.h"
#include "alerts/time_text.h"
#include "alerts/visible_text.h"
#include "commands/command.h"
#include "commands/delivery.h"
#include "commands/options.h"
#include "common/unique_fd.h"
#include "daemon_client/daemon_socket.h"

namespace qel::cli {
namespace {

constexpr char kExamples[] =
    "  qelalert raise -i 1001 -m disk \"disk 3 failed\"\n"
    "  qelalert raise -i 1001 -m disk --time \"2024/01/31 23:59:59\" \"disk 3 failed\"\n"
    "  qelalert raise -i 1001 -m disk --wait \"disk 3 failed\"\n"
    "  df -h /data | tail -1 | qelalert raise -i 1002 -m disk -p 2 -";

constexpr ALERT_RECORD_INFO kNoAlert{};

struct RaiseOptions {
  std::string message;
  std::string event;
  std::string level = "3";
  std::string module;
  std::string server;
  std::string time;
  bool wait = false;
  int timeout_s = 30;
};

// Takes one line of standard input. Reads a little more than a message may hold: enough to tell
// that it is too long, or that a second line follows.
std::string read_message() {
  std::string text(text_limit(kNoAlert.szAlertMessage) + 2, '\0');
  std::cin.read(text.data(), static_cast<std::streamsize>(text.size()));
  text.resize(static_cast<size_t>(std::cin.gcount()));
  if (text.ends_with('\n')) text.pop_back();
  return text;
}

void check_text(const char* option, const std::string& text, size_t limit) {
  const std::string fault = text_fault(text, limit);
  if (!fault.empty()) throw UsageError(option, fault);
}

// Takes a time and turns it into the stored form.
ValueCheck stored_time() {
  return [](std::string& text) {
    const std::optional<std::string> time = parse_time(text);
    if (!time.has_value()) {
      return in_quotes(text) + " is not a time (YYYY/MM/DD HH:MM:SS[.mmm])";
    }
    text = *time;
    return std::string();
  };
}

template <size_t N>
void put(char (&field)[N], const std::string& text) {
  take_text(field, text.data(), text.size());
}

ALERT_RECORD_INFO make_alert(const RaiseOptions& options) {
  const std::string text = options.message == "-" ? read_message() : options.message;
  check_text("MESSAGE", text, text_limit(kNoAlert.szAlertMessage));
  const std::string server = options.server.empty() ? local_server_name() : options.server;
  check_text("--server", server, text_limit(kNoAlert.szServer));
  ALERT_RECORD_INFO alert{};
  put(alert.szEventID, options.event);
  put(alert.szLevel, options.level);
  put(alert.szServer, server);
  put(alert.szModType, options.module);
  put(alert.szServerTime, options.time);
  if (options.time.empty()) get_current_localtime(alert.szServerTime, sizeof alert.szServerTime);
  put(alert.szAlertMessage, text);
  return alert;
}

// What keeps an open intake file of that size from growing by a line; empty when nothing shows.
std::string growth_fault(const std::string& path, off_t size) {
  if (size > kIntakeMax) {
    return "temporary file's size is too large,alert can not be wrote: " + path + " has " +
           std::to_string(size) + " bytes, the limit is " + std::to_string(kIntakeMax) +
           "; the alert daemon empties it when it runs";
  }
  const auto line = rlim_t{kRecordLine};
  rlimit limit{};
  if (getrlimit(RLIMIT_FSIZE, &limit) == 0 && static_cast<rlim_t>(size) + line > limit.rlim_cur) {
    return with_errno("cannot write " + path, EFBIG);
  }
  struct statvfs space {};
  if (statvfs(path.c_str(), &space) == 0 && space.f_bavail * space.f_frsize < line) {
    return with_errno("cannot write " + path, ENOSPC);
  }
  return {};
}

// The library tells why it refused an alert only in the diagnostic log, so look for the reason.
std::string intake_fault() {
  const std::string path = intake_path();
  const UniqueFd fd(open(path.c_str(), O_RDWR | O_CLOEXEC));
  struct stat status {};
  std::string fault;
  if (fd && fstat(fd.get(), &status) == 0) {
    fault = growth_fault(path, status.st_size);
  } else {
    fault = errno == ENOENT ? creation_fault(path) : with_errno("cannot open " + path, errno);
  }
  return fault.empty() ? "cannot write " + path : fault;
}

bool accepted(ALERT_RECORD_INFO* alert) {
  const OwnerRights as_owner(alt_path_only);
  return alert_log_lib_write(alert) == 0;
}

ExitCode raise_alert(const RaiseOptions& options) {
  ALERT_RECORD_INFO alert = make_alert(options);
  const std::string socket = options.wait ? daemon_socket_path() : "";
  const Session session;
  if (accepted(&alert)) {
    return options.wait ? wait_for_delivery(alert, socket, options.timeout_s) : kDone;
  }
  throw Failure(kFailed, "the alert was not accepted: " + intake_fault() + " (details in " +
                             diagnostic_log_path() + ")");
}

}  // namespace

Action define_raise(CLI::App& app) {
  add_examples(app, kExamples);
  const auto options = std::make_shared<RaiseOptions>();
  add_option(app, "MESSAGE", options->message,
             "The message, " + text_range(text_limit(kNoAlert.szAlertMessage)) +
                 "; \"-\" takes one line of standard input")
      .required()
      .type_name("");
  add_text_option(app, "-i,--event", options->event, text_limit(kNoAlert.szEventID), "Event id")
      .required();
  add_text_option(app, "-m,--module", options->module, text_limit(kNoAlert.szModType),
                  "Module that raises it")
      .required();
  add_level_option(app, options->level, "Level");
  add_text_option(app, "-s,--server", options->server, text_limit(kNoAlert.szServer),
                  "Server that it concerns (default: this one; a server with peers keeps its\n"
                  "alerts under its own name)");
  add_option(app, "--time", options->time,
             "Local time of the event, YYYY/MM/DD HH:MM:SS[.mmm] (default: now)")
      .type_name("TIME")
      .transform(stored_time());
  add_flag(app, "--wait", options->wait,
           "Wait until it is stored and every server that can be reached has acknowledged it");
  add_option(app, "--timeout", options->timeout_s, "How long --wait waits, in seconds")
      .type_name("SECONDS")
      .check(number_from_1())
      .shows_default();
  return [options] { return raise_alert(*options); };
}

}  // namespace qel::cli
