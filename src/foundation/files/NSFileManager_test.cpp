#include "foundation/files/NSFileManager.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <thread>

#include "foundation/base/ScratchFolderTesting.h"
#include "foundation/files/FileVersion.h"

namespace tasklane {
namespace {

namespace fs = std::filesystem;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

NSFileManager& files() { return NSFileManager::defaultManager(); }

/// A folder of the test's own and an environment that is put back.
class NSFileManagerTest : public ::testing::Test {
 protected:
  NSFileManagerTest() {
    for (const char* const name : kNames) {
      const char* const value = std::getenv(name);
      values_.push_back(value ? std::optional<std::string>(value) : std::nullopt);
    }
  }
  ~NSFileManagerTest() override {
    for (std::size_t i = 0; i < values_.size(); ++i) {
      if (values_[i]) {
        setenv(kNames[i], values_[i]->c_str(), 1);
      } else {
        unsetenv(kNames[i]);
      }
    }
  }

  static constexpr const char* kNames[] = {"TASKLANE_GROUP_CONTAINERS", "XDG_DATA_HOME", "HOME"};
  std::vector<std::optional<std::string>> values_;
  const ScratchFolder scratch_;
  const fs::path& folder_ = scratch_.path();
};

TEST_F(NSFileManagerTest, WhatCannotBeLookedAtCountsAsThere) {
  fs::create_symlink("loop", folder_ / "loop");
  const std::ofstream file(folder_ / "file");
  const std::map<std::string, bool> cases = {
      {"loop", true}, {"file", true}, {"none", false}, {"file/none", false}};
  for (const auto& [name, isThere] : cases)
    EXPECT_EQ(files().fileExistsAtPath(folder_ / name), isThere) << name;
}

TEST_F(NSFileManagerTest, ReadsFilesOnlyAndAtOnce) {
  const std::string pipe = folder_ / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const std::string sparse = folder_ / "sparse";
  ASSERT_TRUE(files().writeToFile(sparse, "x").ok());
  fs::resize_file(sparse, 20ull << 30);
  const struct {
    std::string path;
    const char* reason;
  } cases[] = {{pipe, "not a file"},
               {"/dev/zero", "not a file"},
               {folder_, "Is a directory"},
               {sparse, "larger than 256 MB"},
               {folder_ / "none", "No such file"}};
  for (const auto& [path, reason] : cases) {
    const auto read = files().contentsAtPath(path);
    ASSERT_FALSE(read.ok()) << path;
    EXPECT_THAT(read.error().description, AllOf(HasSubstr(path), HasSubstr(reason)));
  }

  std::thread writer([&] { (void)files().writeToFile(pipe, "through a pipe"); });
  const auto input = files().contentsOfInputAtPath(pipe);
  writer.join();
  ASSERT_TRUE(input.ok());
  EXPECT_EQ(input.value(), "through a pipe");
}

TEST_F(NSFileManagerTest, AVersionOfAFileIsToldFromEveryLaterOne) {
  const std::string path = folder_ / "file";
  const auto version = [&] { return FileVersion::ofItemAtPath(path).value(); };
  const FileVersion none = version();
  EXPECT_TRUE(none.isStillAtPath(path));
  ASSERT_TRUE(files().writeToFile(path, "one").ok());
  EXPECT_FALSE(none.isStillAtPath(path));

  const FileVersion written = version();
  EXPECT_TRUE(written.isStillAtPath(path));
  struct stat before {};
  ASSERT_EQ(stat(path.c_str(), &before), 0);
  // An edit in place that keeps size and time; the clock of the file system has to tick meanwhile.
  struct stat after = before;
  while (after.st_ctim.tv_sec == before.st_ctim.tv_sec &&
         after.st_ctim.tv_nsec == before.st_ctim.tv_nsec) {
    ASSERT_TRUE(files().writeToFile(path, "two").ok());
    const timespec times[] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    ASSERT_EQ(stat(path.c_str(), &after), 0);
  }
  EXPECT_FALSE(written.isStillAtPath(path));

  // Replaced, and replaced again, by files of the same size.
  const FileVersion replaced = version();
  for (int i = 0; i < 50; ++i) {
    ASSERT_TRUE(files().writeToFile(folder_ / "new", "two").ok());
    fs::rename(folder_ / "new", path);
    EXPECT_FALSE(replaced.isStillAtPath(path));
  }
  fs::remove(path);
  EXPECT_FALSE(replaced.isStillAtPath(path));
  EXPECT_TRUE(none.isStillAtPath(path));
}

TEST_F(NSFileManagerTest, FindsTheGroupContainerAndMakesItPrivate) {
  const std::string base = folder_;
  fs::create_directory_symlink("chosen", folder_ / "link");
  const struct {
    std::string containers, data, home, expected;
  } cases[] = {
      {base + "/chosen", base + "/data", base, "/chosen/group.a.b"},
      {base + "/./link//", base + "/data", base, "/chosen/group.a.b"},
      {"", base + "/data", base, "/data/tasklane/group.a.b"},
      {"", "relative", base + "/home", "/home/.local/share/tasklane/group.a.b"},
      {"", "", base + "/house", "/house/.local/share/tasklane/group.a.b"},
  };
  for (const auto& [containers, data, home, expected] : cases) {
    setenv("TASKLANE_GROUP_CONTAINERS", containers.c_str(), 1);
    setenv("XDG_DATA_HOME", data.c_str(), 1);
    setenv("HOME", home.c_str(), 1);
    const auto url = files().containerURLForBaseGroupContainerIdentifier("a.b");
    ASSERT_TRUE(url);
    EXPECT_EQ(url->path(), base + expected);
    EXPECT_EQ(fs::status(url->path()).permissions(), fs::perms::owner_all);
  }
  setenv("TASKLANE_GROUP_CONTAINERS", "/dev/null/nowhere", 1);
  EXPECT_FALSE(files().containerURLForSecurityApplicationGroupIdentifier("group.a"));
  EXPECT_THAT(files().groupContainer("group.a").error().description, HasSubstr("/dev/null"));
  EXPECT_FALSE(files().groupContainer("../elsewhere").ok());
}

TEST_F(NSFileManagerTest, ReadsAndWritesWholeFiles) {
  const std::string path = folder_ / "file";
  const std::string bytes(100'000, '\0');
  ASSERT_TRUE(files().writeToFile(path, bytes).ok());
  EXPECT_EQ(files().contentsAtPath(path).value(), bytes);
  EXPECT_EQ(fs::status(path).permissions(), fs::perms(0600));
  ASSERT_TRUE(files().writeToFileAtomically(path, "short").ok());
  EXPECT_EQ(files().contentsAtPath(path).value(), "short");
  // A file that does not know its size beforehand.
  EXPECT_THAT(files().contentsAtPath("/proc/self/status").value(), HasSubstr("Name:"));
  EXPECT_THAT(files().contentsOfDirectoryAtPath(folder_).value(), ElementsAre("file"));

  const struct {
    std::string path;
    NSError::Kind kind;
  } unreadable[] = {{folder_ / "none", NSError::Kind::FileNotFound},
                    {folder_, NSError::Kind::Io},
                    {path + "/below", NSError::Kind::FileNotFound}};
  for (const auto& [where, kind] : unreadable) {
    const auto read = files().contentsAtPath(where);
    ASSERT_FALSE(read.ok()) << where;
    EXPECT_EQ(read.error().kind, kind) << read.error().description;
    EXPECT_THAT(read.error().description, HasSubstr(where));
  }
  EXPECT_EQ(files().writeToFileAtomically(folder_ / "none" / "file", "x").error().kind,
            NSError::Kind::FileNotFound);
  EXPECT_EQ(files().writeToFile("/dev/full", "x").error().kind, NSError::Kind::NoSpace);
}

TEST_F(NSFileManagerTest, MakesAndRemovesFolders) {
  const std::string deep = folder_ / "a" / "b";
  EXPECT_EQ(files().createDirectoryAtPath(deep, false).error().kind, NSError::Kind::FileNotFound);
  EXPECT_TRUE(files().createDirectoryAtPath(deep, true).ok());
  EXPECT_TRUE(files().createDirectoryAtPath(deep, true).ok()) << "an existing folder is no failure";
  ASSERT_TRUE(files().writeToFile(deep + "/file", "x").ok());
  EXPECT_EQ(files().createDirectoryAtPath(deep + "/file", true).error().kind,
            NSError::Kind::Exists);
  EXPECT_TRUE(files().removeItemAtPath(folder_ / "a").ok());
  EXPECT_EQ(files().removeItemAtPath(folder_ / "a").error().kind, NSError::Kind::FileNotFound);
}

}  // namespace
}  // namespace tasklane
