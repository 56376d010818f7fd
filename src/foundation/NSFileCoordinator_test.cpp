#include "foundation/NSFileCoordinator.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>
#include <vector>

#include "foundation/NSFileManager.h"

namespace tasklane {
namespace {

namespace fs = std::filesystem;
using ::testing::ElementsAre;
using ::testing::UnorderedElementsAre;

constexpr auto kWrite = NSFileCoordinatorWritingOptions::None;
constexpr auto kDelete = NSFileCoordinatorWritingOptions::ForDeleting;
constexpr auto kRead = NSFileCoordinatorReadingOptions::None;

NSFileManager& files() { return NSFileManager::defaultManager(); }

/// A group container of the test's own, gone afterwards.
class NSFileCoordinatorTest : public ::testing::Test {
 protected:
  NSFileCoordinatorTest() {
    std::string pattern = fs::temp_directory_path() / "coordination-XXXXXX";
    root_ = fs::path(mkdtemp(pattern.data())) / "group.test";
    folder_ = root_ / "store";
    fs::create_directories(folder_);
    path_ = folder_ / "queue";
  }
  ~NSFileCoordinatorTest() override {
    std::error_code ignored;
    fs::remove_all(root_.parent_path(), ignored);
  }

  NSURL url() const { return NSURL::fileURLWithPath(path_); }

  static Result<void> writeTo(const fs::path& path, const std::string& bytes) {
    return NSFileCoordinator().coordinateWritingItemAtURL(
        NSURL::fileURLWithPath(path), kWrite, [&](const NSURL& staged) {
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

  /// Runs a body in a process of its own; how that ended.
  static int inChild(const std::function<void()>& body) {
    const pid_t child = fork();
    if (child == 0) {
      body();
      _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
  }

  fs::path root_;
  fs::path folder_;
  fs::path path_;
};

TEST_F(NSFileCoordinatorTest, CommitsWhatTheAccessorLeaves) {
  std::string seenInside;
  const auto outcome =
      NSFileCoordinator().coordinateWritingItemAtURL(url(), kWrite, [&](const NSURL& staged) {
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
  NSFileCoordinator coordinator;
  std::vector<std::string> seen;
  const auto readInside = [&] {
    const auto outcome = coordinator.coordinateReadingItemAtURL(
        url(), kRead, [&](const NSURL& at) { seen.push_back(contents(at.path())); });
    EXPECT_TRUE(outcome.ok());
  };
  const auto outer = coordinator.coordinateWritingItemAtURL(url(), kWrite, [&](const NSURL& at) {
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

  const auto reading = coordinator.coordinateReadingItemAtURL(url(), kRead, [&](const NSURL&) {
    readInside();
    EXPECT_FALSE(write("never").ok()) << "two readers that both want to write would wait forever";
  });
  EXPECT_TRUE(reading.ok());
  EXPECT_EQ(contents(path_), "inner");
  EXPECT_THAT(namesInFolder(), ElementsAre("queue"));
}

}  // namespace
}  // namespace tasklane
