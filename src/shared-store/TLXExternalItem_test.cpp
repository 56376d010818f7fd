#include "shared-store/TLXExternalItem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "shared-store/SharedStoreTesting.h"
#include "shared-store/TLXExternalAction.h"

namespace tasklane {
namespace {

using namespace tasklane::testing;
using ::testing::EndsWith;

/// Runs the process in a time zone while it lives.
class TimeZone {
 public:
  explicit TimeZone(const char* name) {
    if (const char* former = std::getenv("TZ")) former_ = former;
    set(name);
  }
  ~TimeZone() { set(former_.empty() ? nullptr : former_.c_str()); }
  static void set(const char* name) {
    name ? ::setenv("TZ", name, 1) : ::unsetenv("TZ");
    ::tzset();
  }

 private:
  std::string former_;
};

NSDate utc(int year, int month, int day, int hour, int minute, int second = 0) {
  std::tm fields{};
  fields.tm_year = year - 1900;
  fields.tm_mon = month - 1;
  fields.tm_mday = day;
  fields.tm_hour = hour;
  fields.tm_min = minute;
  fields.tm_sec = second;
  return NSDate(NSTimeInterval(static_cast<double>(::timegm(&fields))));
}

class TLXExternalItemTest : public ::testing::Test {
 protected:
  void SetUp() override {
    emptySharedContainer();
    TLXExternalItem::allTodayItems();
  }

  void publish(const PropertyList& file) {
    overwriteWithPlist(sharedPath("items.plist"), file);
    TLXExternalItem::presenter()->refreshPlist();
  }

  TimeZone zone_{"Europe/Berlin"};
};

TEST_F(TLXExternalItemTest, KeepsARecordThroughTheFile) {
  const Clock::Fixed now(utc(2015, 3, 14, 16, 26, 53));
  TimeZone::set("America/Phoenix");
  TLXExternalItem item;
  item.setUuid("U");
  item.setCompleted(true);
  item.setChildren(TLXExternalItem::Items{std::make_shared<TLXExternalItem>(
      PropertyListDictionary{{"uuid", "V"}, {"children", PropertyList::Array{}}})});
  const PropertyList expected = PropertyListDictionary{
      {"uuid", "U"},
      {"completed", "2015-03-14-09:26:53 -0700"},
      {"flagged", false},
      {"parentFlagged", false},
      {"repeats", false},
      {"blocked", false},
      {"inbox", false},
      {"onlyBlockedByDeferDate", false},
      {"children",
       PropertyList::Array{PropertyListDictionary{{"uuid", "V"},
                                                  {"flagged", false},
                                                  {"parentFlagged", false},
                                                  {"repeats", false},
                                                  {"blocked", false},
                                                  {"inbox", false},
                                                  {"onlyBlockedByDeferDate", false},
                                                  {"children", PropertyList::Array{}}}}}};
  EXPECT_EQ(item.propertyList(), expected);
  const TLXExternalItem again(expected);
  EXPECT_EQ(again.propertyList(), expected);
  EXPECT_EQ(again.children()->at(0)->children()->size(), 0u);

  const TLXExternalItem odd(PropertyListDictionary{
      {"completed", false}, {"due", "tomorrow"}, {"defer", 3}, {"flagged", 1}, {"title", 7}});
  EXPECT_TRUE(odd.isCompleted()) << "only the key counts";
  EXPECT_FALSE(odd.dueDate() || odd.deferDate() || odd.title() || odd.uuid() || odd.children());
  EXPECT_TRUE(odd.isFlagged());
}

TEST_F(TLXExternalItemTest, ReadsAndWritesEveryPropertyUnderItsOwnKey) {
  using Item = TLXExternalItem;
  // What a record without anything holds, and this one key.
  const auto check = [](const char* key, const PropertyList& written, auto set, auto get,
                        const auto& value) {
    SCOPED_TRACE(key);
    PropertyListDictionary expected;
    for (const char* flag :
         {"flagged", "parentFlagged", "repeats", "blocked", "inbox", "onlyBlockedByDeferDate"})
      expected.set(flag, false);
    expected.set(key, written);
    Item item;
    EXPECT_FALSE((item.*get)() == value);
    (item.*set)(value);
    EXPECT_EQ(item.propertyList(), PropertyList(expected));
    EXPECT_TRUE((Item(PropertyListDictionary{{key, written}}).*get)() == value);
  };
  const std::optional<std::string> text = "x";
  check("uuid", "x", &Item::setUuid, &Item::uuid, text);
  check("title", "x", &Item::setTitle, &Item::title, text);
  check("subtitle", "x", &Item::setSubtitle, &Item::subtitle, text);
  const std::optional<NSDate> noon = utc(2026, 5, 5, 12, 0);
  check("due", "2026-05-05-14:00:00 +0200", &Item::setDueDate, &Item::dueDate, noon);
  check("defer", "2026-05-05-14:00:00 +0200", &Item::setDeferDate, &Item::deferDate, noon);
  for (const auto get : {&Item::isFlagged, &Item::isEffectivelyFlagged})
    check("flagged", true, &Item::setFlagged, get, true);
  for (const auto get : {&Item::isParentFlagged, &Item::isEffectivelyFlagged})
    check("parentFlagged", true, &Item::setParentFlagged, get, true);
  check("repeats", true, &Item::setRepeats, &Item::repeats, true);
  check("blocked", true, &Item::setBlocked, &Item::isBlocked, true);
  check("inbox", true, &Item::setInboxItem, &Item::isInboxItem, true);
  check("onlyBlockedByDeferDate", true, &Item::setOnlyBlockedByDeferDate,
        &Item::isOnlyBlockedByDeferDate, true);
}

TEST_F(TLXExternalItemTest, WritesDatesInTheLocalTimeOfTheMoment) {
  const struct {
    const char* zone;
    NSDate date;
    const char* text;
  } cases[] = {{"Europe/Berlin", utc(2026, 10, 25, 0, 30), "2026-10-25-02:30:00 +0200"},
               {"Europe/Berlin", utc(2026, 10, 25, 1, 30), "2026-10-25-02:30:00 +0100"},
               {"Europe/Berlin", utc(2026, 3, 29, 1, 0), "2026-03-29-03:00:00 +0200"},
               {"Asia/Kolkata", utc(2026, 1, 1, 18, 30), "2026-01-02-00:00:00 +0530"},
               {"UTC", utc(2026, 12, 31, 23, 59, 59), "2026-12-31-23:59:59 +0000"}};
  const auto& formatter = TLXExternalItem::sharedDateFormatter();
  for (const auto& each : cases) {
    SCOPED_TRACE(each.text);
    TimeZone::set(each.zone);
    EXPECT_EQ(formatter.stringFromDate(each.date), each.text);
    EXPECT_EQ(formatter.dateFromString(each.text), each.date);
    TimeZone::set("Pacific/Auckland");
    EXPECT_EQ(formatter.dateFromString(each.text), each.date) << "read anywhere";
  }
}

TEST_F(TLXExternalItemTest, IsWhoItsUuidSays) {
  const auto make = [](const char* uuid, const char* title) {
    return std::make_shared<TLXExternalItem>(
        PropertyListDictionary{{"uuid", uuid}, {"title", title}});
  };
  EXPECT_TRUE(make("A", "x")->isEqual(make("A", "y")));
  EXPECT_EQ(make("A", "x")->hash(), make("A", "y")->hash());
  EXPECT_FALSE(make("A", "x")->isEqual(make("B", "x")));
  EXPECT_FALSE(make("A", "x")->isEqual(std::make_shared<NSObject>()));

  const Clock::Fixed now(utc(2026, 5, 5, 12, 0));
  const auto item = make("A", "x");
  EXPECT_THAT(item->description(), ::testing::StartsWith("<TLXExternalItem: 0x"));
  EXPECT_THAT(item->description(), EndsWith("> — x (A) "));
  item->setDueDate(utc(2026, 5, 5, 11, 0));
  EXPECT_THAT(item->description(), EndsWith(" — x (A) <Due Today>"));
  item->setDueDate(utc(2026, 5, 4, 11, 0));
  EXPECT_THAT(item->description(), EndsWith(" — x (A) <Past Due>"));
}

TEST_F(TLXExternalItemTest, ListsWhatIsPublishedWithTheQueueApplied) {
  auto& list = TLXExternalItem::allTodayItems();
  EXPECT_TRUE(list.empty());
  const auto leaf = PropertyListDictionary{{"uuid", "leaf"}, {"title", "Leaf"}};
  const auto branch = PropertyListDictionary{{"children", PropertyList::Array{leaf}}};
  const auto root = PropertyListDictionary{
      {"uuid", "root"}, {"completed", "x"}, {"children", PropertyList::Array{branch, "odd"}}};
  auto grandchild = std::make_shared<TLXExternalItem>(leaf);
  TLXExternalAction::flagItem(grandchild);
  TLXExternalAction::uncompleteItem(std::make_shared<TLXExternalItem>(root));
  publish(PropertyListDictionary{{"items", PropertyList::Array{root, 3}},
                                 {"dueSoonInterval", 3600},
                                 {"contentCategories", 18446744073709551615u},
                                 {"usesCustomPerspective", true}});

  ASSERT_EQ(&TLXExternalItem::allTodayItems(), &list);
  ASSERT_EQ(list.size(), 1u);
  EXPECT_EQ(TLXExternalItemDueSoonInterval, 3600);
  EXPECT_EQ(TLXExternalItemTodayContentCategories, 18446744073709551615u);
  EXPECT_TRUE(TLXExternalItemTodayUsesCustomPerspective);
  const auto first = list[0];
  EXPECT_FALSE(first->isCompleted());
  ASSERT_EQ(first->children()->size(), 1u);
  EXPECT_TRUE(first->children()->at(0)->children()->at(0)->isFlagged());
  TLXExternalAction::unflagItem(grandchild);
  EXPECT_EQ(TLXExternalItem::allTodayItems()[0], first) << "unchanged contents are not re-read";
  TLXExternalItem::presenter()->refreshPlist();
  EXPECT_NE(TLXExternalItem::allTodayItems()[0], first);
  EXPECT_FALSE(list[0]->children()->at(0)->children()->at(0)->isFlagged());

  overwrite(sharedPath("items.plist"), "");
  std::remove(sharedPath("items.plist").c_str());
  TLXExternalItem::presenter()->refreshPlist();
  EXPECT_TRUE(TLXExternalItem::allTodayItems().empty());
  EXPECT_EQ(TLXExternalItemTodayContentCategories, 0u);
}

TEST_F(TLXExternalItemTest, SavesTheListAndKeepsItsRecords) {
  const auto item = std::make_shared<TLXExternalItem>(PropertyListDictionary{{"uuid", "A"}});
  TLXExternalItemDueSoonInterval = 86400;
  TLXExternalItemTodayContentCategories = 3;
  TLXExternalItemTodayUsesCustomPerspective = true;
  for (int time = 0; time < 2; ++time) {  // the second time nothing differs from the file
    TLXExternalItem::saveTodayItems({item});
    EXPECT_EQ(TLXExternalItem::allTodayItems(), TLXExternalItem::Items{item});
  }
  EXPECT_EQ(
      plistAt(sharedPath("items.plist")),
      PropertyList(PropertyListDictionary{{"items", PropertyList::Array{item->propertyList()}},
                                          {"dueSoonInterval", 86400.0},
                                          {"contentCategories", 3},
                                          {"usesCustomPerspective", true}}));
  TLXExternalItem::saveTodayItems(TLXExternalItem::allTodayItems());
  EXPECT_EQ(TLXExternalItem::allTodayItems().size(), 1u);
}

TEST_F(TLXExternalItemTest, AnswersAboutItsDates) {
  const NSDate now = utc(2026, 3, 29, 10, 0);  // 12:00 in Berlin, on a day of 23 hours
  const Clock::Fixed clock(now);
  const auto hours = [](double count) { return NSTimeInterval(count * 3600); };
  TLXExternalItemDueSoonInterval = 86400;
  struct Due {
    std::optional<NSDate> date;
    bool today, soon, overdue, past;
  };
  const Due dueCases[] = {
      {std::nullopt, false, false, false, false},
      {now, true, true, true, false},
      {now + hours(0.001), true, true, false, false},
      {now - hours(10.999), true, true, true, false},  // 00:00 was eleven hours ago
      {now - hours(11.001), false, true, true, true},
      {now + hours(11.999), true, true, false, false},
      {now + hours(12.001), false, true, false, false},
      {now + hours(24), false, true, false, false},
      {now + hours(25), false, false, false, false}};
  for (const auto& each : dueCases) {
    SCOPED_TRACE(each.date ? (*each.date - now).count() / 3600 : 0);
    TLXExternalItem item;
    item.setDueDate(each.date);
    EXPECT_EQ(item.isDueToday(), each.today);
    EXPECT_EQ(item.isDueSoon(), each.soon);
    EXPECT_EQ(item.isOverdue(), each.overdue);
    EXPECT_EQ(item.isPastDue(), each.past);
  }
  struct Deferred {
    std::optional<NSDate> date;
    bool today, future, blocked;
  };
  const Deferred deferCases[] = {{std::nullopt, false, false, false},
                                 {now - hours(1), true, false, false},
                                 {now, true, false, true},
                                 {now + hours(1), true, true, true},
                                 {now + hours(13), false, true, true}};
  for (const auto& each : deferCases) {
    SCOPED_TRACE(each.date ? (*each.date - now).count() / 3600 : 0);
    TLXExternalItem item;
    item.setDeferDate(each.date);
    EXPECT_EQ(item.isDeferredUntilToday(), each.today);
    EXPECT_EQ(item.hasFutureDeferDate(), each.future);
    EXPECT_EQ(item.isBlocked(), each.blocked);
  }
  // The same moments, where it is already the next day.
  TimeZone::set("Pacific/Kiritimati");
  TLXExternalItem item;
  item.setDueDate(now - hours(1));
  EXPECT_FALSE(item.isDueToday());
  EXPECT_TRUE(item.isPastDue());
}

TEST_F(TLXExternalItemTest, SelectsForTheTodayList) {
  const NSDate now = utc(2026, 5, 5, 12, 0);
  const Clock::Fixed clock(now);
  const auto hours = [](double count) { return NSTimeInterval(count * 3600); };
  TLXExternalItemDueSoonInterval = 7200;
  struct Case {
    const char* what;
    std::function<void(TLXExternalItem&)> prepare;
    std::uint64_t shownBy;  // the categories, each alone, that show it
    bool shownByPerspective;
  };
  const std::vector<Case> cases{
      {"plain", [](auto&) {}, 0, true},
      {"overdue", [&](auto& item) { item.setDueDate(now - hours(30)); }, 1 | 32, true},
      {"due today", [&](auto& item) { item.setDueDate(now + hours(3)); }, 2, true},
      {"due soon", [&](auto& item) { item.setDueDate(now + hours(2)); }, 2 | 32, true},
      {"parent flagged", [](auto& item) { item.setParentFlagged(true); }, 8, true},
      {"inbox", [](auto& item) { item.setInboxItem(true); }, 16, true},
      {"flagged in the inbox, blocked",
       [](auto& item) {
         item.setFlagged(true);
         item.setInboxItem(true);
         item.setBlocked(true);
       },
       0, false},
      {"deferred to later today", [&](auto& item) { item.setDeferDate(now + hours(1)); }, 0, false},
      {"only deferred to later today",
       [&](auto& item) {
         item.setDeferDate(now + hours(1));
         item.setOnlyBlockedByDeferDate(true);
         item.setFlagged(true);
         item.setInboxItem(true);
       },
       4, true},
      {"deferred to tomorrow, flagged",
       [&](auto& item) {
         item.setDeferDate(now + hours(24));
         item.setFlagged(true);
       },
       0, false},
      {"completed and overdue",
       [&](auto& item) {
         item.setDueDate(now - hours(30));
         item.setCompleted(true);
       },
       1 | 32, true}};
  for (const auto& each : cases) {
    SCOPED_TRACE(each.what);
    TLXExternalItem item;
    each.prepare(item);
    TLXExternalItemTodayUsesCustomPerspective = true;
    TLXExternalItemTodayContentCategories = 0;
    EXPECT_EQ(item.shouldDisplayInTodayExtension(), each.shownByPerspective);
    TLXExternalItemTodayUsesCustomPerspective = false;
    for (std::uint64_t category = 0; category <= 64; category = category ? category * 2 : 1) {
      TLXExternalItemTodayContentCategories = category;
      EXPECT_EQ(item.shouldDisplayInTodayExtension(), (each.shownBy & category) != 0) << category;
    }
  }
}

TEST_F(TLXExternalItemTest, LooksForIncompleteChildrenAtEveryDepth) {
  const auto leaf = std::make_shared<TLXExternalItem>();
  const auto branch = std::make_shared<TLXExternalItem>();
  TLXExternalItem root;
  EXPECT_FALSE(root.hasIncompleteChildren());
  branch->setCompleted(true);
  branch->setChildren(TLXExternalItem::Items{leaf});
  root.setChildren(TLXExternalItem::Items{branch});
  EXPECT_TRUE(root.hasIncompleteChildren());
  leaf->setCompleted(true);
  EXPECT_FALSE(root.hasIncompleteChildren());
}

}  // namespace
}  // namespace tasklane
