// qelalert follow: shows alerts as they come.
#include "commands/follow.h"

#include <time.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "alerts/seen_alerts.h"
#include "alerts/session.h"
#include "alerts/snapshot.h"
#include "alerts/store.h"
#include "commands/command.h"
#include "commands/log_watch.h"
#include "commands/options.h"
#include "commands/presentation.h"
#include "commands/selection.h"
#include "output/out.h"

namespace qel::cli {
namespace {

constexpr char kExamples[] =
    "  qelalert follow\n"
    "  qelalert follow -p 1..2 -s node1\n"
    "  qelalert follow -n 0 -o json | while read -r alert; do ...; done";

constexpr int kWaitMax_ms = 1000;  // also without a notice the log is looked at so often
constexpr long kPause_ms = 100;    // between two readings of the log, which each read it whole

void pause() {
  const timespec time{0, kPause_ms * 1000000};
  nanosleep(&time, nullptr);
}

class Follower {
 public:
  explicit Follower(const FollowRequest& request)
      : request_(request), printer_(request.presentation) {}

  void run() {
    LogWatch watch(log_path());
    resumed_ = !request_.cursor_file.empty() && seen_.load(request_.cursor_file);
    printer_.print_head();
    for (bool look = true;; look = watch.wait(kWaitMax_ms)) {
      if (!look) continue;
      if (const auto snapshot = read_log()) show(seen_.take_new(snapshot->alerts()));
      pause();
    }
  }

 private:
  // A log that cannot be read now, since it was deleted or is damaged, comes again.
  std::optional<Snapshot> read_log() {
    try {
      std::optional<Snapshot> snapshot(std::in_place);
      trouble_.clear();
      return snapshot;
    } catch (const NoLog& missing) {
      resumed_ = true;  // all that a new log holds comes after the beginning
      tell(missing.what());
    } catch (const Failure& failure) {
      tell(failure.what());
    }
    return std::nullopt;
  }

  void tell(const std::string& trouble) {
    if (trouble_ != trouble) message(trouble + "; waiting for it");
    trouble_ = trouble;
  }

  void show(const AlertList& fresh) {
    AlertList wanted;
    for (const ALERT_RECORD_INFO* alert : fresh) {
      if (matches(request_.query, *alert)) wanted.push_back(alert);
    }
    if (!resumed_ && wanted.size() > request_.first) {
      wanted.erase(wanted.begin(), wanted.end() - static_cast<ptrdiff_t>(request_.first));
    }
    resumed_ = true;
    printer_.print_batch(wanted);
    flush_output();
    if (!request_.cursor_file.empty() && !fresh.empty()) seen_.save(request_.cursor_file);
  }

  const FollowRequest& request_;
  AlertPrinter printer_;
  SeenAlerts seen_;
  bool resumed_ = false;  // false: the first alerts are those that were there before
  std::string trouble_;   // why the log could not be read last
};

struct FollowOptions {
  Query query;
  PresentationOptions presentation;
  int first = 10;
  std::string cursor_file;
};

ExitCode follow(const FollowOptions& options) {
  check_period(options.query);
  const Presentation presentation = presentation_of(options.presentation, "short");
  follow_alerts(
      {options.query, presentation, static_cast<size_t>(options.first), options.cursor_file});
}

}  // namespace

void follow_alerts(const FollowRequest& request) {
  const Session session;
  Follower(request).run();
  throw Failure(kFailed, "following the alert log ended");  // not reached
}

Action define_follow(CLI::App& app) {
  add_examples(app, kExamples);
  const auto options = std::make_shared<FollowOptions>();
  add_selection_options(app, options->query);
  add_option(app, "-n,--lines", options->first, "Newest alerts shown at the beginning")
      .type_name("COUNT")
      .check(number_from_0())
      .shows_default();
  add_cursor_option(app, options->cursor_file);
  add_presentation_options(app, options->presentation, "short");
  return [options] { return follow(*options); };
}

}  // namespace qel::cli
