#include "shared-store/TLXExternalAction.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "shared-store/SharedStoreTesting.h"
#include "shared-store/TLXExternalItem.h"

namespace tasklane {
namespace {

using namespace tasklane::testing;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;

class TLXExternalActionTest : public ::testing::Test {
 protected:
  void SetUp() override { emptySharedContainer(); }

  static std::string path() { return sharedPath("actions.plist"); }

  static PropertyList::Array entries() {
    const auto file = plistAt(path());
    EXPECT_EQ(file.dictionary() ? file.dictionary()->size() : 0, 1u);
    return file.valueForKey("actions") ? *file.valueForKey("actions")->array()
                                       : PropertyList::Array{"no actions"};
  }

  /// "type uuid" of every entry in the file.
  static std::vector<std::string> queue() {
    std::vector<std::string> lines;
    for (const auto& entry : entries())
      lines.push_back(*entry.valueForKey("type")->string() + " " +
                      *entry.valueForKey("info")->valueForKey("uuid")->string());
    return lines;
  }

  static std::shared_ptr<TLXExternalItem> item(const char* uuid) {
    auto item = std::make_shared<TLXExternalItem>();
    item->setUuid(uuid);
    item->setTitle("Water the plants");
    return item;
  }

  static PropertyList entry(const char* type, const char* uuid) {
    return PropertyListDictionary{{"type", type}, {"info", PropertyListDictionary{{"uuid", uuid}}}};
  }

  static void writeQueue(PropertyList::Array array) {
    overwriteWithPlist(path(), PropertyListDictionary{{"actions", std::move(array)}});
  }
};

TEST_F(TLXExternalActionTest, QueuesNewItems) {
  TLXExternalAction::newItemWithInfo(std::nullopt);
  TLXExternalAction::newItemWithInfo(PropertyListDictionary{{"title", "Two\nlines \x01"}});
  TLXExternalAction::newItemWithInfo(PropertyListDictionary{{"uuid", "kept"}});
  const auto queued = entries();
  ASSERT_EQ(queued.size(), 3u);
  std::set<std::string> uuids;
  for (const auto& each : queued) {
    EXPECT_EQ(*each.valueForKey("type"), "new");
    uuids.insert(*each.valueForKey("info")->valueForKey("uuid")->string());
  }
  EXPECT_EQ(uuids.size(), 3u);
  EXPECT_THAT(*uuids.begin(),
              MatchesRegex("[0-9A-F]{8}-[0-9A-F]{4}-4[0-9A-F]{3}-[89AB][0-9A-F]{3}-[0-9A-F]{12}"));
  EXPECT_EQ(*queued[1].valueForKey("info")->valueForKey("title"), "Two\nlines \uFFFD");
  EXPECT_EQ(*queued[2].valueForKey("info"), PropertyList(PropertyListDictionary{{"uuid", "kept"}}));
}

TEST_F(TLXExternalActionTest, CancelsTheOldestPendingOpposite) {
  const auto a = item("A");
  const auto b = item("B");
  TLXExternalAction::unflagItem(a);
  TLXExternalAction::flagItem(b);
  TLXExternalAction::flagItem(b);
  EXPECT_THAT(queue(), ElementsAre("unflagged A", "flagged B", "flagged B"));
  EXPECT_EQ(entries()[0], entry("unflagged", "A")) << "only the uuid";
  EXPECT_EQ(*entries()[1].valueForKey("info"), b->propertyList()) << "the whole record";
  TLXExternalAction::unflagItem(b);
  EXPECT_THAT(queue(), ElementsAre("unflagged A", "flagged B"));

  TLXExternalAction::completeItem(a);
  TLXExternalAction::uncompleteItem(a);
  TLXExternalAction::completeItem(a);
  EXPECT_THAT(queue(), ElementsAre("unflagged A", "flagged B", "completed A"));

  writeQueue({entry("uncompleted", "B"), entry("uncompleted", "A"), entry("uncompleted", "A"),
              "no entry", PropertyListDictionary{{"type", "uncompleted"}}});
  TLXExternalAction::completeItem(a);
  EXPECT_EQ(entries(),
            (PropertyList::Array{entry("uncompleted", "B"), entry("uncompleted", "A"), "no entry",
                                 PropertyListDictionary{{"type", "uncompleted"}}}));
}

TEST_F(TLXExternalActionTest, EmptiesTheQueueButKeepsItsFile) {
  TLXExternalAction::newItemWithInfo(std::nullopt);
  TLXExternalAction::removeAllActions();
  EXPECT_THAT(entries(), IsEmpty());
  EXPECT_THAT(TLXExternalAction::currentActions(), IsEmpty());
}

TEST_F(TLXExternalActionTest, AppliesTheQueueInOrder) {
  writeQueue({entry("completed", "A"), entry("flagged", "A"), entry("unflagged", "A"),
              entry("flagged", "B"), entry("uncompleted", "B"), entry("new", "B"),
              entry("archived", "A"), entry("archived", "missing"), entry("flagged", "missing"),
              PropertyListDictionary{{"type", "new"}}});
  TLXExternalAction::presenter()->refreshPlist();
  const auto a = item("A");
  const auto b = item("B");
  a->setFlagged(true);
  b->setCompleted(true);
  std::vector<TLXExternalActionType> missing;
  const TLXExternalAction::ItemsByUUIDTable table{{"A", a}, {"B", b}};
  TLXExternalAction::applyActionsToExternalItems(
      table, [&](const auto& action) { missing.push_back(action->type()); });
  EXPECT_TRUE(a->isCompleted());
  EXPECT_FALSE(a->isFlagged());
  EXPECT_FALSE(b->isCompleted());
  EXPECT_TRUE(b->isFlagged());
  EXPECT_THAT(missing, ElementsAre(TLXExternalActionType::Flagged, TLXExternalActionType::New));

  const auto actions = TLXExternalAction::currentActions();
  ASSERT_EQ(actions.size(), 10u);
  EXPECT_EQ(actions[6]->type(), TLXExternalActionType::Unknown);
  EXPECT_EQ(actions[9]->info(), std::nullopt);
  TLXExternalAction::newItemWithInfo(std::nullopt);
  EXPECT_EQ(entries()[6], entry("archived", "A")) << "an unknown type stays in the file";
}

TEST_F(TLXExternalActionTest, MakesTheAttachmentFolderOnce) {
  const std::string path = TLXExternalAction::sharedAttachmentPath();
  EXPECT_TRUE(path.ends_with("/group.com.kestrelworks.Tasklane/attachments"));
  EXPECT_TRUE(std::filesystem::is_directory(path));
  const std::string aside = path + "-aside";  // with what other tests have put there
  std::filesystem::rename(path, aside);
  EXPECT_EQ(TLXExternalAction::sharedAttachmentPath(), path);
  EXPECT_FALSE(std::filesystem::exists(path));
  std::filesystem::rename(aside, path);
}

TEST_F(TLXExternalActionTest, LosesNothingWhenManyProcessesAdd) {
  constexpr int kProcesses = 8;
  constexpr int kEach = 60;
  std::vector<std::unique_ptr<OtherProcess>> processes;
  for (int i = 0; i < kProcesses; ++i)
    processes.push_back(std::make_unique<OtherProcess>(
        std::vector<std::string>{"add-items", std::to_string(i) + "/", std::to_string(kEach)}));
  for (const auto& process : processes) EXPECT_EQ(process->wait(), 0);

  std::set<std::string> titles;
  std::vector<int> next(kProcesses, 0);
  for (const auto& each : entries()) {
    const auto title = *each.valueForKey("info")->valueForKey("title")->string();
    titles.insert(title);
    EXPECT_EQ(title.substr(2), std::to_string(next[title[0] - '0']++)) << "oldest first";
  }
  EXPECT_EQ(titles.size(), kProcesses * kEach);
  // This process has heard of everything meanwhile.
  EXPECT_TRUE(
      waitUntil([] { return TLXExternalAction::currentActions().size() == kProcesses * kEach; }));
}

TEST_F(TLXExternalActionTest, SurvivesProcessesKilledWhileTheyAdd) {
  int saved = 0;
  for (int round = 0; round < 25; ++round) {
    OtherProcess process({"add-items", std::to_string(round) + "/", "100000"});
    for (int i = 0; i < 1 + round % 4; ++i) ASSERT_FALSE(process.nextLine().empty());
    process.kill();
    process.wait();
    int told = 1 + round % 4;
    while (!process.nextLine().empty()) ++told;
    const int found = static_cast<int>(entries().size()) - saved;
    EXPECT_GE(found, told) << "what was reported as saved is there";
    EXPECT_LE(found, told + 1);
    saved += found;
  }
  auto names = namesIn(std::filesystem::path(path()).parent_path());
  EXPECT_THAT(names, ::testing::Contains("actions.plist"));
  EXPECT_LE(names.size(), 2u) << "staging files of the dead are not left to pile up";
}

}  // namespace
}  // namespace tasklane
