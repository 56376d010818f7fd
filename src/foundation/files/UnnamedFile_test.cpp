#include "foundation/files/UnnamedFile.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include "foundation/base/ScratchFolderTesting.h"

namespace tasklane {
namespace {

class UnnamedFileTest : public ::testing::Test {
 protected:
  const ScratchFolder scratch_;
  const std::filesystem::path& folder_ = scratch_.path();

  static std::string contentsOf(const std::filesystem::path& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
  }
};

TEST_F(UnnamedFileTest, HasNoNameUntilItIsGivenOneAndLeavesNothingBehind) {
  auto file = UnnamedFile::makeInFolder(folder_);
  ASSERT_TRUE(file.ok()) << file.error().description;
  ASSERT_TRUE(file.value()->write("picture", 7).ok());
  EXPECT_TRUE(std::filesystem::is_empty(folder_));
  ASSERT_TRUE(file.value()->linkToPath(folder_ / "1.jpg").ok());
  EXPECT_EQ("picture", contentsOf(folder_ / "1.jpg"));
  struct stat status {};
  ASSERT_EQ(0, ::stat((folder_ / "1.jpg").c_str(), &status));
  EXPECT_EQ(0600u, status.st_mode & 07777);

  auto dropped = UnnamedFile::makeInFolder(folder_);
  ASSERT_TRUE(dropped.value()->write("other", 5).ok());
  std::move(dropped).value().reset();
  EXPECT_EQ(1, std::distance(std::filesystem::directory_iterator(folder_), {}));
}

TEST_F(UnnamedFileTest, NeverReplaces) {
  std::ofstream(folder_ / "1.jpg") << "first";
  std::filesystem::create_symlink("nowhere", folder_ / "2.jpg");
  auto file = UnnamedFile::makeInFolder(folder_);
  ASSERT_TRUE(file.value()->write("second", 6).ok());
  for (const char* name : {"1.jpg", "2.jpg"}) {
    auto linked = file.value()->linkToPath(folder_ / name);
    ASSERT_FALSE(linked.ok());
    EXPECT_EQ(NSError::Kind::Exists, linked.error().kind);
  }
  EXPECT_EQ("first", contentsOf(folder_ / "1.jpg"));
  EXPECT_TRUE(file.value()->linkToPath(folder_ / "3.jpg").ok());
  EXPECT_EQ("second", contentsOf(folder_ / "3.jpg"));
  EXPECT_EQ(NSError::Kind::FileNotFound, UnnamedFile::makeInFolder(folder_ / "no").error().kind);
}

/// What each of several processes does: takes the lowest free number for each of its files.
int linkNumbered(const std::filesystem::path& folder, int process, int files) {
  for (int i = 0; i < files; ++i) {
    auto file = UnnamedFile::makeInFolder(folder);
    const std::string contents = std::to_string(process) + "-" + std::to_string(i);
    if (!file.ok() || !file.value()->write(contents.data(), contents.size()).ok()) return 1;
    for (int number = 1;; ++number) {
      auto linked = file.value()->linkToPath(folder / (std::to_string(number) + ".jpg"));
      if (linked.ok()) break;
      if (linked.error().kind != NSError::Kind::Exists) return 2;
    }
  }
  return 0;
}

TEST_F(UnnamedFileTest, ProcessesThatChooseTheSameNumberKeepAllTheirFiles) {
  constexpr int kProcesses = 6, kFiles = 8;
  std::vector<pid_t> children;
  for (int process = 0; process < kProcesses; ++process) {
    const pid_t child = ::fork();
    ASSERT_LE(0, child);
    if (child == 0) ::_exit(linkNumbered(folder_, process, kFiles));
    children.push_back(child);
  }
  for (const pid_t child : children) {
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_EQ(0, status);
  }
  std::set<std::string> contents;
  for (int number = 1; number <= kProcesses * kFiles; ++number)
    contents.insert(contentsOf(folder_ / (std::to_string(number) + ".jpg")));
  EXPECT_EQ(static_cast<std::size_t>(kProcesses * kFiles), contents.size());
  EXPECT_FALSE(contents.contains(""));
}

}  // namespace
}  // namespace tasklane
