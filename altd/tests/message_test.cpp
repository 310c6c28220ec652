// Messages, and the datagrams that they travel as.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "alert_config.h"
#include "alert_msg.h"
#include "support/fault_injection.h"
#include "support/files.h"
#include "support/log_capture.h"
#include "support/messages.h"
#include "support/peer.h"
#include "support/random.h"
#include "support/records.h"
#include "support/store_bytes.h"

namespace alt_test {
namespace {

class MessageTest : public ::testing::Test {
 protected:
  MessageTest() {
    log_.clear();
    alt_log_handle = log_.handle();
  }
  ~MessageTest() override { alt_log_handle = nullptr; }

  LogCapture& log_ = LogCapture::instance();
};

std::string header_bytes(const al_msg& msg) {
  return {reinterpret_cast<const char*>(msg.msg_head), sizeof(*msg.msg_head)};
}

// No two words of it are alike, and none is the same in both orders.
std::string pattern(size_t size) {
  std::string bytes;
  for (size_t i = 0; i < size; ++i) bytes += static_cast<char>(1 + i % 251);
  return bytes;
}

std::string with_words_turned(std::string bytes, const std::vector<size_t>& offsets) {
  for (const size_t offset : offsets) {
    std::reverse(bytes.begin() + static_cast<ptrdiff_t>(offset),
                 bytes.begin() + static_cast<ptrdiff_t>(offset + 4));
  }
  return bytes;
}

// ---- messages -----------------------------------------------------------------------------------

TEST_F(MessageTest, NewMessageIsOfVersionOneAndOtherwiseEmpty) {
  const Message msg(al_msg_new());
  ASSERT_NE(msg, nullptr);
  ASSERT_NE(msg->msg_head, nullptr);
  EXPECT_EQ(msg->msg_data, nullptr);
  EXPECT_EQ(msg->next, nullptr);
  EXPECT_EQ(msg->msg_head->version, 1U);
  EXPECT_EQ(header_bytes(*msg).substr(4), std::string(68, '\0'));
}

TEST_F(MessageTest, WithoutMemoryThereIsNoNewMessage) {
  const int runs = for_each_call(
      Site::kAllocate, ENOMEM, [&] { log_.clear(); },
      [&] {
        const Message msg(al_msg_new());
        EXPECT_EQ(msg == nullptr, log_.has(kFailures, "malloc failed"));
      });
  EXPECT_GE(runs, 1);
}

TEST_F(MessageTest, DeletedMessageTakesItsPayloadWithIt) {
  Message msg = make_message({}, "payload");
  EXPECT_NE(msg->msg_data, nullptr);
  msg.reset();  // a leak of either is the sanitizer's to report
  al_msg_del(nullptr);
}

TEST_F(MessageTest, FirstSequenceIsOne) { EXPECT_EQ(sequencenum, 1U); }

TEST_F(MessageTest, NumbersOfAHeaderAreTurnedAroundAndBack) {
  al_msg_header header = {1, 0x10000007, 0x01020304, 4024, "10.0.0.1", 3, 0xfffefdfc};
  const std::string before(reinterpret_cast<const char*>(&header), sizeof(header));
  hton_msg_header(&header);
  const std::string wire(reinterpret_cast<const char*>(&header), sizeof(header));
  EXPECT_EQ(wire, word(1) + word(0x10000007) + word(0x01020304) + word(4024) +
                      field("10.0.0.1", 48) + word(3) + word(0xfffefdfc));
  ntoh_msg_header(&header);
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(&header), sizeof(header)), before);
}

// ---- the bytes of a datagram --------------------------------------------------------------------

TEST_F(MessageTest, HeartbeatIsTheseBytes) {
  const Message msg = make_message({.type = AL_MSGTYPE_SYNC_SEND_SERVER_STATUS,
                                    .sequence = 0x0a0b0c0d,
                                    .dst = "192.168.1.5",
                                    .reserve2 = 2});
  constexpr char kBytes[] =
      "\x00\x00\x00\x01\x00\x00\x00\x09\x0a\x0b\x0c\x0d\x00\x00\x00\x00"
      "192.168.1.5\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0"
      "\x00\x00\x00\x00\x00\x00\x00\x02";
  ASSERT_EQ(sizeof(kBytes), 73U);
  EXPECT_EQ(encoded(msg.get()), std::string(kBytes, 72));
}

TEST_F(MessageTest, RequestAboutAnIdIsTheseBytes) {
  static al_sync_data sync;  // static: its fill, which travels as well, is zero
  sync.alert_id = 7;
  set_text(sync.sync_svr, "node1");
  set_text(sync.reply_svr, "node2");
  sync.max_alert_id = 0x00010203;
  sync.sync_flg = 0x80000001;
  const Message msg =
      make_message({.type = AL_MSGTYPE_SYNC_REQUEST_ALERT_ID, .sequence = 1, .dst = "fe80::1"},
                   {reinterpret_cast<const char*>(&sync), sizeof(sync)});
  const std::string payload = std::string("\x00\x00\x00\x07", 4) + field("node1", 65) +
                              field("node2", 65) + std::string(2, '\0') +
                              std::string("\x00\x01\x02\x03\x80\x00\x00\x01", 8);
  EXPECT_EQ(encoded(msg.get()), datagram({.type = 5, .sequence = 1, .dst = "fe80::1"}, payload));
}

TEST_F(MessageTest, AlertIsItsImageWithTheIdInNetworkOrder) {
  const ALERT_RECORD_INFO record = record_of({.id = 0x01020304, .server = "node2"});
  const Message msg = make_message({.type = AL_MSGTYPE_SYNC_SEND_ALERT, .sequence = 9},
                                   {reinterpret_cast<const char*>(&record), sizeof(record)});
  const std::string image(reinterpret_cast<const char*>(&record), sizeof(record));
  ASSERT_EQ(image.size(), 680U);
  EXPECT_EQ(encoded(msg.get()),
            datagram({.type = 1, .sequence = 9}, "\x01\x02\x03\x04" + image.substr(4)));
}

// Which words of a payload travel in network order.
struct Type {
  uint32_t type;
  size_t size;
  uint32_t records;
  std::vector<size_t> words;
};
void PrintTo(const Type& row, std::ostream* out) {
  *out << std::hex << row.type << std::dec << " " << row.records;
}
class TypeTable : public MessageTest, public ::testing::WithParamInterface<Type> {
 protected:
  Header header() const {
    return {.type = GetParam().type,
            .sequence = 3,
            .dst = "10.0.0.1",
            .reserve1 = GetParam().records,
            .reserve2 = 1};
  }
  std::string turned() const {
    return with_words_turned(pattern(GetParam().size), GetParam().words);
  }
};
INSTANTIATE_TEST_SUITE_P(
    MessageTest, TypeTable,
    ::testing::Values(
        Type{0x00000001, 680, 0, {0}}, Type{0x10000001, 10, 0, {}}, Type{0x00000003, 10, 0, {}},
        Type{0x10000003, 66, 0, {}}, Type{0x00000005, 144, 0, {0, 136, 140}},
        Type{0x10000005, 144, 0, {0, 136, 140}}, Type{0x00000007, 144, 0, {0, 136, 140}},
        Type{0x00000008, 144, 0, {0, 136, 140}}, Type{0x10000008, 144, 0, {0, 136, 140}},
        Type{0x00000009, 10, 0, {}}, Type{0x10000009, 10, 0, {}}, Type{0x0000000a, 20, 0, {}},
        Type{0x1000000a, 20, 0, {}}, Type{0x10000007, 4024, 0, {}}, Type{0x10000007, 4024, 1, {0}},
        Type{0x10000007, 4024, 3, {0, 1000, 2000}},
        Type{0x10000007, 4024, 4, {0, 1000, 2000, 3000}},
        // There is no fifth slot: a larger number is a lie.
        Type{0x10000007, 4024, 5, {0, 1000, 2000, 3000}},
        Type{0x10000007, 4024, 0xffffffff, {0, 1000, 2000, 3000}}));

TEST_P(TypeTable, IsEncodedWithTheseWordsTurned) {
  const Message msg = make_message(header(), pattern(GetParam().size));
  EXPECT_EQ(encoded(msg.get()), datagram(header(), turned()));
  EXPECT_FALSE(log_.has_part(kMinor, "unknown message type"));
}

TEST_P(TypeTable, IsDecodedWithTheseWordsTurnedInsideTheBuffer) {
  Received received(datagram(header(), pattern(GetParam().size)));
  EXPECT_EQ(std::string(received.buf() + AL_MSG_HEADER_SIZE, GetParam().size), turned());
  EXPECT_FALSE(log_.has_part(kMinor, "unknown message type"));
}

TEST_P(TypeTable, MessageIsUnchangedByEncodingAndEncodesTheSameAgain) {
  const Message msg = make_message(header(), pattern(GetParam().size));
  const auto first = encoded(msg.get());
  EXPECT_EQ(header_bytes(*msg), header_bytes(*make_message(header(), pattern(GetParam().size))));
  EXPECT_EQ(encoded(msg.get()), first);
}

TEST_P(TypeTable, DecodedTwiceThePayloadIsAsItWas) {
  Received received(datagram(header(), pattern(GetParam().size)));
  const Message again(string_to_msg(received.buf()));
  EXPECT_EQ(std::string(received.buf() + AL_MSG_HEADER_SIZE, GetParam().size),
            pattern(GetParam().size));
}

TEST_F(MessageTest, WithoutPayloadADatagramIsItsHeader) {
  const Message msg = make_message(
      {.type = AL_MSGTYPE_SYNC_SEND_ALERT, .sequence = 4, .dst = "::1", .length = 0}, "left over");
  EXPECT_EQ(encoded(msg.get()), datagram({.type = 1, .sequence = 4, .dst = "::1"}));
}

TEST_F(MessageTest, WordsBeyondAPayloadThatIsTooShortAreLeftAlone) {
  const Message two = make_message({.type = 1}, "ab");
  EXPECT_EQ(encoded(two.get()), datagram({.type = 1}, "ab"));
  const Message most = make_message({.type = 5}, pattern(142));
  EXPECT_EQ(encoded(most.get()), datagram({.type = 5}, with_words_turned(pattern(142), {0, 136})));
}

TEST_F(MessageTest, LongestAddressTextTravelsWhole) {
  const std::string address = "0000:0000:0000:0000:0000:ffff:192.168.100.100.x";
  ASSERT_EQ(address.size(), 47U);
  const Message msg = make_message({.type = 9, .sequence = 1, .dst = address});
  const auto bytes = encoded(msg.get());
  ASSERT_EQ(bytes, datagram({.type = 9, .sequence = 1, .dst = address}));
  const Received received(*bytes);
  EXPECT_STREQ(received.msg()->msg_head->dst_addr, address.c_str());
}

// ---- failures of encoding -----------------------------------------------------------------------

TEST_F(MessageTest, NothingIsNotEncoded) {
  EXPECT_EQ(msg_to_string(nullptr), nullptr);
  EXPECT_TRUE(log_.has(kFailures, "parameter error: msg is NULL"));
}

TEST_F(MessageTest, MissingPayloadIsNotEncoded) {
  const Message msg = make_message({.type = 5, .length = 144});
  EXPECT_EQ(msg_to_string(msg.get()), nullptr);
  EXPECT_TRUE(log_.has(kFailures, "the message data is wrong"));
  EXPECT_EQ(msg->msg_head->msg_type, 5U);
}

TEST_F(MessageTest, WithoutMemoryNothingIsEncoded) {
  const Message msg = make_message({.type = 0xa, .sequence = 2}, "0\n");
  const std::string before = header_bytes(*msg);
  const Fault fault(Site::kAllocate, ENOMEM);
  EXPECT_EQ(msg_to_string(msg.get()), nullptr);
  EXPECT_EQ(fault.hits(), 1);
  EXPECT_TRUE(log_.has(kFailures, "malloc failed"));
  EXPECT_EQ(header_bytes(*msg), before);
}

// 72 more than this does not fit 32 bits: the datagram must not become a small one.
TEST_F(MessageTest, LargestLengthDoesNotWrapAround) {
  const Message msg = make_message({.type = 0xa, .length = 0xffffffff}, "0\n");
  const ScarceMemory scarce(1 << 20);
  EXPECT_EQ(msg_to_string(msg.get()), nullptr);
  EXPECT_TRUE(log_.has(kFailures, "malloc failed"));
}

// ---- unknown types ------------------------------------------------------------------------------

struct Unknown {
  uint32_t type;
  const char* message;
};
void PrintTo(const Unknown& row, std::ostream* out) { *out << std::hex << row.type; }
class UnknownType : public MessageTest, public ::testing::WithParamInterface<Unknown> {
 protected:
  Header header() const { return {.type = GetParam().type, .sequence = 12, .dst = "10.0.0.1"}; }
};
INSTANTIATE_TEST_SUITE_P(
    MessageTest, UnknownType,
    ::testing::Values(
        Unknown{0, "unknown message type 0 to: 10.0.0.1, sequence: 12"},
        Unknown{2, "unknown message type 2 to: 10.0.0.1, sequence: 12"},
        Unknown{4, "unknown message type 4 to: 10.0.0.1, sequence: 12"},
        Unknown{6, "unknown message type 6 to: 10.0.0.1, sequence: 12"},
        Unknown{0xb, "unknown message type 11 to: 10.0.0.1, sequence: 12"},
        Unknown{0x10000000, "unknown message type 268435456 to: 10.0.0.1, sequence: 12"},
        Unknown{0x10000002, "unknown message type 268435458 to: 10.0.0.1, sequence: 12"},
        Unknown{0x01000000, "unknown message type 16777216 to: 10.0.0.1, sequence: 12"},
        Unknown{0xffffffff, "unknown message type -1 to: 10.0.0.1, sequence: 12"}));

TEST_P(UnknownType, IsEncodedAsItIs) {
  const Message msg = make_message(header(), pattern(200));
  EXPECT_EQ(encoded(msg.get()), datagram(header(), pattern(200)));
  EXPECT_EQ(log_.count(kMinor, GetParam().message), 1);
}

TEST_P(UnknownType, IsEncodedSilentlyWithoutPayload) {
  Header without = header();
  without.length = 0;
  const Message msg = make_message(without, "left over");
  EXPECT_EQ(encoded(msg.get()), datagram(header()));
  EXPECT_FALSE(log_.has_part(kMinor, "unknown message type"));
}

TEST_P(UnknownType, IsDecodedAsItIs) {
  const std::string bytes = datagram(header(), pattern(200));
  Received received(bytes);
  EXPECT_EQ(received.msg()->msg_head->msg_type, GetParam().type);
  EXPECT_EQ(std::string(received.buf(), bytes.size()), bytes);
  EXPECT_EQ(log_.count(kMinor, GetParam().message), 1);
}

TEST_F(MessageTest, AddressWithoutItsEndIsPrintedToItsWidth) {
  const std::string endless(48, '9');
  const Received received(datagram({.type = 6,
                                    .sequence = 0xffffffff,
                                    .dst = endless,
                                    .reserve1 = 0x41414141,
                                    .reserve2 = 0x41414141}));
  EXPECT_TRUE(log_.has(kMinor, "unknown message type 6 to: " + endless + ", sequence: -1"));
}

// ---- decoding -----------------------------------------------------------------------------------

TEST_F(MessageTest, DecodedHeaderIsInHostOrder) {
  const Received received(datagram({.type = 0x10000007,
                                    .sequence = 0x80000001,
                                    .dst = "10.0.0.7",
                                    .reserve1 = 2,
                                    .reserve2 = 0x00000300,
                                    .length = 4024}));
  const al_msg_header& head = *received.msg()->msg_head;
  EXPECT_EQ(head.version, 1U);
  EXPECT_EQ(head.msg_type, 0x10000007U);
  EXPECT_EQ(head.sequence, 0x80000001U);
  EXPECT_EQ(head.data_len, 4024U);
  EXPECT_STREQ(head.dst_addr, "10.0.0.7");
  EXPECT_EQ(head.reserve1, 2U);
  EXPECT_EQ(head.reserve2, 0x300U);
}

TEST_F(MessageTest, DecodedMessageLeavesPayloadAndHeaderInTheBuffer) {
  const std::string bytes = datagram({.type = 0xa, .sequence = 1}, "0\n");
  Received received(bytes);
  EXPECT_EQ(received.msg()->msg_data, nullptr);
  EXPECT_EQ(received.msg()->next, nullptr);
  EXPECT_EQ(received.msg()->msg_head->data_len, 2U);
  EXPECT_EQ(std::string(received.buf(), bytes.size()), bytes);
}

TEST_F(MessageTest, VersionAndLengthOfADatagramAreNotJudged) {
  std::string bytes = datagram({.type = 5, .length = 0xffffffff}, pattern(144));
  bytes.replace(0, 4, word(0x02030405));
  const Received received(bytes);
  EXPECT_EQ(received.msg()->msg_head->version, 0x02030405U);
  EXPECT_EQ(received.msg()->msg_head->data_len, 0xffffffffU);
}

TEST_F(MessageTest, WordsAreTurnedAlsoWhenTheLengthDeniesThem) {
  Received received(datagram({.type = 5, .length = 0}, pattern(144)));
  EXPECT_EQ(std::string(received.buf() + 72, 144), with_words_turned(pattern(144), {0, 136, 140}));
}

TEST_F(MessageTest, NothingIsNotDecoded) {
  EXPECT_EQ(string_to_msg(nullptr), nullptr);
  EXPECT_TRUE(log_.has(kFailures, "parameter error: buf is NULL"));
}

TEST_F(MessageTest, WithoutMemoryNothingIsDecodedAndTheBufferStays) {
  const std::string bytes = datagram({.type = 5}, pattern(144));
  const int runs = for_each_call(
      Site::kAllocate, ENOMEM, [&] { log_.clear(); },
      [&] {
        std::string buffer = bytes;
        const Message msg(string_to_msg(buffer.data()));
        const bool failed = log_.has(kFailures, "create new message failed");
        EXPECT_EQ(msg == nullptr, failed);
        EXPECT_EQ(buffer == bytes, failed);
      });
  EXPECT_GE(runs, 1);
}

// ---- there and back -----------------------------------------------------------------------------

TEST_F(MessageTest, WhatIsEncodedIsDecodedAgain) {
  const std::vector<uint32_t> types = {1,          3,          5,          7,          8,
                                       9,          0xa,        0x10000001, 0x10000003, 0x10000005,
                                       0x10000007, 0x10000008, 0x10000009, 0x1000000a, 6};
  for (const uint64_t seed : test_seeds({1, 2, 3})) {
    SCOPED_TRACE(repeat_command(seed));
    Random random(seed);
    const auto any = [&] { return static_cast<uint32_t>(random.below(1ULL << 32)); };
    for (int i = 0; i < 200; ++i) {
      std::string payload(4024, '\0');
      for (char& byte : payload) byte = static_cast<char>(random.below(256));
      const Message msg = make_message({.type = random.pick(types),
                                        .sequence = any(),
                                        .dst = std::string(random.below(48), 'a'),
                                        .reserve1 = any() % 8,
                                        .reserve2 = any()},
                                       payload);
      const auto bytes = encoded(msg.get());
      ASSERT_TRUE(bytes);
      Received received(*bytes);
      ASSERT_EQ(header_bytes(*received.msg()), header_bytes(*msg));
      ASSERT_EQ(first_difference({received.buf() + AL_MSG_HEADER_SIZE, payload.size()}, payload),
                "");
    }
  }
}

}  // namespace
}  // namespace alt_test
