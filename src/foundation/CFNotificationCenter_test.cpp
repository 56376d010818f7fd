#include "foundation/CFNotificationCenter.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "foundation/NotificationTesting.h"
#include "foundation/NotifyCounter.h"

namespace tasklane {
namespace {

namespace fs = std::filesystem;

using testing::center;
using testing::Listener;
using testing::Peer;

class CFNotificationCenterTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { testing::makeCounterFolder(); }
  static void TearDownTestSuite() { testing::removeCounterFolder(); }
};
using CFNotificationCenterDeathTest = CFNotificationCenterTest;

using Peers = std::vector<std::unique_ptr<Peer>>;

Peers peers(int count, const std::string& role, const std::string& name) {
  Peers result;
  for (int i = 0; i < count; ++i) result.push_back(std::make_unique<Peer>(role, name));
  return result;
}

std::shared_ptr<NotifyCounter> counterOf(const std::string& name) {
  return NotifyCounter::open(CFNotificationCenter::folder(), name).value();
}

TEST_F(CFNotificationCenterTest, LosesNoPostOfEightProcessesToEightProcesses) {
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

TEST_F(CFNotificationCenterTest, PostersKilledAtAnyMomentLoseNothingAndHoldUpNobody) {
  constexpr int kRounds = 12;
  const auto listeners = peers(4, "--listen", "killed");
  const auto counter = counterOf("killed");
  for (int round = 0; round < kRounds; ++round) {
    const auto posters = peers(2, "--post", "killed");
    const std::uint64_t before = counter->count();
    for (const auto& poster : posters) poster->write(std::numeric_limits<int>::max());
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

TEST_F(CFNotificationCenterTest, APostThatNobodySleepsOnEntersNoSystemCall) {
  const pid_t child = fork();
  if (child == 0) {
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

/// A stranger's folder would let the stranger listen, and a link lead anywhere.
TEST_F(CFNotificationCenterDeathTest, RefusesAFolderThatIsNotTheUsers) {
  const std::string link = CFNotificationCenter::folder() + "/link";
  fs::create_directory_symlink("/", link);
  EXPECT_EXIT(
      {
        CFNotificationCenter::setFolder(link);
        center().postNotification("refused");
        Listener listener("refused");
        _exit(0);
      },
      ::testing::ExitedWithCode(0), "link is not a folder of this user");
}

/// What may happen to the file behind a listener's and a poster's back. As long as its contents are
/// good every post is heard; of what a damaged one has counted at least one call is left.
TEST_F(CFNotificationCenterTest, GoesOnWhenItsFileIsReplacedOrDamaged) {
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

TEST_F(CFNotificationCenterTest, CallsEveryListenerOncePerPost) {
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

TEST_F(CFNotificationCenterTest, DeliversPendingAtOnceAndOnlyOnce) {
  Listener listener("pending");
  center().postNotification("pending");
  center().postNotification("pending");
  center().deliverPending("pending");
  EXPECT_EQ(listener.count(), 2);
  center().postNotification("pending");
  ASSERT_TRUE(listener.waitFor(3));
  EXPECT_EQ(listener.count(), 3);
}

TEST_F(CFNotificationCenterTest, CallbacksMayAddRemovePostAndDeliver) {
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
