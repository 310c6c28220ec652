// Drives the library's resynchronisation.
#pragma once

#include <cstdint>
#include <string>

#include "alert_msg.h"
#include "alert_udp.h"
#include "cluster/peer_book.h"
#include "settings.h"

namespace qel::daemon {

// The library walks through its states (docs/PROTOCOL.md); what it leaves to its host is decided
// here: whom to start with, what to do when nobody answered, from which id on alerts are fetched,
// when the data requests leave, and what must be cleaned up behind the end of each run.
class CatchUp {
 public:
  struct Counters {
    uint64_t batches = 0;   // data requests that left, without repetitions
    uint64_t finished = 0;  // peers that were synchronised with completely
    uint64_t given_up = 0;  // runs that ended early; the peer gets another one
  };

  CatchUp(const Settings& settings, const PeerBook& peers) : settings_(settings), peers_(peers) {}

  // Puts every other server on new_server_list and arms the check of it.
  void begin();

  // The answers to check_newsvr_now, sync_single_svrname_now and sync_single_altid_now.
  void check_new_servers();
  void names_are_over();
  void ids_are_over();

  // Around every call of the library that may move the resynchronisation: a data reply, a drop, a
  // tick. It finds what changed.
  class Step {
   public:
    explicit Step(CatchUp* owner) : owner_(owner) {}
    ~Step() { owner_->settle(*this); }
    Step(const Step&) = delete;
    Step& operator=(const Step&) = delete;

   private:
    friend class CatchUp;
    CatchUp* owner_;
    const ty_svrlist* peer_ = new_server_list;
    int state_ = g_sync_step;
    al_sync_data cursor_ = sync_single_data;
    uint32_t sequence_ = sequencenum;
  };

  // After a change of the servers; `was_running` tells of the time before it.
  void servers_changed(bool was_running);

  // A new second: as many data requests may leave as the settings allow for one; the one that has
  // waited for it is sent. Now and then another server becomes due for a comparison.
  void tick();

  const Counters& counters() const { return counters_; }

 private:
  void settle(const Step& before);
  void count_end(const Step& before);
  void watch_cursor(const al_sync_data& before);
  bool set_range();
  void next_name_or_peer();
  void send_data_request(uint32_t sequence);
  void recheck();

  const Settings& settings_;
  const PeerBook& peers_;
  Counters counters_;
  int allowance_ = 0;     // data requests that may still leave in this second
  uint32_t waiting_ = 0;  // sequence of a data request that waits for the next second; 0: none
  int ticks_to_recheck_ = 0;
  std::string rechecked_;     // the server that was compared with last
  int standing_batches_ = 0;  // batches in a row that did not move the cursor
};

}  // namespace qel::daemon
