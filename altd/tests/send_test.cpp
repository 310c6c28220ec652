// Sending: one datagram a call, from the address on the destination's interconnect.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <memory>

#include "support/messages.h"
#include "support/protocol_test.h"

namespace alt_test {
namespace {

// Nothing of what is sent may stay open behind it.
class Send : public ProtocolTest {
 protected:
  void TearDown() override {
    EXPECT_EQ(list_directory("/proc/self/fd").size(), descriptors_);
    ProtocolTest::TearDown();
  }
  // To node2 on interconnect 1.
  static Header heartbeat() {
    return {
        .type = AL_MSGTYPE_SYNC_SEND_SERVER_STATUS, .sequence = 8, .dst = kNode2[0], .reserve2 = 1};
  }

 private:
  const size_t descriptors_ = list_directory("/proc/self/fd").size();
};

// ---- one datagram -------------------------------------------------------------------------------

TEST_F(Send, MessageWithoutPayloadArrivesAsItsHeader) {
  const Message msg = make_message(heartbeat());
  EXPECT_EQ(send_msg(msg.get()), 0);
  expect_only(kOwn[0], kNode2[0], datagram(heartbeat()));
}

TEST_F(Send, PayloadArrivesBehindTheHeader) {
  const Header header = {
      .type = AL_MSGTYPE_SYNC_SEND_NEW_SERVER, .sequence = 8, .dst = kNode3[1], .reserve2 = 2};
  const Message msg = make_message(header, "1\nnode1 5\n");
  EXPECT_EQ(send_msg(msg.get()), 0);
  expect_only(kOwn[1], kNode3[1], datagram(header, "1\nnode1 5\n"));
}

TEST_F(Send, SuccessIsLogged) {
  const Message msg = make_message(heartbeat());
  send_msg(msg.get());
  EXPECT_EQ(log_.texts(kDetails),
            (Texts{"create socket ok, dest_addr is 127.0.1.2.", "Bind 127.0.1.1 OK. "}));
}

TEST_F(Send, MessageIsUnchangedAndCanBeSentAgain) {
  const Message msg = make_message(heartbeat());
  send_msg(msg.get());
  send_msg(msg.get());
  EXPECT_EQ(arrived(), (Texts(2, "127.0.1.1 > 127.0.1.2 0x9 8")));
}

TEST_F(Send, EachDatagramHasASocketOfItsOwn) {
  const Message msg = make_message(heartbeat());
  int sockets = 0;
  const Interception count(Site::kSocket, [&](size_t) { return ++sockets, kPass; });
  for (int i = 0; i < 3; ++i) send_msg(msg.get());
  EXPECT_EQ(sockets, 3);
}

TEST_F(Send, InterconnectOfTheDestinationGivesTheSource) {
  for (const uint32_t device : {2U, 1U}) {
    Header header = heartbeat();
    header.reserve2 = device;
    EXPECT_EQ(send_msg(make_message(header).get()), 0);
  }
  EXPECT_EQ(arrived(), (Texts{"127.0.2.1 > 127.0.1.2 0x9 8", "127.0.1.1 > 127.0.1.2 0x9 8"}));
}

TEST_F(Send, FirstOfTwoAddressesOnOneInterconnectIsTheSource) {
  local_svr->ip_addr[0].device_id = -7;
  local_svr->ip_addr[1].device_id = -7;
  Header header = heartbeat();
  header.reserve2 = static_cast<uint32_t>(-7);
  EXPECT_EQ(send_msg(make_message(header).get()), 0);
  EXPECT_EQ(arrived(), Texts{"127.0.1.1 > 127.0.1.2 0x9 8"});
}

TEST_F(Send, SourceIsOnNoOtherInterconnectWhateverItsNumber) {
  local_svr->ip_addr[0].device_id = 5;
  local_svr->ip_addr[1].device_id = 1;
  EXPECT_EQ(send_msg(make_message(heartbeat()).get()), 0);
  EXPECT_EQ(arrived(), Texts{"127.0.2.1 > 127.0.1.2 0x9 8"});
}

TEST_F(Send, PortIsTheConfiguredOne) {
  Wire other({kNode2[0]});
  ASSERT_NE(other.port(), wire_.port());
  alt_udp_port = other.port();
  send_msg(make_message(heartbeat()).get());
  EXPECT_EQ(other.take().size(), 1U);
  EXPECT_EQ(arrived(), Texts{});
}

TEST_F(Send, AddressesMayBeOfIpv6) {
  const Opened receiver(socket(AF_INET6, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_in6 address = {};
  address.sin6_family = AF_INET6;
  address.sin6_addr = in6addr_loopback;
  socklen_t size = sizeof(address);
  auto* any = reinterpret_cast<sockaddr*>(&address);
  if (receiver < 0 || bind(receiver, any, size) != 0) GTEST_SKIP() << "no IPv6 on this host";
  ASSERT_EQ(getsockname(receiver, any, &size), 0);
  alt_udp_port = ntohs(address.sin6_port);
  set_text(local_svr->ip_addr[1].ip, "::1");
  const Header header = {.type = 9, .sequence = 1, .dst = "::1", .reserve2 = 2};
  EXPECT_EQ(send_msg(make_message(header).get()), 0);
  char bytes[100];
  EXPECT_EQ(recv(receiver, bytes, sizeof(bytes), MSG_DONTWAIT), 72);
}

// ---- not sent -----------------------------------------------------------------------------------

TEST_F(Send, NothingIsNotSent) {
  EXPECT_EQ(send_msg(nullptr), -1);
  EXPECT_TRUE(log_.has(kFailures, "parameter error, msg is NULL"));
}

TEST_F(Send, WhatCannotBeEncodedIsNotSent) {
  Header header = heartbeat();
  header.length = 10;
  header.reserve2 = kNoInterconnect;
  EXPECT_EQ(send_msg(make_message(header).get()), -1);
  EXPECT_EQ(log_.texts(kFailures),
            (Texts{"the message data is wrong", "call msg_to_string failed"}));
  EXPECT_EQ(arrived(), Texts{});
}

TEST_F(Send, WithoutAnAddressOnTheInterconnectNothingIsSent) {
  Header header = heartbeat();
  header.reserve2 = kNoInterconnect;
  EXPECT_EQ(send_msg(make_message(header).get()), -1);
  EXPECT_EQ(log_.texts(kFailures), Texts{"send to(127.0.1.2)failed."});
  EXPECT_EQ(arrived(), Texts{});
}

TEST_F(Send, WithoutAnyLocalServerNothingIsSent) {
  release_svrlist(&local_svr);
  EXPECT_EQ(send_msg(make_message(heartbeat()).get()), -1);
  EXPECT_EQ(log_.texts(kFailures), Texts{"send to(127.0.1.2)failed."});
}

TEST_F(Send, WithoutADestinationNothingIsSentAndThatIsNoFailure) {
  Header header = heartbeat();
  header.dst = "";
  const Fault fault(Site::kResolve, EBUSY);
  EXPECT_EQ(send_msg(make_message(header).get()), 0);
  EXPECT_EQ(fault.hits(), 0);
  EXPECT_EQ(log_.texts(kDetails), Texts{"skip sendto dst if IP address is empty string."});
  EXPECT_EQ(log_.texts(kFailures), Texts{});
}

TEST_F(Send, WithoutADestinationTheInterconnectIsStillLookedFor) {
  EXPECT_EQ(send_msg(make_message({.type = 9, .reserve2 = kNoInterconnect}).get()), -1);
  EXPECT_EQ(log_.texts(kFailures), Texts{"send to()failed."});
}

TEST_F(Send, DestinationThatIsNoAddressCannotBeResolved) {
  Header header = heartbeat();
  header.dst = "fe80::1%nosuch";
  EXPECT_EQ(send_msg(make_message(header).get()), -1);
  EXPECT_TRUE(log_.has_part(kFailures, "addr: fe80::1%nosuch, getaddrinfo() failed: "));
}

TEST_F(Send, SourceOfAnotherFamilyCannotBeBoundAndThatIsNoFailure) {
  set_text(local_svr->ip_addr[0].ip, "::1");
  EXPECT_EQ(send_msg(make_message(heartbeat()).get()), 0);
  EXPECT_TRUE(log_.has_part(kDetails, "Bind ::1 failed. errno="));
  EXPECT_EQ(arrived(), Texts{});
}

TEST_F(Send, SourceThatThisHostHasLostCannotBeBoundAndThatIsNoFailure) {
  set_text(local_svr->ip_addr[0].ip, "192.0.2.1");
  EXPECT_EQ(send_msg(make_message(heartbeat()).get()), 0);
  EXPECT_TRUE(log_.has(kDetails, "Bind 192.0.2.1 failed. errno=99."));
  EXPECT_EQ(log_.texts(kFailures), Texts{});
  EXPECT_EQ(arrived(), Texts{});
}

TEST_F(Send, DatagramLargerThanAnyIsNotSent) {
  Header header = heartbeat();
  header.type = AL_MSGTYPE_SYNC_SEND_NEW_SERVER;
  EXPECT_EQ(send_msg(make_message(header, std::string(70000, 'x')).get()), -1);
  EXPECT_EQ(log_.texts(kFailures), Texts{"write_len (-1) != real_len (70072), errcode = 90."});
}

// Bytes behind the field must not get into the resolver or the log.
TEST_F(Send, DestinationWithoutItsEndIsCutAtItsWidth) {
  const std::string endless(48, '1');
  Header header = heartbeat();
  header.dst = endless;
  header.reserve1 = 0x41414141;
  const Fault fault(Site::kResolve, 5);
  EXPECT_EQ(send_msg(make_message(header).get()), -1);
  ASSERT_EQ(log_.texts(kFailures).size(), 1U);
  const std::string line = log_.texts(kFailures)[0];
  EXPECT_EQ(line.find_first_not_of('1', 6), line.find(", getaddrinfo() failed: 5")) << line;
  header.reserve2 = 0x41414141;
  EXPECT_EQ(send_msg(make_message(header).get()), -1);
  EXPECT_FALSE(log_.has_part(kFailures, "A"));
}

struct Failure {
  const char* name;
  Site site;
  int skip;
  int error;
  int result;
  int level;
  const char* message;
};
void PrintTo(const Failure& row, std::ostream* out) { *out << row.name; }
class SendFailures : public Send, public ::testing::WithParamInterface<Failure> {};
INSTANTIATE_TEST_SUITE_P(
    Send, SendFailures,
    ::testing::Values(
        Failure{"memory", Site::kAllocate, 0, ENOMEM, -1, kFailures, "call msg_to_string failed"},
        Failure{"destination", Site::kResolve, 0, 11, -1, kFailures,
                "addr: 127.0.1.2, getaddrinfo() failed: 11"},
        Failure{"source", Site::kResolve, 1, 11, -1, kFailures, "get (127.0.1.1) addrinfo failed."},
        Failure{"socket", Site::kSocket, 0, EMFILE, -1, kFailures,
                "dst addr: 127.0.1.2, socket(family: 2) failed: 24"},
        Failure{"bind", Site::kBind, 0, EADDRINUSE, 0, kDetails,
                "Bind 127.0.1.1 failed. errno=98."},
        Failure{"send", Site::kSendTo, 0, ENETUNREACH, -1, kFailures,
                "write_len (-1) != real_len (75), errcode = 101."},
        Failure{"short send", Site::kSendTo, 0, kReturnZero, -1, kFailures,
                "write_len (0) != real_len (75), errcode = "}));

TEST_P(SendFailures, AreLoggedAndNothingIsSent) {
  Header header = heartbeat();
  header.type = AL_MSGTYPE_SYNC_SEND_NEW_SERVER;
  const Message msg = make_message(header, "0\n\n");
  {
    const Fault fault(GetParam().site, GetParam().error, GetParam().skip, 1);
    EXPECT_EQ(send_msg(msg.get()), GetParam().result);
    EXPECT_EQ(fault.hits(), 1);
  }
  EXPECT_TRUE(log_.has_part(GetParam().level, GetParam().message));
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_EQ(send_msg(msg.get()), 0);
  expect_only(kOwn[0], kNode2[0], datagram(header, "0\n\n"));
}

// ---- requests -----------------------------------------------------------------------------------

TEST_F(Send, RequestIsSentAndFiled) {
  Message msg = make_message(heartbeat());
  EXPECT_EQ(send_request_msg(msg.release()), 0);
  expect_only(kOwn[0], kNode2[0], datagram(heartbeat()));
  EXPECT_TRUE(waits_for(8));
  EXPECT_EQ(requests_waiting(), 1);
}

TEST_F(Send, SentRequestIsDescribed) {
  Header header = {.type = AL_MSGTYPE_SYNC_SEND_NEW_SERVER,
                   .sequence = 8,
                   .dst = kNode2[0],
                   .reserve1 = 5,
                   .reserve2 = 1};
  send_request_msg(make_message(header, "12345").release());
  for (const char* line :
       {"=========== request msg info ===========", "msg type :10", "msg sequence :8",
        "msg length :5", "msg target :127.0.1.2", "msg reserve1 :5", "msg reserve2 :1",
        "add message to send history succeeded"}) {
    EXPECT_EQ(log_.count(kTrace, line), 1) << line;
  }
}

TEST_F(Send, RequestThatIsNothingIsAnError) {
  EXPECT_EQ(send_request_msg(nullptr), -1);
  EXPECT_TRUE(log_.has(kFailures, "parameter error: msg is NULL"));
  EXPECT_EQ(requests_waiting(), 0);
}

TEST_F(Send, RequestThatCouldNotBeSentIsFiledAllTheSame) {
  const Fault fault(Site::kSocket, EMFILE);
  EXPECT_EQ(send_request_msg(make_message(heartbeat()).release()), -1);
  EXPECT_TRUE(waits_for(8));
  EXPECT_FALSE(log_.has(kTrace, "=========== request msg info ==========="));
  EXPECT_TRUE(log_.has(kTrace, "add message to send history succeeded"));
}

TEST_F(Send, RequestWhoseSourceIsLostForAMomentIsFiled) {
  const Fault fault(Site::kBind, EADDRNOTAVAIL);
  EXPECT_EQ(send_request_msg(make_message(heartbeat()).release()), 0);
  EXPECT_TRUE(waits_for(8));
}

TEST_F(Send, RequestOfSequenceZeroIsSentAndNotKept) {
  Header header = heartbeat();
  header.sequence = 0;
  EXPECT_EQ(send_request_msg(make_message(header).release()), 0);
  EXPECT_EQ(arrived(), Texts{"127.0.1.1 > 127.0.1.2 0x9 0"});
  EXPECT_EQ(requests_waiting(), 0);
  EXPECT_TRUE(log_.has(kTrace, "the message is sent to local"));
  EXPECT_TRUE(log_.has(kTrace, "add message to send history failed"));
}

TEST_F(Send, RequestOfSequenceZeroThatCannotBeSentIsAFailureAndNotKept) {
  Header header = heartbeat();
  header.sequence = 0;
  const Fault fault(Site::kSendTo, EPERM);
  EXPECT_EQ(send_request_msg(make_message(header, "x").release()), -1);
  EXPECT_EQ(requests_waiting(), 0);
}

TEST_F(Send, DataRequestLeavesWithTheNextResend) {
  const Header header = {
      .type = AL_MSGTYPE_SYNC_REQUEST_DATA, .sequence = 8, .dst = kNode2[0], .reserve2 = 1};
  const std::string sync = sync_payload({.sync_svr = "node3"});
  EXPECT_EQ(send_request_msg(make_message(header, sync).release()), 0);
  EXPECT_EQ(arrived(), Texts{});
  EXPECT_TRUE(log_.has(kTrace, "sync data message, add to send hist directly"));
  EXPECT_TRUE(waits_for(8));
  re_send_msg();
  expect_only(kOwn[0], kNode2[0], datagram(header, sync));
}

TEST_F(Send, RequestWithoutRoomInTheHistoryIsSentAllTheSame) {
  Message msg = make_message(heartbeat());
  const Fault fault(Site::kAllocate, ENOMEM, 1);  // the first allocation is the datagram's
  EXPECT_EQ(send_request_msg(msg.release()), 0);
  EXPECT_GE(fault.hits(), 1);
  EXPECT_TRUE(log_.has(kTrace, "add message to send history failed"));
  EXPECT_EQ(requests_waiting(), 0);
}

// ---- replies ------------------------------------------------------------------------------------

TEST_F(Send, ReplyCarriesSequenceAndInterconnectOfTheRequest) {
  const Received request(datagram(
      {.type = 9, .sequence = 0xfffffff0, .dst = kOwn[1], .reserve1 = 6, .reserve2 = 2}, "text"));
  EXPECT_EQ(send_reply_msg(request.msg(), kNode3[1], AL_MSGTYPE_SYNC_REPLY_SERVER_STATUS), 0);
  expect_only(
      kOwn[1], kNode3[1],
      datagram({.type = 0x10000009, .sequence = 0xfffffff0, .dst = kNode3[1], .reserve2 = 2}));
  EXPECT_TRUE(log_.has(kTrace, "the message type is: 0x10000009"));
  EXPECT_EQ(requests_waiting(), 0);
}

TEST_F(Send, ReplyNeedsARequestAndAnAddress) {
  const Received request(datagram(heartbeat()));
  EXPECT_EQ(send_reply_msg(nullptr, kNode2[0], 0x10000009), -1);
  EXPECT_EQ(send_reply_msg(request.msg(), nullptr, 0x10000009), -1);
  EXPECT_EQ(log_.count(kFailures, "parameter error"), 2);
}

TEST_F(Send, WithoutMemoryThereIsNoReply) {
  const Received request(datagram(heartbeat()));
  const Fault fault(Site::kAllocate, ENOMEM);
  EXPECT_EQ(send_reply_msg(request.msg(), kNode2[0], 0x10000009), -1);
  EXPECT_TRUE(log_.has(kFailures, "create reply message failed"));
}

TEST_F(Send, ReplyThatCannotBeSentIsAFailure) {
  Header header = heartbeat();
  header.reserve2 = kNoInterconnect;
  const Received request(datagram(header));
  EXPECT_EQ(send_reply_msg(request.msg(), kNode2[0], 0x10000009), -1);
  EXPECT_TRUE(log_.has(kFailures, "send reply message failed"));
}

TEST_F(Send, ReplyWhoseSourceIsLostForAMomentIsNoFailure) {
  const Received request(datagram(heartbeat()));
  const Fault fault(Site::kBind, EADDRNOTAVAIL);
  EXPECT_EQ(send_reply_msg(request.msg(), kNode2[0], 0x10000009), 0);
}

TEST_F(Send, ReplyToAnAddressTextThatIsTooLongIsCut) {
  const Received request(datagram(heartbeat()));
  const Fault fault(Site::kResolve, 5);
  EXPECT_EQ(send_reply_msg(request.msg(), std::string(200, '1').c_str(), 0x10000009), -1);
  EXPECT_TRUE(log_.has(kFailures, "addr: " + std::string(47, '1') + ", getaddrinfo() failed: 5"));
}

}  // namespace
}  // namespace alt_test
