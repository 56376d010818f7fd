#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "foundation/NotificationTesting.h"
#include "foundation/NotifyCounter.h"

/// Processes that wait for posts in every way there is: none may be forgotten.
namespace tasklane {
namespace {

using testing::center;
using testing::Listener;
using testing::Peer;

class CFNotificationCenterWaitingTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { testing::makeCounterFolder(); }
  static void TearDownTestSuite() { testing::removeCounterFolder(); }
};

#ifdef SYS_epoll_wait
const std::vector<long> kDescriptorCalls = {SYS_epoll_wait, SYS_epoll_pwait};
#else
const std::vector<long> kDescriptorCalls = {SYS_epoll_pwait};
#endif

struct Kind {
  const char* role;
  std::vector<long> waitsIn;
};
const std::vector<Kind> kKinds = {
    {"--echo-asleep", {SYS_futex}},
    {"--echo-asleep-on-several", {SYS_futex_waitv}},
    {"--echo-by-descriptor", kDescriptorCalls},
    {"--echo-confined", kDescriptorCalls},  // where the system refuses to sleep on several
};

struct Echoes {
  explicit Echoes(const std::string& name) : listener(name + " echo") {
    for (const Kind& kind : kKinds) peers.push_back(std::make_unique<Peer>(kind.role, name));
  }
  void expectAllWaiting() const {
    for (std::size_t i = 0; i < peers.size(); ++i) {
      EXPECT_TRUE(peers[i]->waitsIn(kKinds[i].waitsIn)) << kKinds[i].role;
    }
  }
  bool waitForRound(int round) const {
    return listener.waitFor(round * static_cast<int>(peers.size()));
  }

  Listener listener;
  std::vector<std::unique_ptr<Peer>> peers;
};

/// Each round begins when the last peer has answered, so that posts meet peers on their way to
/// sleep. One that is forgotten stays silent, because nobody posts again.
TEST_F(CFNotificationCenterWaitingTest, EveryKindOfListenerHearsEveryPost) {
  const Echoes echoes("mixed");
  for (int round = 1; round <= 300; ++round) {
    if (round % 100 == 0) echoes.expectAllWaiting();
    center().postNotification("mixed");
    ASSERT_TRUE(echoes.waitForRound(round)) << "in round " << round;
  }
}

/// A poster that was killed after its count, or between ringing and waking, has woken nobody; the
/// next one wakes for both.
TEST_F(CFNotificationCenterWaitingTest, APostIsAtMostOneLateWhenItsPosterIsKilled) {
  constexpr std::size_t kPosts = 8;  // where the file holds them
  constexpr std::size_t kBell = 80;
  const Echoes echoes("killed midway");
  const auto counter = NotifyCounter::open(CFNotificationCenter::folder(), "killed midway").value();
  const FileDescriptor file(open(counter->path().c_str(), O_RDWR | O_CLOEXEC));
  char* const bytes =
      static_cast<char*>(mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0));
  ASSERT_NE(bytes, MAP_FAILED);
  auto& posts = *reinterpret_cast<std::atomic<std::uint64_t>*>(bytes + kPosts);
  auto& bell = *reinterpret_cast<std::atomic<std::uint32_t>*>(bytes + kBell);
  int round = 0;
  for (const bool rings : {false, true}) {
    echoes.expectAllWaiting();
    ++posts;
    if (rings) ++bell;
    center().postNotification("killed midway");
    EXPECT_TRUE(echoes.waitForRound(round += 2)) << (rings ? "rung" : "counted");
  }
  munmap(bytes, 4096);
}

/// Who waits has to look for itself then, and must not fall over the missing page first.
TEST_F(CFNotificationCenterWaitingTest, AFileCutShortWakesEveryKindOfListener) {
  const Echoes echoes("cut short");
  for (int round = 1; round <= 2; ++round) {
    echoes.expectAllWaiting();
    const std::string path =
        NotifyCounter::open(CFNotificationCenter::folder(), "cut short").value()->path();
    ASSERT_EQ(truncate(path.c_str(), 0), 0);
    EXPECT_TRUE(echoes.waitForRound(round)) << "in round " << round;
  }
}

TEST_F(CFNotificationCenterWaitingTest, HearsAChildThatWasForkedFromASleeper) {
  Listener listener("forked");
  for (int round = 1; round <= 3; ++round) {
    const pid_t child = fork();
    if (child == 0) {
      center().postNotification("forked");
      _exit(0);
    }
    EXPECT_TRUE(listener.waitFor(round));
    waitpid(child, nullptr, 0);
  }
}

}  // namespace
}  // namespace tasklane
