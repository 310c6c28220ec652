// A test in which this process is the daemon of one server of a cluster. The other servers are
// their addresses: what is sent to them arrives, and they answer as the test has it.
#ifndef QEL_ALTD_TESTS_SUPPORT_PROTOCOL_TEST_H
#define QEL_ALTD_TESTS_SUPPORT_PROTOCOL_TEST_H

#include <initializer_list>
#include <string>
#include <vector>

#include "alert_config.h"
#include "alert_log.h"
#include "alert_msg.h"
#include "alert_udp.h"
#include "support/cluster.h"
#include "support/fault_injection.h"
#include "support/files.h"
#include "support/peer.h"
#include "support/records.h"
#include "support/store_bytes.h"
#include "support/temp_store.h"
#include "support/wire.h"

namespace alt_test {

// Each server has an address on interconnect 1 and one on interconnect 2.
inline constexpr const char* kOwn[] = {"127.0.1.1", "127.0.2.1"};
inline constexpr const char* kNode2[] = {"127.0.1.2", "127.0.2.2"};
inline constexpr const char* kNode3[] = {"127.0.1.3", "127.0.2.3"};
inline constexpr const char* kStranger = "127.0.1.9";
// An interconnect on which this server has no address, so that nothing can be sent there.
inline constexpr int kNoInterconnect = 99;

// The new-alert event of the host, for this process alone.
class NewAlertEvent {
 public:
  NewAlertEvent();
  ~NewAlertEvent();
  NewAlertEvent(const NewAlertEvent&) = delete;
  NewAlertEvent& operator=(const NewAlertEvent&) = delete;

  // True when it has been raised since the last call.
  bool raised();

 private:
  unsigned seen_ = 0;
};

// The servers "node1" (this one), "node2" and "node3", in this order. The log is there and empty,
// so that it does not have to be filled from the cluster.
class ProtocolTest : public StoreTest {
 protected:
  ProtocolTest();
  ~ProtocolTest() override;

  // The node of the cluster's list.
  static ty_svrlist* server(const std::string& name);
  static void add_server(const std::string& name, std::initializer_list<const char*> addresses);
  static void keep_only_the_local_server();
  // Nothing can be sent to address `index` of the server any more, in whatever list it stands.
  static void cut_off(ty_svrlist* node, int index);
  static void cut_off(ty_svrlist* node);
  // Appends copies of these servers to a list.
  static void put(ty_svrlist** list, std::initializer_list<const char*> names);

  // Makes an empty log of this capacity.
  static void make_log(int capacity);
  // Stores alerts of a server.
  static void hold(const std::string& server, std::initializer_list<uint32_t> ids);
  // "server:id" of the log's alerts in the order of their lines; nothing without a log.
  Texts held() const;
  // Nobody can read or make this store file any more: a directory has its name.
  void spoil(const char* file_name) const;
  // Puts that right.
  void mend(const char* file_name) const;

  // What has arrived: "from > to type sequence", the type in hexadecimal.
  Texts arrived();
  // Exactly this has arrived.
  void expect_only(const std::string& from, const std::string& to, const std::string& bytes);

  // Files a request, as if it had been sent.
  static void expect_reply_to(uint32_t sequence);
  static bool waits_for(uint32_t sequence) { return find_seq(static_cast<int>(sequence)) == 0; }
  static int requests_waiting();

  bool traced(const std::string& function) const;

  Wire wire_;
  NewAlertEvent event_;

 private:
  static void reset_protocol();
};

// True when the call noted progress of the resynchronisation.
template <typename Call>
bool notes_progress(const Call& call) {
  g_last_resync_time = -1;
  const clock_t before = QEL_TIMES(nullptr);
  call();
  return g_last_resync_time >= before && g_last_resync_time <= QEL_TIMES(nullptr);
}

// Names of a table up to its first empty one.
inline Texts names_in(char (*table)[ALERT_NAME_SIZE]) {
  Texts names;
  for (int i = 0; i < AL_SVRNAME_COUNT && table[i][0] != '\0'; ++i) {
    names.emplace_back(table[i], strnlen(table[i], ALERT_NAME_SIZE));
  }
  return names;
}
void put_names(char (*table)[ALERT_NAME_SIZE], const Texts& names);

}  // namespace alt_test

#endif
