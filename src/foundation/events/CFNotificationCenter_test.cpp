#include "foundation/events/CFNotificationCenter.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "foundation/events/internal/NotificationTesting.h"
#include "foundation/events/internal/NotifyCounter.h"

namespace tasklane {
namespace {

namespace fs = std::filesystem;

using testing::center;
using testing::Listener;
using testing::Peer;

using Peers = std::vector<std::unique_ptr<Peer>>;

Peers peers(int count, const std::string& role, const std::string& name) {
  Peers result;
  for (int i = 0; i < count; ++i) result.push_back(std::make_unique<Peer>(role, name));
  return result;
}

std::shared_ptr<NotifyCounter> counterOf(const std::string& name) {
  return NotifyCounter::open(center().folder(), name).value();
}

TEST(CFNotificationCenterTest, LosesNoPostOfEightProcessesToEightProcesses) {
  constexpr int kPosters = 8;
  constexpr std::uint64_t kPostsEach = 12'500;
  const auto listeners = peers(8, "--listen", "many");
  const auto posters = peers(kPosters, "--post", "many");
  for (const auto& poster : posters) poster->write(kPostsEach);
  for (const auto& listener : listeners) listener->write(kPosters * kPostsEach);
  for (const auto& listener : listeners) {
    EXPECT_EQ(listener->readLine(), std::to_string(kPosters * kPostsEach));
  }
}

TEST(CFNotificationCenterTest, PostersKilledAtAnyMomentLoseNothingAndHoldUpNobody) {
  constexpr int kRounds = 12;
  // In all less than what a listener may take for one call when it was not running meanwhile.
  constexpr std::uint64_t kMostPostsEach = 20'000;
  const auto listeners = peers(4, "--listen", "killed");
  const auto counter = counterOf("killed");
  for (int round = 0; round < kRounds; ++round) {
    const auto posters = peers(2, "--post", "killed");
    const std::uint64_t before = counter->count();
    for (const auto& poster : posters) poster->write(kMostPostsEach);
    while (counter->count() == before) std::this_thread::yield();
  }  // killed here, somewhere in their work
  center().postNotification("killed");
  for (const auto& listener : listeners) listener->write(counter->count());
  for (const auto& listener : listeners) {
    EXPECT_EQ(listener->readLine(), std::to_string(counter->count()));
  }
}

/// From now on any system call of this thread but the process's end ends the process with a signal.
void forbidSystemCalls() {
  sock_filter program[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_exit_group, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS),
  };
  const sock_fprog filter{static_cast<unsigned short>(std::size(program)), program};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
    _exit(1);
  }
}

TEST(CFNotificationCenterTest, APostThatNobodySleepsOnEntersNoSystemCall) {
  {
    Peer listener("--listen", "gated");
    ASSERT_TRUE(listener.waitsIn({SYS_epoll_wait, SYS_epoll_pwait}));
  }  // killed in its sleep
  const pid_t child = fork();
  if (child == 0) {
    const auto second = time(nullptr);
    while (time(nullptr) == second) {  // once a second a poster looks where the file is
    }
    center().postNotification("gated");
    forbidSystemCalls();
    for (int i = 0; i < 1000; ++i) center().postNotification("gated");
    syscall(SYS_exit_group, 0);
  }
  int status = -1;
  waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(counterOf("gated")->count(), 1001u);
}

TEST(CFNotificationCenterTest, APosterFindsOutThatItsFileWasRemoved) {
  center().postNotification("stale");
  fs::remove(counterOf("stale")->path());
  Peer listener("--listen", "stale");
  listener.write(1);
  while (!listener.hasOutput()) center().postNotification("stale");
  EXPECT_NE(listener.readLine(), "0");
}

/// As when the file system is full or the descriptors are used up for a while.
TEST(CFNotificationCenterTest, ListensAsSoonAsItCan) {
  const fs::path folder = center().folder();
  const fs::path aside = folder.string() + ".aside";
  fs::rename(folder, aside);
  std::ofstream(folder) << "in the way";
  Listener listener("late");
  EXPECT_FALSE(NSRunLoop::mainRunLoop().runUntil([&] { return listener.count() > 0; },
                                                 std::chrono::milliseconds(1)));
  fs::remove(folder);
  fs::rename(aside, folder);
  EXPECT_TRUE(listener.waitFor(1)) << "something may have been posted meanwhile";
  center().postNotification("late");
  EXPECT_TRUE(listener.waitFor(2));
}

/// What may happen to the file behind a listener's and a poster's back. As long as its contents are
/// good every post is heard; of what a damaged one has counted at least one call is left.
TEST(CFNotificationCenterTest, GoesOnWhenItsFileIsReplacedOrDamaged) {
  struct Case {
    const char* what;
    int leastCalls;
    std::function<void(const fs::path&)> harm;
  };
  const std::vector<Case> cases = {
      {"removed", 4, [](const fs::path& file) { fs::remove(file); }},
      {"moved away", 4, [](const fs::path& file) { fs::rename(file, file.string() + ".away"); }},
      {"replaced by a copy", 4,
       [](const fs::path& file) {
         fs::copy_file(file, file.string() + ".copy");
         fs::rename(file.string() + ".copy", file);
       }},
      {"emptied", 2, [](const fs::path& file) { fs::resize_file(file, 0); }},
      {"overwritten", 2, [](const fs::path& file) { std::ofstream(file) << "garbage"; }},
      {"turned into a folder", 4,
       [](const fs::path& file) {
         fs::remove(file);
         fs::create_directories(file / "inside");
       }},
      {"turned into a link", 4,
       [](const fs::path& file) {
         fs::remove(file);
         fs::create_symlink("/dev/null", file);
       }},
      {"given a wild count", 2,
       [](const fs::path& file) {
         std::fstream stream(file, std::ios::in | std::ios::out | std::ios::binary);
         stream.seekp(8).write("\x99\x99\x99\x99\x99\x99\x99\x09", 8);
       }},
      {"left alone, but not the pipes", 4,
       [](const fs::path& file) { fs::remove_all(WakePipe::folderIn(file.parent_path())); }},
      {"removed with its folder", 4,
       [](const fs::path& file) { fs::remove_all(file.parent_path()); }},
  };
  for (const auto& [what, leastCalls, harm] : cases) {
    SCOPED_TRACE(what);
    const std::string name = std::string("harm ") + what;
    Listener listener(name);
    center().postNotification(name);
    ASSERT_TRUE(listener.waitFor(1));
    center().postNotification(name);
    harm(counterOf(name)->path());
    Peer other("--post", name);
    other.write(1);
    EXPECT_EQ(other.readLine(), "done");
    center().postNotification(name);
    EXPECT_TRUE(listener.waitFor(leastCalls));
    const int heard = listener.count();
    center().postNotification(name);
    EXPECT_TRUE(listener.waitFor(heard + 1)) << "the next post is heard as if nothing had happened";
  }
}

TEST(CFNotificationCenterTest, CallsEveryListenerOncePerPost) {
  center().postNotification("a|Name");
  Listener first("a|Name");
  Listener otherCase("a|name");
  center().postNotification("a|Name");
  Listener second("a|Name");
  center().postNotification("a|Name");
  EXPECT_EQ(first.count(), 0) << "delivery belongs to the run loop";
  ASSERT_TRUE(first.waitFor(2));
  EXPECT_EQ(second.count(), 1) << "what was posted before is not heard";
  EXPECT_EQ(otherCase.count(), 0);
}

TEST(CFNotificationCenterTest, DeliversPendingAtOnceAndOnlyOnce) {
  Listener listener("pending");
  center().postNotification("pending");
  center().postNotification("pending");
  center().deliverPending("pending");
  EXPECT_EQ(listener.count(), 2);
  center().postNotification("pending");
  ASSERT_TRUE(listener.waitFor(3));
  EXPECT_EQ(listener.count(), 3);
}

/// A counter that somebody wrote into, or one that was left to itself for very long.
TEST(CFNotificationCenterTest, MakesOneCallOfMorePostsThanAnybodySleepsThrough) {
  Listener listener("far");
  const FileDescriptor file(open(counterOf("far")->path().c_str(), O_RDWR | O_CLOEXEC));
  const std::uint64_t far = std::uint64_t{1} << 27;
  ASSERT_EQ(pwrite(file.get(), &far, sizeof far, 8), ssize_t{sizeof far});
  center().deliverPending("far");
  EXPECT_EQ(listener.count(), 1);
  center().postNotification("far");
  center().deliverPending("far");
  EXPECT_EQ(listener.count(), 2);
}

/// Who is gone must not be touched, although it was owed calls.
TEST(CFNotificationCenterTest, AnObserverRemovedInMidDeliveryIsNotCalled) {
  for (const bool removesTheLater : {true, false}) {
    int calls = 0;
    std::unique_ptr<Listener> earlier;
    std::unique_ptr<Listener> later;
    const auto removeOther = [&](std::unique_ptr<Listener>& other) {
      ++calls;
      other.reset();
    };
    earlier = std::make_unique<Listener>(
        "fleeting", [&] { removesTheLater ? removeOther(later) : (void)++calls; });
    later = std::make_unique<Listener>(
        "fleeting", [&] { removesTheLater ? (void)++calls : removeOther(earlier); });
    center().postNotification("fleeting");
    center().deliverPending("fleeting");
    center().postNotification("fleeting");
    center().deliverPending("fleeting");
    EXPECT_EQ(calls, removesTheLater ? 2 : 3);
  }
}

TEST(CFNotificationCenterTest, RemovesFilesThatNobodyUsesWhenTheyAreMany) {
  constexpr int kNames = 100;
  Listener listener("in use");
  const pid_t child = fork();
  if (child == 0) {
    for (int i = 0; i < kNames; ++i) center().postNotification("idle " + std::to_string(i));
    _exit(0);
  }
  waitpid(child, nullptr, 0);
  const auto files = [] {
    const fs::directory_iterator all(center().folder());
    return std::count_if(begin(all), end(all), [](const auto& f) { return f.is_regular_file(); });
  };
  ASSERT_GE(files(), kNames);
  center().postNotification("one more");
  EXPECT_LT(files(), kNames / 2);
  center().postNotification("in use");
  EXPECT_TRUE(listener.waitFor(1));
}

/// What would be lost: posts to a file that is not where others look for it, and does not say so.
TEST(CFNotificationCenterTest, NobodyIsLeftWithARemovedFileInGoodFaith) {
  const std::string folder = center().folder();
  std::atomic<bool> done = false;
  std::thread remover([&] {
    for (int i = 0; !done; ++i)
      (void)NotifyCounter::open(folder, "short-lived " + std::to_string(i));
  });
  std::vector<std::shared_ptr<NotifyCounter>> opened;
  for (int i = 0; i < 300; ++i) {
    opened.push_back(NotifyCounter::open(folder, "contended " + std::to_string(i % 3)).value());
    if (i % 2 == 0) opened.pop_back();
  }
  done = true;
  remover.join();
  for (const auto& counter : opened) EXPECT_TRUE(counter->retired() || counter->inPlace());
}

TEST(CFNotificationCenterTest, CallbacksMayAddRemovePostAndDeliver) {
  std::unique_ptr<Listener> added;
  Listener last("reentrant");
  Listener first("reentrant", [&] {
    if (!added) added = std::make_unique<Listener>("reentrant");
    center().deliverPending("reentrant");
    if (first.count() < 5) center().postNotification("reentrant");
    if (first.count() == 3) last.stop();
  });
  center().postNotification("reentrant");
  ASSERT_TRUE(first.waitFor(5));
  EXPECT_EQ(added->count(), 4);
  EXPECT_LE(last.count(), 3);
}

}  // namespace
}  // namespace tasklane
