#include "foundation/files/NSFileCoordinator.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <thread>
#include <vector>

#include "foundation/base/ScratchFolderTesting.h"
#include "foundation/files/NSFileManager.h"

namespace tasklane {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;

constexpr auto kWrite = NSFileCoordinatorWritingOptions::None;
constexpr auto kDelete = NSFileCoordinatorWritingOptions::ForDeleting;
constexpr auto kRead = NSFileCoordinatorReadingOptions::None;

NSFileManager& files() { return NSFileManager::defaultManager(); }

/// A group container of the test's own, gone afterwards.
class NSFileCoordinatorTest : public ::testing::Test {
 protected:
  NSFileCoordinatorTest() { fs::create_directories(folder_); }

  NSURL url() const { return NSURL::fileURLWithPath(path_); }

  using Accessor = NSFileCoordinator::Accessor;
  static Result<void> writing(const fs::path& path, const Accessor& accessor) {
    return NSFileCoordinator().coordinateWritingItemAtURL(NSURL::fileURLWithPath(path), kWrite,
                                                          accessor);
  }
  static Result<void> reading(const fs::path& path, const Accessor& accessor) {
    return NSFileCoordinator().coordinateReadingItemAtURL(NSURL::fileURLWithPath(path), kRead,
                                                          accessor);
  }
  Result<void> writing(const Accessor& accessor) const { return writing(path_, accessor); }
  Result<void> reading(const Accessor& accessor) const { return reading(path_, accessor); }
  static Result<void> writeTo(const fs::path& path, const std::string& bytes) {
    return writing(path, [&](const NSURL& staged) {
      [[maybe_unused]] const auto written = files().writeToFile(staged.path(), bytes);
    });
  }
  Result<void> write(const std::string& bytes) const { return writeTo(path_, bytes); }

  static std::string contents(const fs::path& path) {
    const auto read = files().contentsAtPath(path);
    return read ? read.value() : read.error().description;
  }

  std::vector<std::string> namesInFolder() const {
    return files().contentsOfDirectoryAtPath(folder_).value();
  }

  /// Runs a body in a process of its own.
  static pid_t start(const std::function<void()>& body) {
    const pid_t child = fork();
    if (child != 0) return child;
    body();
    _exit(0);
  }
  /// How it ended.
  static int wait(pid_t child) {
    int status = -1;
    waitpid(child, &status, 0);
    return status;
  }

  const ScratchFolder scratch_;
  const fs::path root_ = scratch_.path() / "group.test";
  const fs::path folder_ = root_ / "store";
  const fs::path path_ = folder_ / "queue";
};

TEST_F(NSFileCoordinatorTest, CommitsWhatTheAccessorLeaves) {
  std::string seenInside;
  const auto outcome = writing([&](const NSURL& staged) {
    EXPECT_NE(staged.path(), path_);
    EXPECT_FALSE(files().fileExistsAtPath(staged.path()));
    EXPECT_TRUE(files().writeToFile(staged.path(), "first").ok());
    seenInside = contents(path_);
  });
  EXPECT_TRUE(outcome.ok());
  EXPECT_THAT(seenInside, ::testing::HasSubstr("No such file"));
  EXPECT_EQ(contents(path_), "first");
  EXPECT_THAT(namesInFolder(), ElementsAre("queue"));
  EXPECT_EQ(fs::status(path_).permissions(), fs::perms::owner_read | fs::perms::owner_write);

  fs::permissions(path_, fs::perms(0640));
  EXPECT_TRUE(write("second").ok());
  EXPECT_EQ(contents(path_), "second");
  EXPECT_EQ(fs::status(path_).permissions(), fs::perms(0640)) << "a file keeps its mode";
}

TEST_F(NSFileCoordinatorTest, NestsWithinAThread) {
  ASSERT_TRUE(write("old").ok());
  std::vector<std::string> seen;
  const auto readInside = [&] {
    EXPECT_TRUE(reading([&](const NSURL& at) { seen.push_back(contents(at.path())); }).ok());
  };
  const auto outer = writing([&](const NSURL& at) {
    readInside();
    EXPECT_TRUE(files().writeToFile(at.path(), "outer").ok());
    readInside();
    EXPECT_TRUE(write("inner").ok());
    readInside();
    EXPECT_EQ(contents(path_), "old") << "nothing is committed before the outermost write ends";
  });
  EXPECT_TRUE(outer.ok());
  EXPECT_THAT(seen, ElementsAre("old", "outer", "inner"));
  EXPECT_EQ(contents(path_), "inner");

  const auto reader = reading([&](const NSURL&) {
    readInside();
    EXPECT_FALSE(write("never").ok()) << "two readers that both want to write would wait forever";
  });
  EXPECT_TRUE(reader.ok());
  EXPECT_EQ(contents(path_), "inner");
  EXPECT_THAT(namesInFolder(), ElementsAre("queue"));
}

TEST_F(NSFileCoordinatorTest, FollowsLinksAndMeetsOthersAtTheRealFile) {
  const fs::path link = folder_ / "link";
  const fs::path linkedFolder = root_.parent_path() / "elsewhere";
  fs::create_symlink("queue", link);
  fs::create_directory_symlink(folder_, linkedFolder);
  ASSERT_TRUE(writeTo(link, "through a link to nothing yet").ok());
  EXPECT_EQ(contents(path_), "through a link to nothing yet");
  ASSERT_TRUE(writeTo(linkedFolder / "link", "through two links").ok());
  EXPECT_EQ(contents(path_), "through two links");
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_THAT(namesInFolder(), ElementsAre("link", "queue"));
  EXPECT_THAT(files().contentsOfDirectoryAtPath(root_ / ".coordination").value(),
              ElementsAre("store%2Fqueue.lock"));
  ASSERT_TRUE(writeTo(folder_ / "100%", "has a lock of its own").ok());
  EXPECT_TRUE(fs::exists(root_ / ".coordination/store%2F100%25.lock"));

  fs::create_symlink("round", folder_ / "round");
  EXPECT_FALSE(writeTo(folder_ / "round", "never").ok());
}

TEST_F(NSFileCoordinatorTest, DeletesTheTargetItselfAndWhatIsStagedAroundIt) {
  ASSERT_TRUE(write("old").ok());
  const auto remove = [&] {
    return NSFileCoordinator().coordinateWritingItemAtURL(url(), kDelete, [&](const NSURL& at) {
      EXPECT_EQ(at.path(), path_);
      EXPECT_TRUE(files().removeItemAtPath(at.path()).ok());
    });
  };
  EXPECT_TRUE(remove().ok());
  EXPECT_THAT(namesInFolder(), ElementsAre());

  ASSERT_TRUE(write("old").ok());
  const auto outcome = writing([&](const NSURL& staged) {
    EXPECT_TRUE(files().writeToFile(staged.path(), "new").ok());
    EXPECT_TRUE(remove().ok());
  });
  EXPECT_TRUE(outcome.ok());
  EXPECT_THAT(namesInFolder(), ElementsAre());
}

TEST_F(NSFileCoordinatorTest, WritesWhereTheAccessorMakesTheFolder) {
  const fs::path deep = root_ / "new" / "folders" / "queue";
  const auto outcome = writing(deep, [&](const NSURL& staged) {
    EXPECT_FALSE(fs::exists(root_ / "new"));
    EXPECT_TRUE(files().createDirectoryAtPath(deep.parent_path(), true).ok());
    EXPECT_TRUE(files().writeToFile(staged.path(), "contents").ok());
  });
  EXPECT_TRUE(outcome.ok());
  EXPECT_EQ(contents(deep), "contents");

  const fs::path outside = root_.parent_path() / "no-group" / "queue";
  EXPECT_TRUE(reading(outside, [](const NSURL&) {}).ok());
  EXPECT_FALSE(fs::exists(outside.parent_path())) << "reading makes nothing";
  EXPECT_TRUE(writeTo(outside, "contents").ok());
  EXPECT_TRUE(fs::exists(outside.parent_path() / ".coordination" / "queue.lock"));
}

/// Ways in which a write can fail: all leave the old contents and nothing else.
TEST_F(NSFileCoordinatorTest, AFailedWriteLeavesTheOldContentsAndNothingElse) {
  const std::string large(1 << 20, 'x');
  struct Case {
    const char* what;
    std::function<void()> attempt;
  };
  const std::vector<Case> cases = {
      {"no space",
       [&] {
         const rlimit limit{64 * 1024, 64 * 1024};
         std::signal(SIGXFSZ, SIG_IGN);
         setrlimit(RLIMIT_FSIZE, &limit);
         const auto outcome = writing([&](const NSURL& staged) {
           const auto written = files().writeToFile(staged.path(), large);
           ASSERT_FALSE(written.ok());
           EXPECT_EQ(written.error().kind, NSError::Kind::NoSpace);
         });
         EXPECT_TRUE(outcome.ok()) << "the accessor knows already";
       }},
      {"no space, by other means",
       [&] {
         EXPECT_TRUE(writing([&](const NSURL& staged) {
                       std::ofstream(staged.path()) << "half";
                       NSFileCoordinator::discardStagedWrite(staged.path());
                     }).ok());
       }},
      {"an exception",
       [&] {
         EXPECT_THROW((void)writing([&](const NSURL& staged) {
                        std::ofstream(staged.path()) << "half";
                        throw std::runtime_error("given up");
                      }),
                      std::runtime_error);
       }},
      {"nothing written", [&] { EXPECT_TRUE(writing([](const NSURL&) {}).ok()); }},
      {"a folder instead of a file",
       [&] {
         EXPECT_FALSE(
             writing([](const NSURL& staged) { fs::create_directory(staged.path()); }).ok());
       }},
      {"a read-only folder",
       [&] {
         fs::permissions(folder_, fs::perms(0500));
         if (geteuid() == 0) {  // who may write everywhere
           for (const auto& entry : fs::recursive_directory_iterator(root_.parent_path())) {
             ASSERT_EQ(lchown(entry.path().c_str(), 65534, 65534), 0);
           }
           ASSERT_EQ(chown(root_.parent_path().c_str(), 65534, 65534), 0);
           ASSERT_EQ(setresuid(65534, 65534, 65534), 0);
         }
         EXPECT_TRUE(writing([&](const NSURL& staged) {
                       EXPECT_FALSE(files().writeToFile(staged.path(), "new").ok());
                     }).ok());
         EXPECT_FALSE(files().writeToFileAtomically(path_, "new").ok());
       }},
  };
  ASSERT_TRUE(write("old").ok());
  for (const auto& [what, attempt] : cases) {
    SCOPED_TRACE(what);
    EXPECT_EQ(wait(start([&, &body = attempt] {
                body();
                if (HasFailure()) _exit(1);
              })),
              0);
    EXPECT_EQ(contents(path_), "old");
    EXPECT_THAT(namesInFolder(), ElementsAre("queue"));
  }
}

TEST_F(NSFileCoordinatorTest, ACommitThatFailsAndALockThatCannotBeHadAreErrors) {
  fs::create_directories(path_ / "a folder stands here");
  const auto outcome = write("new");
  ASSERT_FALSE(outcome.ok());
  EXPECT_THAT(outcome.error().description, ::testing::HasSubstr(path_.string()));
  EXPECT_THAT(namesInFolder(), ElementsAre("queue"));

  fs::remove_all(path_);
  fs::remove_all(root_ / ".coordination");
  std::ofstream(root_ / ".coordination") << "no folder";
  bool ran = false;
  EXPECT_FALSE(writing([&](const NSURL&) { ran = true; }).ok());
  EXPECT_FALSE(ran) << "nobody writes without the lock";
  EXPECT_TRUE(reading([&](const NSURL&) { ran = true; }).ok());
  EXPECT_TRUE(ran);
}

TEST_F(NSFileCoordinatorTest, AWriteIsRefusedWhenItsLockFileIsRemoved) {
  ASSERT_TRUE(write("old").ok());
  const auto outcome = writing([&](const NSURL& staged) {
    EXPECT_TRUE(files().writeToFile(staged.path(), "mine").ok());
    fs::remove_all(root_ / ".coordination");
    std::thread([&] { EXPECT_TRUE(write("another's").ok()); }).join();
  });
  ASSERT_FALSE(outcome.ok());
  EXPECT_EQ(outcome.error().kind, NSError::Kind::Busy);
  EXPECT_EQ(contents(path_), "another's");
  EXPECT_THAT(namesInFolder(), ElementsAre("queue"));
}

TEST_F(NSFileCoordinatorTest, ThreadsShareReadingAndExcludeWriting) {
  constexpr int kThreads = 4;
  std::atomic<int> readers = 0;
  std::atomic<int> writers = 0;
  std::atomic<bool> overlapped = false;
  std::atomic<bool> met = false;
  ASSERT_TRUE(write("contents").ok());
  std::vector<std::thread> threads;
  for (int thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&] {
      for (int i = 0; i < 10; ++i) {
        EXPECT_TRUE(writing([&](const NSURL&) {
                      if (++writers != 1 || readers != 0) overlapped = true;
                      --writers;
                    }).ok());
        EXPECT_TRUE(reading([&](const NSURL&) {
                      ++readers;
                      if (writers != 0) overlapped = true;
                      --readers;
                    }).ok());
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_FALSE(overlapped);

  // A reader that waits for a second one to be there at the same time.
  const auto readUntilMet = [&] {
    EXPECT_TRUE(reading([&](const NSURL&) {
                  if (++readers == 2) {
                    met = true;
                    met.notify_all();
                  }
                  met.wait(false);
                }).ok());
  };
  std::thread other([&] { readUntilMet(); });
  readUntilMet();
  other.join();
}

}  // namespace
}  // namespace tasklane
