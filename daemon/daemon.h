// The alert daemon of one server.
#pragma once

#include <string>
#include <vector>

#include "cluster/protocol.h"
#include "cluster/server_file.h"
#include "cluster/udp_sockets.h"
#include "event_loop.h"
#include "instance.h"
#include "intake_drain.h"
#include "log_sync.h"
#include "settings.h"
#include "status_socket.h"

namespace qel::daemon {

// Owns the store: it is the only process that writes records. Everything runs on one thread, the
// event loop's; calls of the library never overlap.
class Daemon : private ProtocolHost {
 public:
  Daemon();
  ~Daemon() override;
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;

  // Everything up to the first event. False with the reason in *error.
  bool start(std::string* error);

  // Serves until SIGTERM or SIGINT; the process's exit status.
  int run();

 private:
  static int on_tick(sd_event_source*, uint64_t, void* self);
  static int on_intake(sd_event_source*, const struct inotify_event* change, void* self);
  static int on_drain(sd_event_source*, void* self);
  static int on_stop(sd_event_source*, const struct signalfd_siginfo* signal, void* self);
  static int on_reload(sd_event_source*, const struct signalfd_siginfo*, void* self);

  bool take_instances(std::string* error);
  bool open_store(std::string* error);
  bool make_sources(std::string* error);
  bool join_cluster(std::string* error);
  void fit_capacity();
  void watch_intake();
  void read_servers_again();
  void open_sockets_again();
  void warn_about(const std::vector<ServerEntry>& servers) const;
  void drain_soon();
  void tick();
  void reload();
  void tell_service_manager(const char* state);

  void receive_waiting() override;
  void check_servers() override;
  void drain_intake() override;

  Settings settings_;
  Instance pid_file_;
  Instance store_lock_;
  LogSync log_sync_{settings_};
  IntakeDrain intake_{settings_, &log_sync_};
  Protocol protocol_{settings_, &log_sync_, this};
  std::string local_name_;
  std::string started_;
  uint32_t ids_before_ = 0;  // the highest alert id that was given before this start
  Event event_;
  Source tick_;
  Source drain_;
  Source intake_watch_;
  Source stop_term_;
  Source stop_int_;
  Source reload_;
  UdpSockets sockets_;
  bool sockets_open_ = false;  // false while an own address cannot be listened at
  StatusSocket status_;
};

}  // namespace qel::daemon
