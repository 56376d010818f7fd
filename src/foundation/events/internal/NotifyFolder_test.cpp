#include "foundation/events/internal/NotifyFolder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "foundation/base/ScratchFolderTesting.h"

namespace tasklane {
namespace {

namespace fs = std::filesystem;

constexpr uid_t kStranger = 65534;

class NotifyFolderTest : public ::testing::Test {
 protected:
  NotifyFolderTest() {
    fs::create_directory(root_ / "shared");
    EXPECT_EQ(chmod((root_ / "shared").c_str(), 01777), 0);
  }

  std::string preferred() const { return root_ / "runtime" / "notify"; }
  std::string shared() const { return root_ / "shared" / "notify"; }
  std::string last() const { return root_ / "notify"; }
  NotifyFolder folder() const { return NotifyFolder({preferred(), shared(), last()}); }

  const ScratchFolder scratch_;
  const fs::path& root_ = scratch_.path();
};

/// Every process of the user must come to the same place, also while a stranger keeps another one.
TEST_F(NotifyFolderTest, GoesOnToAPlaceThatNobodyElseHolds) {
  struct Case {
    const char* what;
    bool needsSuperuser;
    std::function<void()> occupy;
  };
  const std::vector<Case> cases = {
      {"a link", false, [&] { fs::create_directory_symlink("/", shared()); }},
      {"a file", false, [&] { std::ofstream(shared()) << "squatter"; }},
      {"another user's folder", true,
       [&] {
         fs::create_directory(shared());
         EXPECT_EQ(chown(shared().c_str(), kStranger, kStranger), 0);
       }},
      {"a parent that anybody may change", false,
       [&] { EXPECT_EQ(chmod((root_ / "shared").c_str(), 0777), 0); }},
      {"another user's parent", true,
       [&] {
         EXPECT_EQ(chmod((root_ / "shared").c_str(), 0755), 0);
         EXPECT_EQ(chown((root_ / "shared").c_str(), kStranger, kStranger), 0);
       }},
  };
  for (const auto& [what, needsSuperuser, occupy] : cases) {
    if (needsSuperuser && geteuid() != 0) continue;
    SCOPED_TRACE(what);
    fs::remove_all(shared());
    occupy();
    EXPECT_EQ(folder().find().value(), last());
    EXPECT_EQ(folder().find().value(), last());
  }
}

TEST_F(NotifyFolderTest, IsClosedToOthers) {
  fs::create_directory(shared());
  ASSERT_EQ(chmod(shared().c_str(), 0755), 0);
  ASSERT_EQ(folder().find().value(), shared());
  EXPECT_EQ(fs::status(shared()).permissions(), fs::perms::owner_all);
}

/// A login makes the runtime folder, the last logout removes it.
TEST_F(NotifyFolderTest, FollowsTheBestPlaceThatThereIs) {
  NotifyFolder found = folder();
  EXPECT_EQ(found.find().value(), shared());
  EXPECT_EQ(found.wherePreferredOnesAppear(), std::vector{root_.string()});
  fs::create_directory(root_ / "runtime");
  EXPECT_EQ(found.find().value(), preferred());
  EXPECT_TRUE(found.wherePreferredOnesAppear().empty());
  fs::remove_all(root_ / "runtime");
  EXPECT_EQ(found.find().value(), shared());
}

}  // namespace
}  // namespace tasklane
