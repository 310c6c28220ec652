// A catch-up with "node2", led from step to step by what that server answers.
#pragma once

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>
#include <vector>

#include "cluster_fixture.h"

namespace qel::daemon_test {

class CatchUpTest : public ClusterTest {
 protected:
  // What has come since the last call: "address type sequence", the type in hexadecimal; of a data
  // request also the id from which on alerts are asked for.
  Texts sent() {
    Texts texts;
    for (const alt_test::Datagram& datagram : wire_.take()) {
      Arrival arrival("", datagram.bytes);
      const al_msg_header head = daemon::header_of(arrival.datagram());
      char text[128];
      snprintf(text, sizeof text, "%s 0x%x %u", datagram.to.c_str(), head.msg_type, head.sequence);
      texts.emplace_back(text);
      if (head.msg_type == AL_MSGTYPE_SYNC_REQUEST_DATA) {
        texts.back() += " from " + std::to_string(number_at(datagram.bytes, AL_MSG_HEADER_SIZE));
      }
    }
    return texts;
  }

  // The daemon starts with a log that was there. What it asks about its own ids is answered.
  void start() {
    protocol_.start();
    init_send_hist();
    sequencenum = 1;
    start_count_time_for_maxalertid_localserver = 0;
    wire_.take();
  }
  void check() { tick_with(&check_newsvr_now); }
  void names_are_over() { tick_with(&sync_single_svrname_now); }
  void ids_are_over() { tick_with(&sync_single_altid_now); }

  // Answers to the last request, from "node2".
  void names_come(const Texts& names, const char* from = kNode2[0]) {
    receive(from, {.type = 0x10000003, .sequence = sequencenum - 1},
            alt_test::names_payload(names));
  }
  void id_comes(const std::string& server, uint32_t id, const char* from = kNode2[0]) {
    receive(from, {.type = 0x10000005, .sequence = sequencenum - 1},
            alt_test::sync_payload({.alert_id = id, .sync_svr = server, .reply_svr = "node2"}));
  }
  void records_come(const std::vector<ALERT_RECORD_INFO>& records, const char* from = kNode2[0]) {
    receive(from,
            {.type = 0x10000007,
             .sequence = sequencenum - 1,
             .reserve1 = static_cast<uint32_t>(records.size())},
            alt_test::data_payload(records));
  }
  void alerts_come(const std::string& server, std::initializer_list<uint32_t> ids,
                   const char* from = kNode2[0]) {
    std::vector<ALERT_RECORD_INFO> records;
    for (const uint32_t id : ids) records.push_back(alert_of(server, id));
    records_come(records, from);
  }

  // Each leads on from the one before it; what was sent on the way has been taken from the wire.
  void lead_to_names() {
    start();
    check();
    ASSERT_EQ(REQ_NAME, g_sync_step);
    wire_.take();
  }
  void lead_to_ids(const Texts& names) {
    lead_to_names();
    names_come(names);
    names_are_over();
    ASSERT_EQ(REQ_ALTID, g_sync_step);
    wire_.take();
  }
  // The data request has left.
  void lead_to_data(const std::string& server, uint32_t highest) {
    lead_to_ids({server});
    id_comes(server, highest);
    ids_are_over();
    ASSERT_EQ(REQ_DATA, g_sync_step);
  }

  // The run has ended, and its peer comes again after the others.
  void expect_ended_with_a_retry(const Texts& list = {"node2", "node3", "node2"}) {
    EXPECT_EQ(RESYN_END, g_sync_step);
    EXPECT_EQ(list, alt_test::names_of(new_server_list));
    EXPECT_EQ(1, check_newsvr_flag);
  }
  void expect_counted(uint64_t finished, uint64_t given_up) {
    EXPECT_EQ(finished, protocol_.catch_up().counters().finished);
    EXPECT_EQ(given_up, protocol_.catch_up().counters().given_up);
  }

 private:
  static uint32_t number_at(const std::string& bytes, size_t offset) {
    uint32_t number = 0;
    for (size_t i = 0; i < 4; ++i) {
      number = number << 8 | static_cast<unsigned char>(bytes.at(offset + i));
    }
    return number;
  }
};

}  // namespace qel::daemon_test
