#include "arrivals.h"

#include <fcntl.h>
#include <qelipc.h>

#include <fstream>
#include <stdexcept>

#include "alert_log/layout.h"
#include "cluster_alerts.h"
#include "support/files.h"
#include "support/records.h"
#include "unique_fd.h"

namespace qel::system_test {
namespace {

constexpr int kLook_ms = 100;  // also without an event

// A log that only grows.
class GrowingLog {
 public:
  explicit GrowingLog(const Server& server)
      : server_(server), file_(open(server.store("alertlog.alt").c_str(), O_RDONLY | O_CLOEXEC)) {
    char head[kHeaderSearch] = {};
    if (!file_ || pread(file_.get(), head, sizeof head, 0) <= 0) {
      throw std::runtime_error("no log of " + server.host());
    }
    header_ = std::string(head, sizeof head).find("\n\n") + 2;
  }

  size_t taken() const { return taken_; }

  // Hands every counted record that it has not yet handed on to `take`.
  template <typename Take>
  void take_new(Take take) {
    for (const size_t count = alerts_held(server_); taken_ < count; ++taken_) {
      char line[kRecordLine];
      const auto at = static_cast<off_t>(header_ + taken_ * kRecordLine);
      ALERT_RECORD_INFO record;
      if (pread(file_.get(), line, sizeof line, at) != static_cast<ssize_t>(sizeof line) ||
          !parse_record(line, &record)) {
        throw std::runtime_error("a counted line cannot be read");
      }
      take(record);
    }
  }

 private:
  const Server& server_;
  UniqueFd file_;
  size_t header_ = 0;
  size_t taken_ = 0;
};

}  // namespace

ArrivalWatch::ArrivalWatch(const Server& server, size_t expected, std::chrono::seconds patience)
    : notes_(server.path("arrivals")),
      watch_([this, &server, expected, patience] { return run(server, expected, patience); }) {}

int ArrivalWatch::run(const Server& server, size_t expected, std::chrono::seconds patience) const {
  server.enter();
  GrowingLog log(server);
  std::vector<Arrival> arrivals;
  const auto deadline = std::chrono::steady_clock::now() + patience;
  unsigned seen = 0;
  while (log.taken() < expected && std::chrono::steady_clock::now() < deadline) {
    if (semevt_wait_alert(&seen, kLook_ms) < 0) throw std::runtime_error("no new-alert event");
    const int64_t now_ns = monotonic_ns();
    log.take_new([&](const ALERT_RECORD_INFO& alert) {
      arrivals.push_back({alert.szServer, now_ns - raised_ns(alert.szAlertMessage)});
    });
  }
  std::ofstream notes(notes_);
  for (const auto& [raiser, after_ns] : arrivals) notes << raiser << ' ' << after_ns << '\n';
  return notes.flush() && log.taken() == expected ? 0 : 1;
}

std::vector<ArrivalWatch::Arrival> ArrivalWatch::arrivals() const {
  std::vector<Arrival> arrivals;
  std::ifstream notes(notes_);
  for (Arrival arrival; notes >> arrival.server >> arrival.after_ns;) arrivals.push_back(arrival);
  return arrivals;
}

}  // namespace qel::system_test
