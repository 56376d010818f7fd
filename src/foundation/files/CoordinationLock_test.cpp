#include "foundation/files/CoordinationLock.h"

#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <thread>
#include <vector>

#include "foundation/base/ScratchFolderTesting.h"
#include "foundation/events/Interruption.h"

namespace tasklane {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::HasSubstr;
using Mode = CoordinationLock::Mode;

class CoordinationLockTest : public ::testing::Test {
 protected:
  CoordinationLockTest() { fs::create_directory(root_ / "group.test"); }
  ~CoordinationLockTest() override {
    ::unsetenv("TASKLANE_LOCK_LIMIT");
    CoordinationLock::setWaitingHook({});
  }

  const ScratchFolder scratch_;
  const fs::path& root_ = scratch_.path();
  const std::string target_ = root_ / "group.test" / "queue";
};

TEST_F(CoordinationLockTest, SaysWhoHoldsItAndGivesUpAtTheLimit) {
  const pid_t holder = ::fork();
  if (holder == 0) {
    const auto lock = CoordinationLock::acquire(target_, Mode::Exclusive);
    ::raise(SIGSTOP);
    ::_exit(lock.ok() ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(::waitpid(holder, &status, WUNTRACED), holder);
  ASSERT_TRUE(WIFSTOPPED(status));

  ::setenv("TASKLANE_LOCK_LIMIT", "1.5", 1);
  int painted = 0;
  CoordinationLock::setWaitingHook([&] { ++painted; });
  ::testing::internal::CaptureStderr();
  const auto refused = CoordinationLock::acquire(target_, Mode::Shared);
  const std::string console = ::testing::internal::GetCapturedStderr();
  const std::string name = "process " + std::to_string(holder) + " (";
  EXPECT_THAT(console, AllOf(HasSubstr("Waiting for "), HasSubstr(name), HasSubstr("stopped")));
  ASSERT_FALSE(refused.ok());
  EXPECT_EQ(refused.error().kind, NSError::Kind::Busy);
  EXPECT_THAT(refused.error().description, HasSubstr(name));
  EXPECT_GT(painted, 1);

  ::setenv("TASKLANE_LOCK_LIMIT", "60", 1);
  std::thread continued([&] { ::kill(holder, SIGCONT); });
  EXPECT_TRUE(CoordinationLock::acquire(target_, Mode::Exclusive).ok())
      << "neither the holder nor the wait that was given up keeps it";
  continued.join();
  ASSERT_EQ(::waitpid(holder, &status, 0), holder);
}

TEST_F(CoordinationLockTest, AWaitEndsWhenTheProcessIsAskedToEnd) {
  const auto held = CoordinationLock::acquire(target_, Mode::Exclusive);
  int waiting[2];
  ASSERT_EQ(::pipe(waiting), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    Interruption::startNoting();
    CoordinationLock::setWaitingHook([&] { (void)!::write(waiting[1], "w", 1); });
    const auto lock = CoordinationLock::acquire(target_, Mode::Exclusive);
    ::_exit(!lock && lock.error().kind == NSError::Kind::Interrupted ? 0 : 1);
  }
  char letter = 0;
  ASSERT_EQ(::read(waiting[0], &letter, 1), 1);
  ::kill(child, SIGTERM);
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  ::close(waiting[0]);
  ::close(waiting[1]);
}

TEST_F(CoordinationLockTest, ReadersInTurnsDoNotKeepAWriterOut) {
  ::setenv("TASKLANE_LOCK_LIMIT", "60", 1);
  constexpr int kReaders = 4;
  std::atomic<bool> done = false;
  std::atomic<int> inside = 0;
  std::vector<std::thread> readers;
  for (int i = 0; i < kReaders; ++i) {
    readers.emplace_back([&] {
      while (!done) {
        const auto lock = CoordinationLock::acquire(target_, Mode::Shared);
        ++inside;
        // Until another one is in, so that at no moment nobody reads; or until none comes in.
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(20);
        while (inside < 2 && !done && std::chrono::steady_clock::now() < end)
          std::this_thread::yield();
        --inside;
      }
    });
  }
  while (inside == 0) std::this_thread::yield();
  for (int i = 0; i < 5; ++i) EXPECT_TRUE(CoordinationLock::acquire(target_, Mode::Exclusive).ok());
  done = true;
  for (auto& reader : readers) reader.join();
}

TEST_F(CoordinationLockTest, WhatTheSuperuserMakesBelongsToTheContainersOwner) {
  if (::geteuid() != 0) GTEST_SKIP() << "only the superuser can do this";
  constexpr uid_t kSomebody = 65534;
  ASSERT_EQ(::chown(root_.c_str(), kSomebody, kSomebody), 0);
  ASSERT_EQ(::chown((root_ / "group.test").c_str(), kSomebody, kSomebody), 0);
  ASSERT_TRUE(CoordinationLock::acquire(target_, Mode::Shared).ok());
  const pid_t child = ::fork();
  if (child == 0) {
    if (::setresgid(kSomebody, kSomebody, kSomebody) != 0) ::_exit(2);
    if (::setresuid(kSomebody, kSomebody, kSomebody) != 0) ::_exit(2);
    const bool own = CoordinationLock::acquire(target_, Mode::Exclusive).ok();
    const bool another = CoordinationLock::acquire(target_ + "2", Mode::Exclusive).ok();
    ::_exit(own && another ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(::waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace tasklane
