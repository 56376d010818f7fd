#include "option-picker/OptionPickerGroup.h"

#include <gtest/gtest.h>

#include <array>
#include <random>

#include "foundation/base/NSValue.h"
#include "option-picker/OptionPickerController.h"

namespace tasklane {
namespace {

using Text = NSValue<std::string>;

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

TEST(OptionPickerGroup, ACopySharesTheItemsAndLeavesThemAlone) {
  const auto picker = std::make_shared<OptionPickerController>();
  const auto listener = std::make_shared<NSObject>();
  int performed = 0;
  OptionPickerGroup group;
  group.setOptionPicker(picker);
  group.setTitle("Title");
  group.setItems(OptionPickerItem::optionPickerItemsWithTitles({"a", "b"}));
  group.setSelectedItemIndex(1);
  group.setTarget(listener);
  group.setAction([&](OptionPickerGroup&) { ++performed; });
  group.setTag(3);
  const auto copied = group.copy();
  EXPECT_NE(copied->items(), group.items());
  EXPECT_EQ(*copied->items(), *group.items());
  EXPECT_EQ(copied->items()->at(1)->optionPicker(), picker);
  EXPECT_EQ(copied->selectedItem(), group.selectedItem());
  EXPECT_EQ(copied->title(), "Title");
  EXPECT_EQ(copied->optionPicker(), picker);
  EXPECT_EQ(copied->tag(), 3);
  copied->performAction();
  EXPECT_EQ(performed, 1);
}

// Any number of groups, some of them copies, may hold the same items, and come and go; the pickers
// are told of every change and of nothing else.
class GroupModel {
 public:
  explicit GroupModel(unsigned seed) : random_(seed) {
    for (const auto& picker : pickers_) (void)picker->wasTold();
    for (int i = 0; i < 8; ++i) {
      items_.push_back(std::make_shared<OptionPickerItem>(std::to_string(i)));
      // Two of each value, and two items without any.
      if (i < 6)
        items_.back()->setRepresentedObject(std::make_shared<Text>(i % 2 ? "odd" : "even"));
      if (i == 0) items_.back()->setRepresentedObject(std::make_shared<Text>("zero"));
    }
  }

  void step() {
    Group& group = groups_[below(std::size(groups_))];
    std::vector<int> told(std::size(pickers_));
    const auto tell = [&] {
      if (group.picker >= 0) ++told[static_cast<std::size_t>(group.picker)];
    };
    switch (below(8)) {
      case 0: {
        group.picker = static_cast<int>(below(3)) - 1;
        group.real->setOptionPicker(group.picker < 0 ? nullptr : pickerAt(group.picker));
        break;
      }
      case 1: {
        const std::int64_t index = below(3) == 0 ? NSNotFound : static_cast<std::int64_t>(below(9));
        if (index != group.selected) tell();
        group.selected = index;
        group.real->setSelectedItemIndex(index);
        break;
      }
      case 2: {
        Group& other = groups_[below(std::size(groups_))];
        const auto copied = other.real->copy();  // perhaps of itself; the group that was there dies
        group = other;
        group.real = copied;
        break;
      }
      case 3:
        group.real->setTitle(group.real->title());
        break;
      case 4:
        tell();
        group.real->setTitle(std::optional<std::string>(group.real->title()));
        break;
      case 5:
        group.real->setItems(group.real->items());
        break;
      default:
        if (group.selected != NSNotFound && group.selected >= size(group)) {
          EXPECT_THROW((void)group.real->selectedItem(), std::out_of_range);
          break;
        }
        if (replace(group)) tell();
    }
    for (std::size_t i = 0; i < std::size(pickers_); ++i)
      EXPECT_EQ(pickers_[i]->wasTold(), told[i] > 0) << "picker " << i;
    compare();
  }

 private:
  struct Picker : OptionPickerController {
    std::size_t numberOfSectionsInTableView(UITableView&) override { return ++asked, 0; }
    /// A table asks for its sections once after each reload.
    bool wasTold() {
      const int before = asked;
      (void)tableView()->numberOfSections();
      return asked != before;
    }
    int asked = 0;
  };
  struct Group {
    std::shared_ptr<OptionPickerGroup> real = std::make_shared<OptionPickerGroup>();
    std::optional<std::vector<std::size_t>> items;
    std::int64_t selected = NSNotFound;
    int picker = -1;
  };

  std::size_t below(std::size_t limit) { return random_() % limit; }
  std::shared_ptr<Picker> pickerAt(int index) { return pickers_[static_cast<std::size_t>(index)]; }
  static std::int64_t size(const Group& group) {
    return group.items ? static_cast<std::int64_t>(group.items->size()) : 0;
  }

  /// Answers whether that is a change: no list is the very same as no list.
  bool replace(Group& group) {
    const bool hadItems = group.items.has_value();
    std::shared_ptr<NSObject> chosen;
    if (group.selected != NSNotFound)
      chosen =
          items_[(*group.items)[static_cast<std::size_t>(group.selected)]]->representedObject();
    for (const auto item : group.items.value_or(std::vector<std::size_t>{})) owners_[item] = -1;
    OptionPickerItemList list;
    group.items.reset();
    group.selected = NSNotFound;
    if (below(8) > 0) {
      group.items.emplace();
      std::vector<std::shared_ptr<OptionPickerItem>> members;
      for (std::size_t i = 0; i < items_.size(); ++i) {
        const std::size_t item = (i * 5 + 3) % items_.size();
        if (below(2) == 0) continue;
        if (group.selected == NSNotFound && chosen && items_[item]->representedObject() &&
            chosen->isEqual(items_[item]->representedObject().get()))
          group.selected = size(group);
        group.items->push_back(item);
        owners_[item] = group.picker;
        members.push_back(items_[item]);
      }
      list = std::make_shared<OptionPickerItemList::element_type>(members);
    }
    group.real->setItems(list);
    EXPECT_TRUE(!list || group.real->items() != list) << "a copy is kept";
    return hadItems || list;
  }

  void compare() {
    for (std::size_t i = 0; i < items_.size(); ++i)
      EXPECT_EQ(items_[i]->optionPicker(), owners_[i] < 0 ? nullptr : pickerAt(owners_[i])) << i;
    for (const Group& group : groups_) {
      EXPECT_EQ(group.real->selectedItemIndex(), group.selected);
      ASSERT_EQ(group.real->items() != nullptr, group.items.has_value());
      for (std::int64_t i = 0; i < size(group); ++i) {
        const auto at = static_cast<std::size_t>(i);
        EXPECT_EQ(group.real->itemAt(at), items_[(*group.items)[at]]);
        if (i == group.selected) {
          EXPECT_EQ(group.real->selectedItem(), group.real->itemAt(at));
        }
      }
      if (group.selected == NSNotFound) {
        EXPECT_EQ(group.real->selectedItem(), nullptr);
      }
    }
  }

  std::mt19937 random_;
  std::vector<std::shared_ptr<OptionPickerItem>> items_;
  std::array<int, 8> owners_{-1, -1, -1, -1, -1, -1, -1, -1};
  std::shared_ptr<Picker> pickers_[2] = {std::make_shared<Picker>(), std::make_shared<Picker>()};
  Group groups_[3];
};

TEST(OptionPickerGroup, DoesAsItsModelUnderRandomUse) {
  for (unsigned seed = 0; seed < 20; ++seed) {
    GroupModel model(seed);
    for (int step = 0; step < 300 && !::testing::Test::HasFailure(); ++step) {
      SCOPED_TRACE(std::to_string(seed) + ", step " + std::to_string(step));
      model.step();
    }
  }
}

}  // namespace
}  // namespace tasklane
