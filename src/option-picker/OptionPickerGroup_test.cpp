#include "option-picker/OptionPickerGroup.h"

#include <gtest/gtest.h>

#include "foundation/NSValue.h"
#include "option-picker/OptionPickerController.h"

namespace tasklane {
namespace {

using Text = NSValue<std::string>;

/// Items titled and represented by the words of a text; "-x" has no represented object.
OptionPickerItemList itemsOf(const std::vector<std::string>& words) {
  std::vector<std::shared_ptr<OptionPickerItem>> items;
  for (const auto& word : words) {
    auto item = std::make_shared<OptionPickerItem>(word);
    if (word.front() != '-') item->setRepresentedObject(std::make_shared<Text>(word));
    items.push_back(item);
  }
  return OptionPickerItems::make(items);
}

TEST(OptionPickerItem, IsMadeInTitleOrderAndRefusesShortLists) {
  const std::vector<std::string> titles{"One", "Two"};
  const std::vector<std::string> details{"first", "second"};
  const std::vector<std::string> tooFew{"first"};
  const auto items = OptionPickerItem::optionPickerItemsWithTitles(titles, &details);
  EXPECT_EQ(items->size(), 2u);
  EXPECT_EQ(items->at(1)->title(), "Two");
  EXPECT_EQ(items->at(1)->detailText(), "second");
  EXPECT_TRUE(items->at(1)->isEnabled());
  EXPECT_THROW(OptionPickerItem::optionPickerItemsWithTitles(titles, &tooFew), std::out_of_range);
}

TEST(OptionPickerItem, CopyLeavesTargetActionAndPickerBehind) {
  const auto pixels = std::make_shared<const CGImage>(CGImage{1, 1, {0xff000000}});
  const auto owner = std::make_shared<NSObject>();
  int performed = 0;
  OptionPickerItem item(std::string("Title"));
  item.setDetailText("detail");
  item.setImage(std::make_shared<UIImage>(pixels, 1));
  item.setRepresentedObject(owner);
  item.setTag(7);
  item.setEnabled(false);
  item.setTarget(owner);
  item.setAction([&](OptionPickerItem&) { ++performed; });
  EXPECT_EQ(item.image()->renderingMode(), UIImageRenderingMode::AlwaysTemplate);

  const auto copied = item.copy();
  EXPECT_EQ(copied->title(), "Title");
  EXPECT_EQ(copied->detailText(), "detail");
  EXPECT_EQ(copied->image(), item.image());
  EXPECT_EQ(copied->representedObject(), owner);
  EXPECT_EQ(copied->tag(), 7);
  EXPECT_FALSE(copied->isEnabled());
  copied->performAction();
  EXPECT_EQ(performed, 0);
  item.performAction();
  EXPECT_EQ(performed, 1);
}

TEST(OptionPickerGroup, SelectionFollowsItsRepresentedObject) {
  struct Case {
    std::string what;
    std::vector<std::string> before;
    std::int64_t selected;
    std::vector<std::string> after;
    std::int64_t expected;
  };
  const Case cases[] = {
      {"moves with its item", {"a", "b", "c"}, 1, {"c", "b"}, 1},
      {"is lost with its item", {"a", "b", "c"}, 1, {"a", "c"}, NSNotFound},
      {"is lost without an object", {"-a", "-b"}, 0, {"-a", "-b"}, NSNotFound},
      {"none stays none", {"a"}, NSNotFound, {"a"}, NSNotFound},
      {"of two equals the earlier wins", {"a", "b"}, 1, {"b", "b"}, 0},
      {"into nothing", {"a"}, 0, {}, NSNotFound},
  };
  for (const auto& c : cases) {
    OptionPickerGroup group;
    group.setItems(itemsOf(c.before));
    group.setSelectedItemIndex(c.selected);
    group.setItems(itemsOf(c.after));
    EXPECT_EQ(group.selectedItemIndex(), c.expected) << c.what;
  }
}

TEST(OptionPickerGroup, TheVeryListChangesNothingAnEqualOneDoes) {
  OptionPickerGroup group;
  group.setItems(itemsOf({"-a"}));
  group.setSelectedItemIndex(0);
  group.setItems(group.items());
  EXPECT_EQ(group.selectedItemIndex(), 0);
  group.setItems(std::make_shared<const OptionPickerItems>(*group.items()));
  EXPECT_EQ(group.selectedItemIndex(), NSNotFound);
}

TEST(OptionPickerGroup, AnIndexOutsideTheListIsARangeError) {
  OptionPickerGroup group;
  EXPECT_EQ(group.selectedItem(), nullptr);
  group.setSelectedItemIndex(0);
  EXPECT_THROW(group.selectedItem(), std::out_of_range);
  group.setSelectedItemIndex(NSNotFound);
  group.setItems(itemsOf({"a"}));
  group.setSelectedItemIndex(1);
  EXPECT_THROW(group.selectedItem(), std::out_of_range);
}

TEST(OptionPickerGroup, ItemsBelongToThePickerOfTheMomentTheyWereSet) {
  const auto picker = std::make_shared<OptionPickerController>();
  OptionPickerGroup group;
  const auto early = itemsOf({"a"});
  group.setItems(early);
  group.setOptionPicker(picker);
  EXPECT_EQ(early->at(0)->optionPicker(), nullptr) << "a picker given later is not passed on";

  const auto pool = itemsOf({"a", "b", "c"});
  group.setItems(pool);
  EXPECT_EQ(pool->at(0)->optionPicker(), picker);

  group.setItems(OptionPickerItems::part(pool, {0, 2}));
  EXPECT_EQ(pool->at(0)->optionPicker(), picker);
  EXPECT_EQ(pool->at(1)->optionPicker(), nullptr) << "dropped by narrowing";
  group.setItems(pool);
  EXPECT_EQ(pool->at(1)->optionPicker(), picker) << "taken in again by widening";

  OptionPickerGroup other;
  other.setItems(pool);
  group.setItems(itemsOf({"x"}));
  EXPECT_EQ(pool->at(0)->optionPicker(), nullptr);
}

TEST(OptionPickerGroup, ItemsMadeLaterBelongToThePickerAndAreMadeOnce) {
  const auto picker = std::make_shared<OptionPickerController>();
  OptionPickerGroup group;
  group.setOptionPicker(picker);
  const std::vector<std::string> titles{"a", "b", "c"};
  int made = 0;
  const auto pool = std::make_shared<const OptionPickerItems>(
      titles.size(),
      [&](std::size_t position) {
        ++made;
        return std::make_shared<OptionPickerItem>(titles[position]);
      },
      [&](std::size_t position) { return std::optional<std::string_view>(titles[position]); });
  group.setItems(pool);
  EXPECT_EQ(pool->titleAt(2), "c");
  EXPECT_EQ(made, 0);
  EXPECT_EQ(pool->at(1)->optionPicker(), picker);
  EXPECT_EQ(pool->at(1), group.items()->at(1));
  EXPECT_EQ(made, 1);
  group.setItems(OptionPickerItems::part(pool, {2}));
  EXPECT_EQ(group.items()->at(0)->title(), "c");
  EXPECT_EQ(pool->at(1)->optionPicker(), nullptr);
  group.setItems(nullptr);
  EXPECT_EQ(pool->at(0)->optionPicker(), nullptr) << "made after the group let it go";
  EXPECT_THROW(pool->at(3), std::out_of_range);
}

TEST(OptionPickerGroup, ACopySharesTheItemsAndLeavesThemAlone) {
  const auto picker = std::make_shared<OptionPickerController>();
  OptionPickerGroup group;
  group.setOptionPicker(picker);
  group.setTitle("Title");
  group.setItems(itemsOf({"a", "b"}));
  group.setSelectedItemIndex(1);
  group.setTag(3);
  const auto copied = group.copy();
  EXPECT_NE(copied->items(), group.items());
  EXPECT_EQ(copied->items()->at(1), group.items()->at(1));
  EXPECT_EQ(copied->items()->at(1)->optionPicker(), picker);
  EXPECT_EQ(copied->selectedItem(), group.selectedItem());
  EXPECT_EQ(copied->title(), "Title");
  EXPECT_EQ(copied->optionPicker(), picker);
  EXPECT_EQ(copied->tag(), 3);
}

}  // namespace
}  // namespace tasklane
