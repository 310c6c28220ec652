/* The first use: several first users at once, creators that are killed, objects of others. */
#include <sys/file.h>

#include <cstring>

#include "ipc_fixture.h"

namespace {

using qel::testing::Channel;
using qel::testing::Child;
using qel::testing::Gate;

class Creation : public IpcFixture {
 protected:
  unsigned events() const {
    unsigned seen = 0;
    EXPECT_GE(semevt_wait_alert(&seen, 0), 0);
    return seen;
  }
};

TEST_F(Creation, FirstUsersAtOnceShareOneObjectAndLoseNothing) {
  constexpr int kUsers = 4;
  constexpr int kRounds = 300;
  for (int round = 0; round < kRounds && !HasFailure(); round++) {
    Gate gate;
    std::vector<Child> users;
    users.reserve(kUsers);
    for (int i = 0; i < kUsers; i++) {
      users.emplace_back([&] {
        gate.wait_in_child();
        return semevt_set_alert() == 0 && shmcm_attach() == 0 && timing() == "1/60" ? 0 : 1;
      });
    }
    gate.open();
    for (Child& user : users) {
      EXPECT_EQ(user.wait(), 0) << "round " << round;
    }
    /* an event raised on a second object, or wiped by a second filling, would be missing */
    EXPECT_EQ(events(), static_cast<unsigned>(kUsers)) << "round " << round;
    remove();
  }
}

TEST_F(Creation, UseAndRemovalAtOnceNeverFail) {
  constexpr int kRounds = 5000;
  const auto use = [] {
    for (int i = 0; i < kRounds; i++) {
      if (shmcm_attach() != 0 || timing() != "1/60" || semevt_set_alert() != 0 ||
          shmcm_detach() != 0) {
        return 1;
      }
    }
    return 0;
  };
  Child first(use);
  Child second(use);
  for (int i = 0; i < kRounds; i++) {
    remove();
  }
  EXPECT_EQ(first.wait(), 0);
  EXPECT_EQ(second.wait(), 0);
}

TEST_F(Creation, ACreatorKilledBeforeTheSizeIsReplaced) {
  make_object("");
  ASSERT_EQ(shmcm_attach(), 0);
  EXPECT_EQ(timing(), "1/60");
  EXPECT_EQ(events(), 0U);
}

TEST_F(Creation, ACreatorKilledBeforeTheMagicIsReplaced) {
  std::string half(24, '\0');
  std::memset(half.data() + 4, 0xEE, 20);
  make_object(half);
  ASSERT_EQ(shmcm_attach(), 0);
  EXPECT_EQ(timing(), "1/60");
  EXPECT_EQ(events(), 0U);
}

TEST_F(Creation, ACreatorKilledWithTheLockGivesWayToTheNext) {
  Channel locked;
  Channel waiting;
  Child creator([&] {
    const auto object = open_object(O_RDWR | O_CREAT | O_EXCL);
    const bool ready = ::flock(object.get(), LOCK_EX) == 0 && ::ftruncate(object.get(), 24) == 0;
    (void)(ready && locked.send());
    ::pause();
    return 0;
  });
  ASSERT_TRUE(locked.receive());
  Child next([&] {
    (void)waiting.send();
    return shmcm_attach() == 0 && timing() == "1/60" ? 0 : 1;
  });
  ASSERT_TRUE(waiting.receive());
  ASSERT_TRUE(qel::testing::wait_until_asleep(next.pid()));
  EXPECT_EQ(creator.kill(), 1000 + SIGKILL);
  EXPECT_EQ(next.wait(), 0);
}

TEST_F(Creation, ACreatorKilledAtAnyInstantLeavesAUsableState) {
  constexpr int kRounds = 400;
  for (int round = 0; round < kRounds && !HasFailure(); round++) {
    Channel started;
    Child creator([&] {
      (void)started.send();
      return shmcm_attach();
    });
    ASSERT_TRUE(started.receive());
    for (int spin = 0; spin < round; spin++) {
      (void)::getppid(); /* lets the creator come a bit further */
    }
    creator.kill();
    ASSERT_EQ(shmcm_attach(), 0) << "round " << round << " errno " << errno;
    EXPECT_EQ(timing(), "1/60") << "round " << round;
    ASSERT_EQ(shmcm_detach(), 0);
    remove();
  }
}

class ForeignObject : public Creation, public ::testing::WithParamInterface<const char*> {
 protected:
  static std::string content(const std::string& kind) {
    std::string bytes(24, '\0');
    const unsigned magic = 0x51454C31;
    const unsigned version = kind == "next version" ? 2 : 1;
    std::memcpy(bytes.data(), &magic, sizeof magic);
    std::memcpy(bytes.data() + 4, &version, sizeof version);
    if (kind == "other magic") {
      bytes[0] = 'x';
    } else if (kind == "short") {
      bytes.resize(8);
    } else if (kind == "long") {
      bytes.resize(4096);
    }
    return bytes;
  }
};

TEST_P(ForeignObject, IsRefusedAndLeftAsItIs) {
  make_object(content(GetParam()));
  EXPECT_EQ(shmcm_attach(), -1);
  EXPECT_EQ(errno, EPROTO);
  EXPECT_EQ(shmcm_setratio(1, 1), -1);
  EXPECT_EQ(errno, EPROTO);
  EXPECT_EQ(semevt_set_alert(), EPROTO);
  unsigned seen = 3;
  EXPECT_EQ(semevt_wait_alert(&seen, 0), -1);
  EXPECT_EQ(errno, EPROTO);
  EXPECT_EQ(seen, 3U);
  EXPECT_EQ(qel::testing::read_file("/dev/shm" + name_), content(GetParam()));
}

INSTANTIATE_TEST_SUITE_P(Kinds, ForeignObject,
                         ::testing::Values("other magic", "next version", "short", "long"),
                         [](const auto& kind) {
                           std::string name = kind.param;
                           std::erase(name, ' ');
                           return name;
                         });

}  // namespace
