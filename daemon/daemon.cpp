#include "daemon.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/inotify.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <systemd/sd-daemon.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>

#include "alert_log.h"
#include "alert_msg.h"
#include "cluster/membership.h"
#include "common/paths.h"
#include "delivery_report.h"
#include "index_check.h"
#include "log.h"
#include "log_header.h"
#include "recovery.h"
#include "status_report.h"
#include "unique_fd.h"
#include "version.h"

namespace qel::daemon {

namespace {

constexpr uint64_t kTickUsec = 1000000;          // the settings of the protocol count in these
constexpr char kStoreLock[] = "qelalertd.lock";  // in the store's directory

std::string now_text() {
  char text[ALERT_TIME_SIZE];
  get_current_localtime(text, sizeof text);
  return text;
}

bool failed(int result, const char* what, std::string* error) {
  if (result >= 0) return false;
  *error = std::string(what) + " cannot be set up: " + strerror(-result);
  return true;
}

// Whoever makes a semaphore owns it, and what belongs to an ordinary user may go when that user
// logs out. So none is left for another program to make. A failure is logged, and comes again where
// a semaphore is needed.
void make_semaphores() {
  for (const char* name : {kSemaphoreIndex, kSemaphoreCreate, kSemaphoreIntake}) {
    (void)get_semaphore(semaphore_path(name).text);
  }
}

// Keeps `source` when it could be made.
bool keep(int result, sd_event_source* source, Source* owner, const char* what,
          std::string* error) {
  if (failed(result, what, error)) return false;
  owner->reset(source);
  return true;
}

}  // namespace

Daemon::Daemon()
    : sockets_(
          [this](const Datagram* datagrams, size_t count) { protocol_.receive(datagrams, count); }),
      status_({{"status",
                [this](const nlohmann::json&) {
                  return status_report({started_, intake_, protocol_, sockets_.dropped()});
                }},
               {"delivery", [this](const nlohmann::json& request) {
                  return delivery_report(request, protocol_.peers(), ids_before_);
                }}}) {}

Daemon::~Daemon() {
  init_send_hist();
  release_servers();
}

bool Daemon::start(std::string* error) {
  started_ = now_text();
  if (!load_configuration(&settings_, error)) return false;
  DAEMON_LOG(kNotable, "qelalertd %s starts", kVersion);
  const struct rlimit core = {static_cast<rlim_t>(alt_rlimit_core < 0 ? 0 : alt_rlimit_core),
                              RLIM_INFINITY};
  if (alt_rlimit_core > 0) setrlimit(RLIMIT_CORE, &core);
  event_ = make_event_loop();
  if (event_ == nullptr) {
    *error = std::string("the event loop cannot be made: ") + strerror(errno);
    return false;
  }
  // The sockets come before the log: making a new log asks the other servers.
  sockets_open_ =
      take_instances(error) && join_cluster(error) && sockets_.open(event_.get(), error);
  return sockets_open_ && open_store(error) && make_sources(error) &&
         status_.listen(event_.get(), settings_.socket, error);
}

// The directories are made here with a usual mode; the library's own would keep a non-root owner
// from writing.
bool Daemon::take_instances(std::string* error) {
  return pid_file_.take(settings_.pid_file, error) &&
         make_parent_directory(std::string(alt_cmd_path) + ".", error) &&
         store_lock_.take(store_path(kStoreLock).text, error);
}

bool Daemon::join_cluster(std::string* error) {
  std::vector<ServerEntry> servers;
  MembershipChange change;
  if (!local_server_name(&local_name_, error) || !read_servers(&servers, error) ||
      !install_servers(servers, local_name_, &change, error)) {
    return false;
  }
  warn_about(servers);
  Protocol::prepare();
  return true;
}

void Daemon::warn_about(const std::vector<ServerEntry>& servers) const {
  for (const std::string& warning : server_warnings(servers, local_name_)) {
    DAEMON_LOG(kMinor, "%s", warning.c_str());
  }
}

bool Daemon::open_store(std::string* error) {
  make_semaphores();
  const bool unclean = store_lock_.found_unclean();
  if (unclean) mend_files();
  // Opening makes a missing log, and judges one that does not fit its header.
  if (check_file_size() < 0 && check_file_size() < 0) {
    *error = std::string("the alert log ") + store_path(alt_name_only).text +
             " cannot be opened; the diagnostic log says why";
    return false;
  }
  if (!unclean) {
    if (!mend_indexes()) log_sync_.indexes().doubt();
  } else if (complete_interrupted_store() != 0) {
    DAEMON_LOG(kFailure, "the alert log could not be mended completely");
    log_sync_.indexes().doubt();
  }
  fit_capacity();
  const UniqueFd intake(open_file(alt_name_temp, O_RDWR));
  if (!intake) {
    *error = std::string("the intake file ") + store_path(alt_name_temp).text +
             " cannot be opened; the diagnostic log says why";
    return false;
  }
  ids_before_ = current_alert_id();
  protocol_.start();
  return true;
}

// Never for the capacity that the log has: that would ruin a full one.
void Daemon::fit_capacity() {
  if (check_file_size() != 1) return;
  DAEMON_LOG(kNotable, "the alert log gets the capacity %d", alt_max_count);
  const uint32_t given = current_alert_id();
  if (adjust_alert_record(alt_max_count) != 0) {
    DAEMON_LOG(kFailure, "the capacity of the alert log could not be changed");
  }
  keep_alert_id(given);
}

bool Daemon::make_sources(std::string* error) {
  sd_event* event = event_.get();
  sd_event_source* source = nullptr;
  int result =
      sd_event_add_time_relative(event, &source, CLOCK_MONOTONIC, kTickUsec, 0, on_tick, this);
  if (!keep(result, source, &tick_, "the tick", error)) return false;
  result = sd_event_add_defer(event, &source, on_drain, this);
  if (!keep(result, source, &drain_, "the intake", error)) return false;
  result = sd_event_add_signal(event, &source, SIGTERM, on_stop, this);
  if (!keep(result, source, &stop_term_, "SIGTERM", error)) return false;
  result = sd_event_add_signal(event, &source, SIGINT, on_stop, this);
  if (!keep(result, source, &stop_int_, "SIGINT", error)) return false;
  result = sd_event_add_signal(event, &source, SIGHUP, on_reload, this);
  if (!keep(result, source, &reload_, "SIGHUP", error)) return false;
  watch_intake();
  return true;
}

// Watches the file that programs append to at the moment; a file that was replaced is found by the
// tick.
void Daemon::watch_intake() {
  sd_event_source* source = nullptr;
  const uint32_t mask = IN_MODIFY | IN_DELETE_SELF | IN_MOVE_SELF;
  const int result = sd_event_add_inotify(event_.get(), &source, store_path(alt_name_temp).text,
                                          mask, on_intake, this);
  if (result < 0) {
    DAEMON_LOG(kMinor, "the intake cannot be watched: %s", strerror(-result));
  } else {
    intake_watch_.reset(source);
  }
}

int Daemon::run() {
  sd_event_set_watchdog(event_.get(), 1);
  tell_service_manager("READY=1");
  const int result = sd_event_loop(event_.get());
  tell_service_manager("STOPPING=1");
  DAEMON_LOG(kNotable, "qelalertd ends");
  store_lock_.end_clean();
  pid_file_.end_clean();
  if (result < 0) DAEMON_LOG(kFailure, "the event loop failed: %s", strerror(-result));
  return result == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

void Daemon::tell_service_manager(const char* state) {
  const uint64_t stored = intake_.counters().stored + protocol_.stored();
  sd_notifyf(0, "%s\nSTATUS=%llu alerts stored, %llu set aside", state,
             static_cast<unsigned long long>(stored),
             static_cast<unsigned long long>(intake_.counters().set_aside));
}

int Daemon::on_tick(sd_event_source* source, uint64_t due, void* self) {
  static_cast<Daemon*>(self)->tick();
  // Steady: from when it was due, not from when it ran; ticks that were missed are not made up.
  uint64_t now = due;
  sd_event_now(sd_event_source_get_event(source), CLOCK_MONOTONIC, &now);
  const uint64_t next = due + kTickUsec;
  sd_event_source_set_time(source, next > now ? next : now + kTickUsec);
  return sd_event_source_set_enabled(source, SD_EVENT_ONESHOT);
}

void Daemon::tick() {
  protocol_.tick();
  if (!sockets_open_) open_sockets_again();
  if (intake_watch_ == nullptr) watch_intake();
}

void Daemon::receive_waiting() { sockets_.receive_waiting(); }

void Daemon::check_servers() { read_servers_again(); }

// Also what an earlier round left after trouble.
void Daemon::drain_intake() {
  if (intake_.waiting_bytes() > 0) drain_soon();
}

int Daemon::on_intake(sd_event_source*, const struct inotify_event* change, void* self) {
  auto* daemon = static_cast<Daemon*>(self);
  if ((change->mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED)) != 0) {
    daemon->intake_watch_.reset();
  }
  daemon->drain_soon();
  return 0;
}

void Daemon::drain_soon() { sd_event_source_set_enabled(drain_.get(), SD_EVENT_ONESHOT); }

int Daemon::on_drain(sd_event_source*, void* self) {
  auto* daemon = static_cast<Daemon*>(self);
  if (start_write_local_logfile == 0) return 0;
  // After trouble the tick tries again.
  if (daemon->intake_.round() == IntakeDrain::Outcome::kMore) daemon->drain_soon();
  return 0;
}

int Daemon::on_stop(sd_event_source* source, const struct signalfd_siginfo*, void*) {
  return sd_event_exit(sd_event_source_get_event(source), 0);
}

int Daemon::on_reload(sd_event_source*, const struct signalfd_siginfo*, void* self) {
  static_cast<Daemon*>(self)->reload();
  return 0;
}

// Another list of servers, or none that can be read: then the old one stays.
void Daemon::read_servers_again() {
  std::vector<ServerEntry> servers;
  MembershipChange change;
  std::string error;
  if (!read_servers(&servers, &error) ||
      !protocol_.change_servers(servers, local_name_, &change, &error)) {
    DAEMON_LOG(kFailure, "the servers of the cluster stay as they were: %s", error.c_str());
    return;
  }
  for (const std::string& name : change.added)
    DAEMON_LOG(kNotable, "server %s joins", name.c_str());
  for (const std::string& name : change.removed) {
    DAEMON_LOG(kNotable, "server %s leaves", name.c_str());
  }
  for (const std::string& name : change.changed) {
    DAEMON_LOG(kNotable, "server %s has other addresses", name.c_str());
  }
  if (!change.added.empty() || !change.changed.empty()) warn_about(servers);
  if (change.own_addresses_changed) open_sockets_again();
}

// Tried again by every tick until it succeeds.
void Daemon::open_sockets_again() {
  std::string error;
  sockets_open_ = sockets_.open(event_.get(), &error);
  if (!sockets_open_) DAEMON_LOG(kFailure, "%s", error.c_str());
}

void Daemon::reload() {
  tell_service_manager("RELOADING=1");
  std::string error;
  if (load_configuration(&settings_, &error)) {
    DAEMON_LOG(kNotable, "the configuration was read again");
    fit_capacity();
    read_servers_again();
  } else {
    DAEMON_LOG(kFailure, "the configuration stays as it was: %s", error.c_str());
  }
  tell_service_manager("READY=1");
}

}  // namespace qel::daemon
