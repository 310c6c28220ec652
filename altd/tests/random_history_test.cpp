// The send history beside its plain rules: random requests, replies, repetitions and expiries.
// After each of them both must hold the same.
#include <gtest/gtest.h>

#include "model/history_model.h"
#include "support/messages.h"
#include "support/protocol_test.h"
#include "support/random.h"
#include "support/tick_clock.h"

namespace alt_test {
namespace {

using alt_model::HistoryModel;

const std::map<std::string, std::string> kServers = {{kOwn[0], "node1"},   {kOwn[1], "node1"},
                                                     {kNode2[0], "node2"}, {kNode2[1], "node2"},
                                                     {kNode3[0], "node3"}, {kNode3[1], "node3"}};
const std::vector<std::string> kAddresses = {kNode2[0], kNode2[1], kNode3[0], kNode3[1],
                                             kOwn[1],   kStranger, ""};
const std::vector<uint32_t> kTypes = {1, 3, 5, 7, 8, 9, 0xa};

class RandomHistory : public ProtocolTest {
 protected:
  void run(uint64_t seed, int operations, int sequences) {
    random_ = Random(seed);
    model_ = {};
    reset();
    for (int i = 0; i < operations; ++i) {
      operate(sequences);
      ASSERT_EQ(library_text(), model_text()) << "operation " << i;
    }
    reset();
  }

 private:
  static void reset() {
    init_send_hist();
    release_svrlist(&servers_not_reply);
    g_sync_step = RESYN_END;
  }
  void operate(int sequences) {
    clock_.advance(random_.between(0, 30));
    const int sequence = random_.between(0, sequences);
    const int action = random_.between(0, 99);
    if (action < 55) {
      file(sequence);
    } else if (action < 65) {
      EXPECT_EQ(find_seq(sequence) == 0, model_.has(sequence));
    } else if (action < 75) {
      answer(sequence);
    } else if (action < 85) {
      acknowledge(sequence);
    } else if (action < 90) {
      expire();
    } else if (action < 99) {
      model_.step = g_sync_step = random_.between(0, 6);
    } else {
      repeat();
    }
  }
  // All messages of a node share the payload of its first, if it has one.
  void file(int sequence) {
    const alt_model::Waiting waiting = {random_.pick(kTypes), random_.pick(kAddresses)};
    const uint32_t device = waiting.address.rfind("127.0.2.", 0) == 0 ? 2 : 1;
    Message msg = make_message({.type = waiting.type,
                                .sequence = static_cast<uint32_t>(sequence),
                                .dst = waiting.address,
                                .reserve2 = device});
    if (find_seq(sequence) == 0) {
      msg->msg_data = currecord_send->msg->msg_data;
    } else if (random_.chance(50)) {
      msg->msg_data = heap_copy(std::string(4024, 'p'));
    }
    if (msg->msg_data != nullptr) msg->msg_head->data_len = 4024;
    EXPECT_EQ(add_to_send_hist(msg.release()) == 0, model_.add(sequence, waiting, clock_.now()));
  }
  void answer(int sequence) {
    const Received reply(
        datagram({.type = 0x10000003, .sequence = static_cast<uint32_t>(sequence)}));
    del_from_send_hist(reply.msg());
    model_.remove(sequence);
  }
  void acknowledge(int sequence) {
    const bool acknowledges = random_.chance(80);
    const Received reply(datagram({.type = acknowledges ? 0x10000001U : random_.pick(kTypes),
                                   .sequence = static_cast<uint32_t>(sequence)}));
    EXPECT_EQ(should_drop_message(reply.msg()) == 0, acknowledges);
    if (acknowledges) model_.remove(sequence);
  }
  void expire() {
    current_ratio = random_.between(0, 2);
    g_resend_timeout = random_.between(0, 3);
    g_alert_retry_count = random_.between(0, 3);
    tckconf = random_.between(1, 100);
    const int64_t seconds = current_ratio * g_resend_timeout * g_alert_retry_count + 1;
    dropmsg_from_list();
    model_.drop(clock_.now(), seconds * tckconf, kServers);
    if (random_.chance(30)) {
      release_svrlist(&servers_not_reply);
      model_.silent.clear();
    }
  }
  // What leaves, in its order: each address keeps it.
  void repeat() {
    std::map<std::string, Texts> expected;
    for (const HistoryModel::Node& node : model_.nodes) {
      for (const alt_model::Waiting& waiting : node.messages) {
        if (!waiting.address.empty()) {
          expected[waiting.address].push_back(word(waiting.type) +
                                              word(static_cast<uint32_t>(node.sequence)));
        }
      }
    }
    re_send_msg();
    std::map<std::string, Texts> sent;
    for (const Datagram& datagram : wire_.take()) {
      sent[datagram.to].push_back(datagram.bytes.substr(4, 8));
    }
    EXPECT_EQ(sent, expected);
  }

  static std::string library_text() {
    std::string text;
    for (const al_msg_send_hist* node = send_hist.next; node != nullptr; node = node->next) {
      text += std::to_string(node->sequence) + " at " + std::to_string(node->startcl) + ":";
      for (const al_msg* msg = node->msg; msg != nullptr; msg = msg->next) {
        text += " " + std::to_string(msg->msg_head->msg_type) + ">" + msg->msg_head->dst_addr;
      }
      text += "\n";
    }
    text += "step " + std::to_string(g_sync_step);
    for (const std::string& name : names_of(servers_not_reply)) text += " silent " + name;
    return text;
  }
  std::string model_text() const {
    std::string text;
    for (const HistoryModel::Node& node : model_.nodes) {
      text += std::to_string(node.sequence) + " at " + std::to_string(node.filed) + ":";
      for (const alt_model::Waiting& waiting : node.messages) {
        text += " " + std::to_string(waiting.type) + ">" + waiting.address;
      }
      text += "\n";
    }
    text += "step " + std::to_string(model_.step);
    for (const std::string& name : model_.silent) text += " silent " + name;
    return text;
  }

  Random random_{0};
  HistoryModel model_;
  StoppedClock clock_{1000000};
};

TEST_F(RandomHistory, HoldsWhatThePlainRulesHold) {
  log_.set_levels(kFailures);
  for (const uint64_t seed : test_seeds({1, 2, 3, 4, 5, 6})) {
    SCOPED_TRACE(repeat_command(seed));
    Random random(~seed);
    ASSERT_NO_FATAL_FAILURE(run(seed, 1500, random.between(1, 60)));
    ASSERT_FALSE(HasFailure());
  }
  log_.set_levels(~0);
}

}  // namespace
}  // namespace alt_test
