#include "shared-store/AttachmentSweep.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <utime.h>

#include <filesystem>
#include <fstream>
#include <map>

#include "foundation/base/FileDescriptor.h"
#include "foundation/files/CoordinationLock.h"
#include "shared-store/AttachmentHold.h"
#include "shared-store/SharedStoreTesting.h"
#include "shared-store/TLXExternalAction.h"

namespace tasklane {

static void PrintTo(OrphanedAttachment::Kind kind, std::ostream* out) {
  constexpr const char* kNames[] = {"NeverQueued", "Unfinished", "Forgotten", "Recent"};
  *out << kNames[static_cast<std::size_t>(kind)];
}

namespace {

using ::testing::ElementsAre;
using ::testing::Pair;
using Kind = OrphanedAttachment::Kind;

class AttachmentSweepTest : public ::testing::Test {
 protected:
  AttachmentSweepTest() : folder(TLXExternalAction::sharedAttachmentPath()) {
    testing::emptySharedContainer();
    std::filesystem::remove_all(folder);
    std::filesystem::create_directories(folder);
  }

  void make(const std::string& name) { std::ofstream(folder / name) << "x"; }
  void hold(AttachmentHold& holder, const std::string& name) {
    make(name);
    holder.take(FileDescriptor(::open((folder / name).c_str(), O_RDONLY)).get());
  }
  static void queue(const std::string& name) {
    TLXExternalAction::newItemWithInfo(
        PropertyList(PropertyListDictionary{{"attachments", PropertyList::Array{name}}}));
  }
  static std::map<std::string, Kind> orphans() {
    std::map<std::string, Kind> found;
    const auto orphans = findOrphanedAttachments();
    for (const auto& orphan : orphans.value()) found[orphan.name] = orphan.kind;
    return found;
  }
  bool isThere(const std::string& name) { return std::filesystem::exists(folder / name); }

  std::filesystem::path folder;
};

TEST_F(AttachmentSweepTest, TakesWhatNoEntryNamesAndNoProcessHolds) {
  AttachmentHold living(folder);
  hold(living, "1.jpg");
  {
    AttachmentHold killed(folder);
    hold(killed, "2.jpg");
    hold(killed, "3.jpg");
    hold(killed, "4.jpg");
    queue("3.jpg");  // and was killed before it could say so
    queue("4.jpg");
    killed.wereQueued({"4.jpg"});
  }
  make("5.jpg");
  make(".unnamed-old");
  make(".unnamed-new");
  utimbuf longAgo{};
  ::utime((folder / ".unnamed-old").c_str(), &longAgo);
  for (const char* strange : {"photo.jpg", "6.jpg.bak", "7.png", "Attachment-8"}) make(strange);
  EXPECT_THAT(
      orphans(),
      ElementsAre(Pair(".unnamed-new", Kind::Recent), Pair(".unnamed-old", Kind::Unfinished),
                  Pair("2.jpg", Kind::NeverQueued), Pair("5.jpg", Kind::Recent)));
  sweepAttachments();
  EXPECT_FALSE(isThere("2.jpg"));
  EXPECT_FALSE(isThere(".unnamed-old"));
  for (const char* name : {"1.jpg", "3.jpg", "4.jpg", "5.jpg", ".unnamed-new", "photo.jpg",
                           "6.jpg.bak", "7.png", "Attachment-8"})
    EXPECT_TRUE(isThere(name)) << name;

  // Whoever takes entries out of the queue has time to fetch their files.
  TLXExternalAction::removeAllActions();
  sweepAttachments();
  EXPECT_THAT(orphans(),
              ElementsAre(Pair(".unnamed-new", Kind::Recent), Pair("3.jpg", Kind::Recent),
                          Pair("4.jpg", Kind::Recent), Pair("5.jpg", Kind::Recent)));
}

TEST_F(AttachmentSweepTest, LeavesAllWhereTheQueueCannotBeReadAndWaitsForNoLock) {
  {
    AttachmentHold killed(folder);
    hold(killed, "1.jpg");
  }
  const auto path = TLXExternalAction::sharedActionsURL()->path();
  testing::overwriteWithPlist(path, PropertyListDictionary{{"actions", PropertyList::Array{}}});
  {
    const auto lock = CoordinationLock::acquire(path, CoordinationLock::Mode::Exclusive);
    ASSERT_TRUE(lock);
    EXPECT_THAT(orphans(), ElementsAre(Pair("1.jpg", Kind::NeverQueued)));
  }
  std::filesystem::remove(path);
  std::filesystem::create_directories(path);
  EXPECT_FALSE(findOrphanedAttachments());
  sweepAttachments();
  EXPECT_TRUE(isThere("1.jpg"));
}

}  // namespace
}  // namespace tasklane
