// A test that leads a resynchronisation with the peer "node2" from step to step, as the daemon and
// the peer would.
#ifndef QEL_ALTD_TESTS_SUPPORT_RESYNC_TEST_H
#define QEL_ALTD_TESTS_SUPPORT_RESYNC_TEST_H

#include "support/protocol_test.h"

namespace alt_test {

class ResyncTest : public ProtocolTest {
 protected:
  ResyncTest() { put(&new_server_list, {"node2"}); }

  // What the peer sends; the results of the handlers.
  static int names_come(const Texts& names, uint32_t sequence = 1, const char* addr = kNode2[0]) {
    Received received(datagram({.type = 0x10000003, .sequence = sequence}, names_payload(names)));
    return recv_reply_single_server_name_msg(received.msg(), received.buf(), addr);
  }
  static int id_comes(const Sync& sync, uint32_t sequence = 2, const char* addr = kNode2[0]) {
    Received received(datagram({.type = 0x10000005, .sequence = sequence}, sync_payload(sync)));
    return recv_reply_single_alert_id_msg(received.msg(), received.buf(), addr);
  }
  static int alerts_come(const std::vector<ALERT_RECORD_INFO>& records, uint32_t sequence = 3,
                         const char* addr = kNode2[0]) {
    Received received(datagram({.type = 0x10000007,
                                .sequence = sequence,
                                .reserve1 = static_cast<uint32_t>(records.size())},
                               data_payload(records)));
    return recv_reply_single_data_msg(received.msg(), received.buf(), addr);
  }
  static std::vector<ALERT_RECORD_INFO> alerts_of(const std::string& server,
                                                  std::initializer_list<uint32_t> ids) {
    std::vector<ALERT_RECORD_INFO> records;
    for (const uint32_t id : ids) {
      records.push_back(make_record(id));
      set_text(records.back().szServer, server);
    }
    return records;
  }

  // Each leads on from the one before it; what they sent has been taken from the wire. The requests
  // have the sequences 1, 2 and 3.
  void lead_to_req_name() {
    g_last_resync_time = QEL_TIMES(nullptr);  // as the check for new servers does
    ASSERT_EQ(request_single_svrname(), 0);
    wire_.take();
  }
  void lead_to_rcv_name(const Texts& names) {
    lead_to_req_name();
    ASSERT_EQ(names_come(names), 0);
  }
  void lead_to_req_altid(const Texts& names) {
    lead_to_rcv_name(names);
    ASSERT_EQ(sync_other_single_svrname(), 0);
    wire_.take();
  }
  void lead_to_rcv_altid(const Texts& names, uint32_t highest) {
    lead_to_req_altid(names);
    ASSERT_EQ(id_comes({.alert_id = highest, .sync_svr = names[0], .reply_svr = "node2"}), 0);
  }
  // The daemon sets the range to fetch.
  void lead_to_req_data(const Texts& names, uint32_t from, uint32_t highest) {
    lead_to_rcv_altid(names, highest);
    sync_single_data.max_alert_id = sync_single_data.alert_id;
    sync_single_data.alert_id = from;
    ASSERT_EQ(request_single_data(&sync_single_data), 0);
    wire_.take();
  }
};

}  // namespace alt_test

#endif
