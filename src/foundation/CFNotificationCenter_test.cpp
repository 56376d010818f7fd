#include "foundation/CFNotificationCenter.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "foundation/FileDescriptor.h"
#include "foundation/NSRunLoop.h"
#include "foundation/NotifyCounter.h"

namespace tasklane {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds kLimit{10'000};
constexpr auto kBehavior = CFNotificationSuspensionBehavior::DeliverImmediately;

/// Counters of the tests' own, gone afterwards.
class CFNotificationCenterTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    std::string pattern = "/dev/shm/notification-test-XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    CFNotificationCenter::setFolder(pattern);
  }
  static void TearDownTestSuite() { fs::remove_all(CFNotificationCenter::folder()); }
};
using CFNotificationCenterDeathTest = CFNotificationCenterTest;

CFNotificationCenter& center() { return CFNotificationCenterGetDarwinNotifyCenter(); }

/// Counts what it hears under one name, and may do something each time.
class Listener {
 public:
  explicit Listener(std::string name, std::function<void()> then = {})
      : name_(std::move(name)), then_(std::move(then)) {
    center().addObserver(this, &Listener::heard, name_, kBehavior);
  }
  ~Listener() { stop(); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  void stop() { center().removeObserver(this, name_); }
  int count() const { return count_; }
  bool waitFor(int count) const {
    return NSRunLoop::mainRunLoop().runUntil([&] { return count_ >= count; }, kLimit);
  }

 private:
  static void heard(CFNotificationCenter&, void* observer, const std::string& name, const void*,
                    const void*) {
    auto& listener = *static_cast<Listener*>(observer);
    EXPECT_EQ(name, listener.name_);
    ++listener.count_;
    if (listener.then_) listener.then_();
  }

  std::string name_;
  std::function<void()> then_;
  int count_ = 0;
};

/// A process of this program that listens or posts, killed with its owner.
class Peer {
 public:
  Peer(const std::string& role, const std::string& name) {
    const std::string folder = CFNotificationCenter::folder();
    int input[2];
    int output[2];
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) std::abort();
    process_ = fork();
    if (process_ == 0) {
      dup2(input[0], STDIN_FILENO);
      dup2(output[1], STDOUT_FILENO);
      execl("/proc/self/exe", "peer", role.c_str(), folder.c_str(), name.c_str(), nullptr);
      _exit(127);
    }
    close(input[0]);
    close(output[1]);
    input_ = FileDescriptor(input[1]);
    output_ = FileDescriptor(output[0]);
    EXPECT_EQ(readLine(), "ready");
  }
  ~Peer() { kill(); }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  void write(std::uint64_t number) {
    const std::string line = std::to_string(number) + "\n";
    EXPECT_EQ(::write(input_.get(), line.data(), line.size()), std::ssize(line));
  }
  std::string readLine() {
    std::string line;
    pollfd ready{output_.get(), POLLIN, 0};
    for (char c = 0; poll(&ready, 1, kLimit.count()) > 0 && read(output_.get(), &c, 1) == 1;) {
      if (c == '\n') return line;
      line += c;
    }
    return line + " (cut short)";
  }
  void kill() {
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    waitpid(std::exchange(process_, 0), nullptr, 0);
  }

 private:
  pid_t process_;
  FileDescriptor input_;
  FileDescriptor output_;
};

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
