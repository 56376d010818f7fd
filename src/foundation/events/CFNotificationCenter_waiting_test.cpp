#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "foundation/events/internal/GuardedMapping.h"
#include "foundation/events/internal/NotificationTesting.h"
#include "foundation/events/internal/NotifyCounter.h"

/// Processes that sleep until they hear of posts: none may be forgotten.
namespace tasklane {
namespace {

namespace fs = std::filesystem;

using testing::center;
using testing::Listener;
using testing::Peer;

#ifdef SYS_epoll_wait
const std::vector<long> kSleepsIn = {SYS_epoll_wait, SYS_epoll_pwait};
#else
const std::vector<long> kSleepsIn = {SYS_epoll_pwait};
#endif

/// Processes that answer every call, one in the loop's own wait and one in another loop.
class Echoes {
 public:
  explicit Echoes(const std::string& name) {
    for (const char* role : {"--echo", "--echo-by-descriptor"}) {
      answers_.push_back(std::make_unique<Listener>(name + role));
      peers_.push_back(std::make_unique<Peer>(role, name));
    }
  }
  void expectAllAsleep() const {
    for (const auto& peer : peers_) EXPECT_TRUE(peer->waitsIn(kSleepsIn));
  }
  /// Whether each has answered again after what is done.
  bool answer(const std::function<void()>& what) const {
    std::vector<int> before;
    for (const auto& listener : answers_) before.push_back(listener->count());
    what();
    bool all = true;
    for (std::size_t i = 0; i < peers_.size(); ++i) {
      all = answers_[i]->waitFor(before[i] + 1) && all;
    }
    return all;
  }
  int fewest() const { return std::min(answers_[0]->count(), answers_[1]->count()); }
  int most() const { return std::max(answers_[0]->count(), answers_[1]->count()); }

 private:
  std::vector<std::unique_ptr<Listener>> answers_;
  std::vector<std::unique_ptr<Peer>> peers_;
};

std::shared_ptr<NotifyCounter> counterOf(const std::string& name) {
  return NotifyCounter::open(center().folder(), name).value();
}

/// Each round begins when the last peer has answered, so that posts meet peers on their way to
/// sleep. One that is forgotten stays silent, because nobody posts again.
TEST(CFNotificationCenterWaitingTest, EveryListenerHearsEveryPost) {
  constexpr int kRounds = 500;
  const Echoes echoes("mixed");
  for (int round = 1; round <= kRounds; ++round) {
    if (round % 100 == 0) echoes.expectAllAsleep();
    ASSERT_TRUE(echoes.answer([] { center().postNotification("mixed"); })) << "round " << round;
  }
  EXPECT_EQ(echoes.fewest(), kRounds);
  EXPECT_EQ(echoes.most(), kRounds);
}

/// A poster that was killed after its count has woken nobody; the next one wakes for both.
TEST(CFNotificationCenterWaitingTest, APostIsAtMostOneLateWhenItsPosterIsKilled) {
  constexpr std::size_t kPosts = 8;  // where the file holds them
  const Echoes echoes("killed midway");
  const FileDescriptor file(open(counterOf("killed midway")->path().c_str(), O_RDWR | O_CLOEXEC));
  const GuardedMapping bytes(file.get(), 4096);
  echoes.expectAllAsleep();
  ++*reinterpret_cast<std::atomic<std::uint64_t>*>(static_cast<char*>(bytes.data()) + kPosts);
  const auto post = [] { center().postNotification("killed midway"); };
  EXPECT_TRUE(echoes.answer(post));
  EXPECT_TRUE(
      NSRunLoop::mainRunLoop().runUntil([&] { return echoes.fewest() == 2; }, testing::kLimit));
  EXPECT_TRUE(echoes.answer(post));
  EXPECT_EQ(echoes.most(), 3);
}

/// Who sleeps has to look for itself then, and must not fall over the missing page first.
TEST(CFNotificationCenterWaitingTest, AFileCutShortWakesEveryListener) {
  const Echoes echoes("cut short");
  for (int round = 1; round <= 20; ++round) {
    const std::string path = counterOf("cut short")->path();
    EXPECT_TRUE(echoes.answer([&] { ASSERT_EQ(truncate(path.c_str(), 0), 0); })) << round;
  }
}

/// It can open nobody's pipe.
TEST(CFNotificationCenterWaitingTest, APosterWithoutDescriptorsToSpareWakesListeners) {
  const Echoes echoes("spare");
  echoes.expectAllAsleep();
  const auto counter = counterOf("spare");
  EXPECT_TRUE(echoes.answer([&] {
    const pid_t child = fork();
    if (child == 0) {
      const rlimit none{0, 0};
      setrlimit(RLIMIT_NOFILE, &none);
      _exit(counter->post() ? 0 : 1);
    }
    waitpid(child, nullptr, 0);
  }));
}

TEST(CFNotificationCenterWaitingTest, PipesServeTheNextProcess) {
  const auto pipesAfterAProcess = [] {
    {
      Peer peer("--listen", "passing");
      EXPECT_TRUE(peer.waitsIn(kSleepsIn));
      center().postNotification("passing");
      peer.write(1);
      EXPECT_EQ(peer.readLine(), "1");
    }
    const fs::directory_iterator pipes(WakePipe::folderIn(center().folder()));
    return std::distance(begin(pipes), end(pipes));
  };
  const auto pipes = pipesAfterAProcess();
  for (int i = 0; i < 4; ++i) EXPECT_LE(pipesAfterAProcess(), pipes);
}

TEST(CFNotificationCenterWaitingTest, HearsAChildThatWasForkedFromASleeper) {
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
