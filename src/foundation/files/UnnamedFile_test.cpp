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

}  // namespace
}  // namespace tasklane
