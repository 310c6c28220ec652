// Which datagrams the daemon lets through to the library, and why it refuses the others.
#include "cluster/datagram_guard.h"

#include <gtest/gtest.h>

#include "cluster_fixture.h"

namespace qel::daemon_test {
namespace {

using alt_test::datagram;
using alt_test::Header;
using alt_test::kStranger;

constexpr uint32_t kReply = 0x10000000;

// A type of message with its shortest and its longest payload.
struct Kind {
  uint32_t type;
  size_t shortest;
  size_t longest;
};
void PrintTo(const Kind& kind, std::ostream* out) { *out << std::hex << "0x" << kind.type; }

constexpr Kind kAlert = {0x1, 680, 680};
constexpr Kind kRequests[] = {kAlert,        {0x3, 0, 0}, {0x5, 0, 144}, {0x7, 0, 144},
                              {0x8, 0, 144}, {0x9, 0, 0}, {0xa, 0, 7710}};
constexpr Kind kReplies[] = {{0x10000001, 0, 0},    {0x10000003, 0, 6501}, {0x10000005, 0, 144},
                             {0x10000007, 0, 4024}, {0x10000008, 0, 144},  {0x10000009, 0, 0},
                             {0x1000000a, 0, 7710}};

std::string name_of_kind(const ::testing::TestParamInfo<Kind>& info) {
  char text[32];
  snprintf(text, sizeof text, "Type_0x%x", info.param.type);
  return text;
}

bool is_reply(uint32_t type) { return (type & kReply) != 0; }

class DatagramGuard : public alt_test::ProtocolTest {
 protected:
  // The reason for which it is refused, in words; "none" when it is let through. Looking at it
  // changes nothing.
  static std::string verdict(const std::string& bytes, const char* sender = kNode2[0]) {
    Arrival arrival(sender, bytes);
    const std::string buffer = arrival.buffer();
    const std::vector<Texts> before = state();
    const daemon::Refusal refusal = daemon::examine(arrival.datagram());
    EXPECT_EQ("", alt_test::first_difference(arrival.buffer(), buffer));
    EXPECT_EQ(before, state());
    return daemon::refusal_name(refusal);
  }

  // A sequence with which a message of this type can come: a reply answers a request of ours.
  static uint32_t fitting_sequence(uint32_t type) {
    return is_reply(type) ? ask(type - kReply) : 7;
  }
  static std::string message(uint32_t type, const std::string& payload, uint32_t reserve1 = 0) {
    return datagram({.type = type, .sequence = fitting_sequence(type), .reserve1 = reserve1},
                    payload);
  }

 private:
  static std::vector<Texts> state() {
    return {outstanding_requests(),
            alt_test::names_of(server_list_head),
            alt_test::names_of(local_svr),
            alt_test::names_of(new_server_list),
            alt_test::names_of(servers_not_reply),
            {std::to_string(sequencenum), std::to_string(g_sync_step)}};
  }
};

// ---- of every type ------------------------------------------------------------------------------

class EveryType : public DatagramGuard, public ::testing::WithParamInterface<Kind> {
 protected:
  static std::string of_length(size_t length) {
    return message(GetParam().type, std::string(length, '\0'));
  }
  static std::string any() { return of_length(GetParam().longest); }
};
INSTANTIATE_TEST_SUITE_P(Requests, EveryType, ::testing::ValuesIn(kRequests), name_of_kind);
INSTANTIATE_TEST_SUITE_P(Replies, EveryType, ::testing::ValuesIn(kReplies), name_of_kind);

TEST_P(EveryType, ShortestAndLongestPayloadAreTaken) {
  EXPECT_EQ("none", verdict(of_length(GetParam().shortest)));
  EXPECT_EQ("none", verdict(of_length(GetParam().longest)));
}

TEST_P(EveryType, OneByteBeyondTheseIsRefused) {
  EXPECT_EQ("wrong length", verdict(of_length(GetParam().longest + 1)));
  if (GetParam().shortest == 0) return;
  EXPECT_EQ("wrong length", verdict(of_length(GetParam().shortest - 1)));
}

TEST_P(EveryType, LengthThatDoesNotFitTheSizeIsRefused) {
  const size_t size = GetParam().longest;
  for (const size_t told : {size + 1, size - 1, size_t{0xFFFFFFFF}}) {
    const Header header = {.type = GetParam().type,
                           .sequence = fitting_sequence(GetParam().type),
                           .length = static_cast<uint32_t>(told)};
    EXPECT_EQ("wrong length", verdict(datagram(header, std::string(size, '\0')))) << told;
  }
}

TEST_P(EveryType, LessThanAHeaderIsRefused) {
  const std::string whole = any();
  for (const size_t size : {size_t{0}, size_t{1}, size_t{71}}) {
    EXPECT_EQ("too short", verdict(whole.substr(0, size))) << size;
  }
  EXPECT_NE("too short", verdict(whole.substr(0, 72)));
}

TEST_P(EveryType, UnknownSenderIsRefused) {
  for (const char* sender : {kStranger, "", "::1", "127.0.1.20", "::ffff:127.0.1.9"}) {
    EXPECT_EQ("unknown sender", verdict(any(), sender)) << sender;
  }
}

TEST_P(EveryType, OwnAddressIsRefused) {
  const char* const reason = is_reply(GetParam().type) ? "forged reply" : "unknown sender";
  for (const char* sender : {kOwn[0], kOwn[1], "::ffff:127.0.1.1"}) {
    EXPECT_EQ(reason, verdict(any(), sender)) << sender;
  }
}

TEST_P(EveryType, EachAddressOfAServerIsKnownInEitherForm) {
  for (const char* sender : {kNode2[0], kNode2[1], "::ffff:127.0.1.2", "::FFFF:127.0.2.2"}) {
    EXPECT_EQ("none", verdict(any(), sender)) << sender;
  }
}

TEST_P(EveryType, SequenceZeroIsRefusedWhereItMeansSomethingElse) {
  const char* reason = is_reply(GetParam().type) ? "forged reply" : "none";
  if (GetParam().type == kAlert.type) reason = "local alert";
  EXPECT_EQ(reason,
            verdict(datagram({.type = GetParam().type}, std::string(GetParam().longest, '\0'))));
}

TEST_P(EveryType, RecordsAreCountedInDataRepliesOnly) {
  for (const uint32_t count : {0U, 4U, 5U, 0xFFFFFFFFU}) {
    const bool refused = GetParam().type == AL_MSGTYPE_SYNC_REPLY_DATA && count > 4;
    EXPECT_EQ(refused ? "too many records" : "none",
              verdict(message(GetParam().type, std::string(GetParam().longest, '\0'), count)))
        << count;
  }
}

TEST_F(DatagramGuard, UnknownTypesAreRefused) {
  for (const uint32_t type :
       {0x0U, 0x2U, 0x4U, 0x6U, 0xbU, 0x10000000U, 0x10000002U, 0x10000004U, 0x10000006U,
        0x1000000bU, 0x20000001U, 0x30000001U, 0x80000001U, 0xFFFFFFFFU}) {
    EXPECT_EQ("unknown type", verdict(datagram({.type = type, .sequence = 7}))) << type;
  }
}

TEST_F(DatagramGuard, AddressesOfTheSixthVersionAreKnownInEitherCase) {
  add_server("node4", {"fd00::A"});
  EXPECT_EQ("none", verdict(message(0x9, ""), "fd00::a"));
  EXPECT_EQ("none", verdict(message(0x9, ""), "FD00::A"));
  EXPECT_EQ("unknown sender", verdict(message(0x9, ""), "fd00::a1"));
}

TEST_F(DatagramGuard, FirstAlertOfAServerHasSequenceOneAndIsTaken) {
  EXPECT_EQ("none", verdict(datagram({.type = 0x1, .sequence = 1}, std::string(680, '\0'))));
}

// ---- texts --------------------------------------------------------------------------------------

struct Field {
  size_t begin;
  size_t width;
};
constexpr Field kRecordFields[] = {{4, 8},    {12, 8},   {20, 65},  {85, 32},
                                   {117, 24}, {141, 24}, {165, 512}};
constexpr Field kSyncFields[] = {{4, 65}, {69, 65}};
constexpr size_t kSlot = 1000;

// Zeros but for a text of `length` bytes at `begin`.
std::string zeros_with_text(size_t size, size_t begin, size_t length) {
  return std::string(size, '\0').replace(begin, length, length, 'x');
}

TEST_F(DatagramGuard, TextOfAnAlertMustEndWithinItsField) {
  for (const Field& field : kRecordFields) {
    const auto with_text = [&](size_t length) {
      return message(0x1, zeros_with_text(680, field.begin, length));
    };
    EXPECT_EQ("none", verdict(with_text(field.width - 1))) << field.begin;
    EXPECT_EQ("unterminated text", verdict(with_text(field.width))) << field.begin;
  }
}

TEST_F(DatagramGuard, AlertWithEveryTextAtItsLongestIsTaken) {
  std::string payload(680, 'x');
  for (const Field& field : kRecordFields) payload[field.begin + field.width - 1] = '\0';
  EXPECT_EQ("none", verdict(message(0x1, payload)));
}

TEST_F(DatagramGuard, EachCountedRecordOfADataReplyMustEndItsTexts) {
  for (uint32_t slot = 0; slot < 4; ++slot) {
    for (const Field& field : kRecordFields) {
      const std::string payload = zeros_with_text(4024, slot * kSlot + field.begin, field.width);
      EXPECT_EQ("unterminated text", verdict(message(0x10000007, payload, slot + 1)))
          << slot << " " << field.begin;
      EXPECT_EQ("none", verdict(message(0x10000007, payload, slot))) << slot << " " << field.begin;
      const std::string ended = zeros_with_text(4024, slot * kSlot + field.begin, field.width - 1);
      EXPECT_EQ("none", verdict(message(0x10000007, ended, 4))) << slot << " " << field.begin;
    }
  }
}

TEST_F(DatagramGuard, DataReplyThatIsCutMayEndATextWithItsOwnEnd) {
  EXPECT_EQ("none", verdict(message(0x10000007, zeros_with_text(84, 20, 64), 4)));
  EXPECT_EQ("unterminated text", verdict(message(0x10000007, zeros_with_text(85, 20, 65), 4)));
}

TEST_F(DatagramGuard, BothNamesOfASyncRecordMustEndWithinTheirFields) {
  for (const uint32_t type : {0x5U, 0x7U, 0x8U, 0x10000005U, 0x10000008U}) {
    for (const Field& field : kSyncFields) {
      EXPECT_EQ("none", verdict(message(type, zeros_with_text(144, field.begin, 64)))) << type;
      EXPECT_EQ("unterminated text", verdict(message(type, zeros_with_text(144, field.begin, 65))))
          << type;
    }
  }
}

TEST_F(DatagramGuard, SyncRecordThatIsCutMayEndATextWithItsOwnEnd) {
  for (const uint32_t type : {0x5U, 0x7U, 0x8U, 0x10000005U, 0x10000008U}) {
    EXPECT_EQ("none", verdict(message(type, zeros_with_text(68, 4, 64)))) << type;
    EXPECT_EQ("unterminated text", verdict(message(type, zeros_with_text(69, 4, 65)))) << type;
  }
}

TEST_F(DatagramGuard, EachNameOfAListMustEndWithinItsField) {
  const std::string longest(64, 'n');
  const std::string endless(65, 'n');
  const auto with_names = [](const Texts& names) {
    return message(0x10000003, alt_test::names_payload(names));
  };
  EXPECT_EQ("none", verdict(with_names({longest, longest, longest})));
  EXPECT_EQ("unterminated text", verdict(with_names({endless})));
  EXPECT_EQ("unterminated text", verdict(with_names({endless, "b", "c"})));
  EXPECT_EQ("unterminated text", verdict(with_names({"a", endless, "c"})));
  EXPECT_EQ("unterminated text", verdict(with_names({"a", "b", endless})));
}

TEST_F(DatagramGuard, HundredNamesAreTakenAndTheLastOfThemIsLookedAt) {
  Texts names(100, std::string(64, 'n'));
  EXPECT_EQ("none", verdict(message(0x10000003, alt_test::names_payload(names))));
  names.back() = std::string(65, 'n');
  EXPECT_EQ("unterminated text", verdict(message(0x10000003, alt_test::names_payload(names))));
}

TEST_F(DatagramGuard, NamesBehindAnEmptyOneAreNotLookedAt) {
  EXPECT_EQ("none",
            verdict(message(0x10000003, alt_test::names_payload({"a", "", std::string(65, 'n')}))));
}

TEST_F(DatagramGuard, ListOfIdsMustEndWithANul) {
  for (const uint32_t type : {0xaU, 0x1000000aU}) {
    const std::string list("1\nnode1 7\n\0", 11);
    EXPECT_EQ("none", verdict(message(type, list))) << type;
    EXPECT_EQ("unterminated text", verdict(message(type, list.substr(0, 10)))) << type;
    EXPECT_EQ("unterminated text", verdict(message(type, list + "x"))) << type;
    EXPECT_EQ("unterminated text", verdict(message(type, "x"))) << type;
    EXPECT_EQ("none", verdict(message(type, ""))) << type;
    EXPECT_EQ("unterminated text", verdict(message(type, std::string(7710, 'x')))) << type;
  }
}

// ---- replies ------------------------------------------------------------------------------------

class EveryReply : public DatagramGuard, public ::testing::WithParamInterface<Kind> {
 protected:
  static std::string reply_to(uint32_t sequence, uint32_t type = GetParam().type) {
    return datagram({.type = type, .sequence = sequence});
  }
  static uint32_t question() { return GetParam().type - kReply; }
  // Takes the request out of the history.
  static void settle(uint32_t sequence) {
    al_msg_header head = {};
    head.sequence = sequence;
    al_msg answer = {&head, nullptr, nullptr};
    del_from_send_hist(&answer);
  }
};
INSTANTIATE_TEST_SUITE_P(Guard, EveryReply, ::testing::ValuesIn(kReplies), name_of_kind);

TEST_P(EveryReply, OfTheServerThatWasAskedIsTaken) {
  const uint32_t sequence = ask(question());
  ask(question(), {kNode3[0], kNode3[1]});
  EXPECT_EQ("none", verdict(reply_to(sequence), kNode2[0]));
  EXPECT_EQ("none", verdict(reply_to(sequence), kNode2[1]));
}

TEST_P(EveryReply, FromTheOtherAddressThanTheOneAskedIsTaken) {
  EXPECT_EQ("none", verdict(reply_to(ask(question(), {kNode2[0]})), kNode2[1]));
}

TEST_P(EveryReply, OfAnotherServerThanTheOneAskedIsForged) {
  const uint32_t sequence = ask(question());
  ask(question(), {kNode3[0], kNode3[1]});
  EXPECT_EQ("forged reply", verdict(reply_to(sequence), kNode3[0]));
  EXPECT_EQ("forged reply", verdict(reply_to(sequence + 1), kNode2[1]));
}

TEST_P(EveryReply, OfAnotherTypeThanTheQuestionIsForged) {
  for (const Kind& other : kReplies) {
    if (other.type == GetParam().type) continue;
    EXPECT_EQ("forged reply", verdict(reply_to(ask(question()), other.type))) << other.type;
  }
}

TEST_P(EveryReply, ThatComesASecondTimeIsLate) {
  const uint32_t sequence = ask(question());
  EXPECT_EQ("none", verdict(reply_to(sequence), kNode2[0]));
  settle(sequence);
  EXPECT_EQ("late reply", verdict(reply_to(sequence), kNode2[0]));
  EXPECT_EQ("late reply", verdict(reply_to(sequence), kNode2[1]));
}

TEST_P(EveryReply, WithASequenceThatWasNeverGivenIsForged) {
  const uint32_t sequence = ask(question());
  for (const uint32_t given : {0U, sequence + 1, sequence + 2, sequence + 0x40000000}) {
    EXPECT_EQ("forged reply", verdict(reply_to(given))) << given;
  }
}

TEST_P(EveryReply, ToTheLastSequencesBeforeTheCounterWrappedIsKnown) {
  sequencenum = 0xFFFFFFFF;
  const uint32_t last = ask(question());
  sequencenum = 1;  // sequence 0 is never given
  EXPECT_EQ("none", verdict(reply_to(last)));
  settle(last);
  EXPECT_EQ("late reply", verdict(reply_to(last)));
  EXPECT_EQ("late reply", verdict(reply_to(last - 1)));
  EXPECT_EQ("forged reply", verdict(reply_to(0)));
  EXPECT_EQ("forged reply", verdict(reply_to(1)));
  const uint32_t first = ask(question());
  ASSERT_EQ(1U, first);
  EXPECT_EQ("none", verdict(reply_to(first)));
  settle(first);
  EXPECT_EQ("late reply", verdict(reply_to(first)));
  EXPECT_EQ("forged reply", verdict(reply_to(2)));
}

}  // namespace
}  // namespace qel::daemon_test
