// Datagrams that no daemon sends, among the alerts of a cluster. QEL_TEST_SEED sets the random
// ones.
#include <sys/socket.h>

#include <cstdio>
#include <map>

#include "cluster_fixture.h"
#include "process_figures.h"
#include "support/peer.h"
#include "support/random.h"
#include "support/records.h"
#include "support/sanitizer.h"

namespace qel::system_test {
namespace {

using alt_test::datagram;
using alt_test::Random;

constexpr int kDatagrams = 100000;
constexpr int kBurst = 100;  // fits into what the kernel keeps for a socket
constexpr int kMeasuredFrom = 10000;
constexpr long kGrowthMax_kb = 4096;
constexpr uint32_t kNeverGiven = 0x40000000;  // a sequence
constexpr uint32_t kUnknownTypes[] = {0, 2, 4, 6, 0xb, 0x10000002, 0xffffffff};
constexpr uint32_t kReplyTypes[] = {
    AL_MSGTYPE_SYNC_REPLY_ALERT,         AL_MSGTYPE_SYNC_REPLY_SERVER_NAME,
    AL_MSGTYPE_SYNC_REPLY_ALERT_ID,      AL_MSGTYPE_SYNC_REPLY_MAX_ALERT_ID,
    AL_MSGTYPE_SYNC_REPLY_SERVER_STATUS, AL_MSGTYPE_SYNC_REPLY_NEW_SERVER};

// An alert that would be stored if it came from its server.
ALERT_RECORD_INFO forged_alert(Random* random) {
  ALERT_RECORD_INFO alert =
      alt_test::make_record(1 + static_cast<uint32_t>(random->below(1000000)));
  alt_test::set_text(alert.szServer, "beta");
  return alert;
}

template <size_t N>
uint32_t any_of(Random* random, const uint32_t (&types)[N]) {
  return types[random->below(N)];
}

std::string random_bytes(Random* random, size_t size) {
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random->below(256));
  return bytes;
}

std::string too_short(Random* random) { return random_bytes(random, random->below(72)); }

// Tells another length than it has, or has another one than its type.
std::string wrong_length(Random* random) {
  const std::string alert = alt_test::alert_payload(forged_alert(random));
  const auto size = static_cast<uint32_t>(random->below(alert.size()));
  alt_test::Header header;
  header.type = AL_MSGTYPE_SYNC_SEND_ALERT;
  header.sequence = 1;
  if (random->chance(50)) {
    header.length = size;
    return datagram(header, alert);
  }
  return datagram(header, alert.substr(0, size));
}

std::string unknown_type(Random* random) {
  return datagram({.type = any_of(random, kUnknownTypes), .sequence = 1},
                  random_bytes(random, random->below(800)));
}

std::string local_alert(Random* random) {
  return datagram({.type = AL_MSGTYPE_SYNC_SEND_ALERT, .sequence = 0},
                  alt_test::alert_payload(forged_alert(random)));
}

std::string too_many_records(Random* random) {
  const uint32_t count = random->chance(50) ? 5 : 0xffffffff;
  return datagram({.type = AL_MSGTYPE_SYNC_REPLY_DATA, .sequence = kNeverGiven, .reserve1 = count},
                  alt_test::data_payload({forged_alert(random)}));
}

std::string unterminated(Random* random) {
  std::string alert = alt_test::alert_payload(forged_alert(random));
  alert.replace(20, 65, std::string(65, 's'));
  return datagram({.type = AL_MSGTYPE_SYNC_SEND_ALERT, .sequence = 1}, alert);
}

std::string whole_alert(Random* random) {
  return datagram({.type = AL_MSGTYPE_SYNC_SEND_ALERT, .sequence = 1},
                  alt_test::alert_payload(forged_alert(random)));
}

std::string forged_reply(Random* random) {
  return datagram({.type = any_of(random, kReplyTypes), .sequence = kNeverGiven});
}

std::string forged_data(Random* random) {
  return datagram({.type = AL_MSGTYPE_SYNC_REPLY_DATA, .sequence = kNeverGiven, .reserve1 = 1},
                  alt_test::data_payload({forged_alert(random)}));
}

struct Kind {
  std::string (*make)(Random* random);
  bool from_stranger;
  const char* reason;  // under which it is counted; random bytes: under whatever they look like
};

constexpr Kind kKinds[] = {{too_short, false, "too short"},
                           {wrong_length, false, "wrong length"},
                           {unknown_type, false, "unknown type"},
                           {local_alert, false, "local alert"},
                           {too_many_records, false, "too many records"},
                           {unterminated, false, "unterminated text"},
                           {whole_alert, true, "unknown sender"},
                           {forged_reply, false, "forged reply"},
                           {forged_data, false, "forged reply"}};

class HostileDatagrams : public ClusterTest {
 protected:
  HostileDatagrams()
      : seed_(alt_test::test_seeds({1}).front()),
        random_(seed_),
        cluster_(3),
        peer_(bound_socket(cluster_.address(1, 0), 0)),
        stranger_(bound_socket(cluster_.spare_address(0), 0)) {}

  // Sends a burst to the first server and waits until it has dealt with all of it: what the kernel
  // throws away when nobody takes it in time has met no daemon.
  void send_burst(int count) {
    for (int i = 0; i < count; ++i) send_one();
    ASSERT_TRUE(eventually([this] { return refused_in_all() == sent_; }))
        << sent_ << " sent, " << cluster_.server(0).status()["network"];
  }

  std::map<std::string, uint64_t> refused() const {
    return cluster_.server(0).status().value(nlohmann::json::json_pointer("/network/refused"),
                                             std::map<std::string, uint64_t>());
  }
  const std::map<std::string, uint64_t>& expected() const { return expected_; }
  pid_t daemon() { return cluster_.daemon(0).pid(); }

 private:
  uint64_t refused_in_all() const {
    uint64_t sum = 0;
    for (const auto& [reason, count] : refused()) sum += count;
    return sum;
  }

  void send_one() {
    const bool is_random = random_.chance(10);
    const Kind& kind = kKinds[random_.below(std::size(kKinds))];
    const std::string bytes =
        is_random ? random_bytes(&random_, 72 + random_.below(1400)) : kind.make(&random_);
    const bool from_stranger = !is_random && kind.from_stranger;
    ++expected_[is_random ? "wrong length" : kind.reason];
    ++sent_;
    const sockaddr_in to = socket_address(cluster_.address(0, 0), cluster_.port());
    const int from = (from_stranger ? stranger_ : peer_).get();
    ASSERT_EQ(static_cast<ssize_t>(bytes.size()),
              sendto(from, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&to),
                     sizeof to));
  }

 protected:
  uint64_t seed_;
  Random random_;
  Cluster cluster_;

 private:
  UniqueFd peer_;
  UniqueFd stranger_;
  uint64_t sent_ = 0;
  std::map<std::string, uint64_t> expected_;
};

TEST_F(HostileDatagrams, AreRefusedUnderTheirReasonsWhileAlertsFlow) {
  constexpr Raising kRaising = {500, 12000};
  cluster_.start_all();
  const size_t descriptors = open_descriptors(daemon());
  const auto programs = raising_programs(cluster_, kRaising);
  long memory_kb = 0;
  for (int sent = 0; sent < kDatagrams; sent += kBurst) {
    ASSERT_NO_FATAL_FAILURE(send_burst(kBurst)) << alt_test::repeat_command(seed_);
    if (sent + kBurst == kMeasuredFrom) memory_kb = resident_kb(daemon());
  }
  EXPECT_EQ(expected(), refused()) << alt_test::repeat_command(seed_);
  printf("%d datagrams: memory %ld kB, then %ld kB\n", kDatagrams, memory_kb,
         resident_kb(daemon()));
  if (!alt_test::is_sanitized()) {
    EXPECT_LT(resident_kb(daemon()), memory_kb + kGrowthMax_kb);
  }

  for (const auto& program : programs) EXPECT_EQ(0, program->wait());
  const size_t alerts = size_t{3} * kRaising.each;
  EXPECT_TRUE(all_come_to_hold(cluster_, all_of(cluster_), alerts)) << cluster_.diagnostic_logs();
  EXPECT_TRUE(eventually([&] { return open_descriptors(daemon()) == descriptors; }));
  expect_logs_at_end(&cluster_, numbers_raised(all_of(cluster_), kRaising));
}

}  // namespace
}  // namespace qel::system_test
