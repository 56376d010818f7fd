#include "option-picker/OptionPickerController.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "appearance/TasklaneAppearance.h"
#include "option-picker/OptionPickerTableViewCell.h"
#include "option-picker/SearchableOptionPickerController.h"
#include "uikit/UIScreen.h"
#include "uikit/UIWindow.h"
#include "uikit/headless/Headless.h"

namespace tasklane {
namespace {

using ::testing::ElementsAre;

OptionPickerItemList itemsTitled(const std::vector<std::string>& titles) {
  return OptionPickerItem::optionPickerItemsWithTitles(titles);
}

std::vector<std::string> titlesOf(const OptionPickerItemList& items) {
  std::vector<std::string> titles;
  for (std::size_t i = 0; items && i < items->size(); ++i) {
    titles.push_back(items->at(i)->title().value_or("(none)"));
  }
  return titles;
}

/// A picker in a window on the (headless) screen.
template <class Picker>
struct OnScreen {
  std::shared_ptr<Picker> picker = std::make_shared<Picker>(UITableViewStyle::Plain);
  std::shared_ptr<UIWindow> window;

  void show(CGFloat height = 480) {
    window = std::make_shared<UIWindow>(CGRect(0, 0, 320, height));
    window->setRootViewController(picker);
    window->makeKeyAndVisible();
    window->layoutIfNeeded();
    picker->view()->layoutIfNeeded();
  }
  std::shared_ptr<UITableViewCell> cell(std::size_t row, std::size_t section = 0) {
    picker->tableView()->layoutIfNeeded();
    return picker->tableView()->cellForRowAtIndexPath({section, row});
  }
  void choose(std::size_t row, std::size_t section = 0) {
    picker->didSelectRowAtIndexPath(*picker->tableView(), {section, row});
  }
};

TEST(OptionPickerController, ConveniencesWorkForExactlyOneGroup) {
  const auto picker = std::make_shared<OptionPickerController>();
  EXPECT_EQ(picker->numberOfOptionGroups(), 1);
  EXPECT_TRUE(picker->showsSelectedItem());
  EXPECT_EQ(picker->optionColor(), UIColor::blackColor());
  EXPECT_EQ(picker->selectedItemIndex(), NSNotFound);
  picker->setItems(itemsTitled({"A", "B"}));
  picker->setItemsSectionTitle("Letters");
  picker->setSelectedItemIndex(1);
  EXPECT_EQ(picker->selectedItem()->title(), "B");
  EXPECT_EQ(picker->items()->at(0)->optionPicker(), nullptr) << "the first group has no picker";

  picker->setOptionGroups(std::make_shared<const std::vector<std::shared_ptr<OptionPickerGroup>>>(
      std::vector{std::make_shared<OptionPickerGroup>(), std::make_shared<OptionPickerGroup>()}));
  picker->setItems(itemsTitled({"C"}));
  picker->setSelectedItemIndex(0);
  picker->setItemsSectionTitle("Lost");
  EXPECT_EQ(picker->items(), nullptr);
  EXPECT_EQ(picker->itemsSectionTitle(), std::nullopt);
  EXPECT_EQ(picker->selectedItemIndex(), NSNotFound);
  EXPECT_EQ(picker->selectedItem(), nullptr);
  EXPECT_EQ(picker->optionGroups()->at(0)->items(), nullptr);
  EXPECT_EQ(picker->optionGroups()->at(0)->optionPicker(), picker);
}

TEST(OptionPickerController, TellsPickerGroupAndItemInThisOrder) {
  OnScreen<OptionPickerController> screen;
  const auto listener = std::make_shared<NSObject>();
  std::vector<std::string> heard;
  auto items = itemsTitled({"Enabled", "Disabled", "Deaf"});
  for (std::size_t row : {0u, 1u}) {
    items->at(row)->setTarget(listener);
    items->at(row)->setAction([&](OptionPickerItem& i) { heard.push_back("item " + *i.title()); });
  }
  items->at(1)->setEnabled(false);
  screen.picker->setItems(items);
  screen.picker->setTarget(listener);
  screen.picker->setAction([&](OptionPickerController&) { heard.push_back("picker"); });
  const auto group = screen.picker->optionGroups()->front();
  group->setTarget(listener);
  group->setAction([&](OptionPickerGroup&) { heard.push_back("group"); });
  screen.show();

  screen.choose(0);
  EXPECT_THAT(heard, ElementsAre("picker", "group", "item Enabled"));
  heard.clear();
  screen.choose(1);
  EXPECT_THAT(heard, ElementsAre()) << "a disabled row tells nobody";
  EXPECT_EQ(screen.picker->selectedItemIndex(), 1) << "but takes the selection";
  screen.choose(2);
  EXPECT_THAT(heard, ElementsAre("picker", "group"));

  heard.clear();
  screen.picker->setAction([&](OptionPickerController& p) { p.setSelectedItemIndex(0); });
  screen.choose(2);
  EXPECT_THAT(heard, ElementsAre("group", "item Enabled")) << "the item is read again at last";
}

TEST(OptionPickerController, DrawsRowsAsChosenDisabledAndColoured) {
  OnScreen<OptionPickerController> screen;
  auto items = itemsTitled({"Chosen", "Disabled", "Plain"});
  items->at(1)->setEnabled(false);
  items->at(2)->setDetailText("Folder");
  screen.picker->setItems(items);
  screen.picker->setSelectedItemIndex(0);
  screen.show();

  const auto chosen = screen.cell(0);
  ASSERT_TRUE(chosen);
  EXPECT_EQ(chosen->accessoryType(), UITableViewCellAccessoryType::Checkmark);
  EXPECT_EQ(chosen->accessibilityValue(), "Selected");
  EXPECT_EQ(chosen->textLabel()->textColor(), screen.picker->tableView()->tintColor());

  const auto disabled = screen.cell(1);
  EXPECT_EQ(disabled->textLabel()->textColor(),
            TasklaneAppearance::appearance()->UnavailableTitleTextColor());
  EXPECT_EQ(disabled->selectionStyle(), UITableViewCellSelectionStyle::None);
  EXPECT_TRUE(disabled->accessibilityTraits() & UIAccessibilityTraitNotEnabled);

  const auto plain = screen.cell(2);
  EXPECT_EQ(plain->accessibilityLabel(), "Plain");
  EXPECT_EQ(plain->accessibilityHint(), "Folder");
  EXPECT_EQ(plain->accessoryType(), UITableViewCellAccessoryType::None);
  EXPECT_EQ(plain->accessibilityValue(), std::nullopt);
  EXPECT_EQ(plain->textLabel()->textColor(), TasklaneAppearance::appearance()->TitleTextColor())
      << "black is only the icons' colour until a colour has been set";

  screen.picker->setOptionColor(UIColor::blackColor());
  screen.picker->tableView()->reloadData();
  EXPECT_EQ(screen.cell(2)->textLabel()->textColor(), UIColor::blackColor());
}

TEST(OptionPickerController, ScrollsUnlessAPadShowsEveryRow) {
  struct Case {
    UIUserInterfaceIdiom idiom;
    CGFloat height;
    bool scrolls;
  };
  const Case cases[] = {{UIUserInterfaceIdiom::Pad, 219, false},
                        {UIUserInterfaceIdiom::Pad, 218, true},
                        {UIUserInterfaceIdiom::Phone, 600, true},
                        {UIUserInterfaceIdiom::Unspecified, 600, true}};
  for (const auto& c : cases) {
    UIDevice::currentDevice().setUserInterfaceIdiom(c.idiom);
    OnScreen<OptionPickerController> plain;
    plain.picker->setItems(itemsTitled({"1", "2", "3", "4", "5"}));
    plain.picker->view()->setFrame({0, 0, 320, c.height});
    plain.picker->viewWillAppear(false);
    EXPECT_EQ(plain.picker->tableView()->isScrollEnabled(), c.scrolls) << c.height;

    OnScreen<SearchableOptionPickerController> searchable;
    searchable.picker->view()->setFrame({0, 0, 320, c.height});
    searchable.picker->viewWillAppear(false);
    EXPECT_TRUE(searchable.picker->tableView()->isScrollEnabled());
  }
  UIDevice::currentDevice().setUserInterfaceIdiom(UIUserInterfaceIdiom::Unspecified);
}

TEST(OptionPickerController, SizesToItsRowsWithAFloor) {
  OnScreen<OptionPickerController> screen;
  screen.picker->setOptionGroups(
      std::make_shared<const std::vector<std::shared_ptr<OptionPickerGroup>>>());
  EXPECT_EQ(screen.picker->sizeThatFits({1000, 1000}), CGSize(200, 0));

  OnScreen<OptionPickerController> filled;
  filled.picker->setItems(itemsTitled({std::string(60, 'w'), "short"}));
  filled.show();
  const CGSize ideal = filled.picker->idealSize();
  const CGFloat title = filled.cell(0)->textLabel()->sizeThatFits({1e9, 1e9}).width;
  EXPECT_DOUBLE_EQ(ideal.width, title + 26 + 36);
  filled.picker->setShowsSelectedItem(false);
  filled.cell(0);
  EXPECT_DOUBLE_EQ(filled.picker->idealSize().width, title + 26);
  EXPECT_DOUBLE_EQ(filled.picker->sizeThatFits({100, 1000}).width, 200);
  EXPECT_LE(filled.picker->sizeThatFits({1000, 10}).height, 10);
}

TEST(OptionPickerTableViewCell, StandsItsIconsInOneColumn) {
  const auto cell = std::make_shared<OptionPickerTableViewCell>(
      UITableViewCellStyle::Default, OptionPickerTableViewCell::reuseIdentifier());
  EXPECT_EQ(cell->reuseIdentifier(), "OptionPickerTableViewCellReuseIdenfitier");
  EXPECT_EQ(cell->style(), UITableViewCellStyle::Subtitle);
  cell->setFrame({0, 0, 320, 44});
  cell->textLabel()->setText("Title");
  cell->detailTextLabel()->setText("Detail");
  const auto pixels =
      std::make_shared<const CGImage>(CGImage{40, 20, std::vector<std::uint32_t>(800, 0xff000000)});
  cell->imageView()->setImage(std::make_shared<UIImage>(pixels, 1));
  cell->setNeedsLayout();
  cell->layoutIfNeeded();
  const CGRect icon = cell->imageView()->frame();
  EXPECT_EQ(icon.size.width, 25);
  EXPECT_EQ(cell->imageView()->contentMode(), UIViewContentMode::Center);
  EXPECT_EQ(cell->textLabel()->frame().minX(), icon.maxX() + 15);
  EXPECT_EQ(cell->detailTextLabel()->frame().minX(), icon.maxX() + 15);
}

struct Searching : OnScreen<SearchableOptionPickerController> {
  void begin(const OptionPickerItemList& items) {
    picker->setItems(items);
    show();
    picker->searchController()->setActive(true);
  }
  void type(const std::string& text) {
    picker->searchController()->searchBar()->userDidChangeText(text);
  }
};

TEST(SearchableOptionPickerController, MatchesAnywhereWithoutCaseAndAccents) {
  Searching search;
  search.begin(itemsTitled({"Home", "Work", "Homework", "Café"}));
  EXPECT_EQ(search.picker->searchBarVisibility(), 0);
  struct Case {
    std::string text;
    std::vector<std::string> shown;
  };
  const Case cases[] = {{"work", {"Work", "Homework"}},
                        {"hOmE", {"Home", "Homework"}},
                        {"wörk", {"Work", "Homework"}},
                        {"FE", {"Café"}},
                        {"zzz", {}},
                        {"h", {"Home", "Homework"}}};
  for (const auto& c : cases) {
    search.type(c.text);
    EXPECT_EQ(titlesOf(search.picker->items()), c.shown) << c.text;
  }
  search.type("");
  EXPECT_EQ(search.picker->items()->size(), 4u);
}

TEST(SearchableOptionPickerController, AChoiceThatASearchHidesComesBack) {
  Searching search;
  auto items = itemsTitled({"Home", "Work", "Homework"});
  for (std::size_t i = 0; i < items->size(); ++i) items->at(i)->setRepresentedObject(items->at(i));
  search.begin(items);
  search.picker->setSelectedItemIndex(0);
  search.type("wo");
  EXPECT_EQ(titlesOf(search.picker->items()), (std::vector<std::string>{"Work", "Homework"}));
  EXPECT_EQ(search.picker->selectedItemIndex(), NSNotFound);
  search.type("");
  EXPECT_EQ(search.picker->selectedItemIndex(), 0);

  search.type("wo");
  search.choose(0);
  EXPECT_EQ(search.picker->selectedItem()->title(), "Work");
  search.picker->searchController()->setActive(false);
  EXPECT_EQ(search.picker->selectedItemIndex(), 1) << "at its index in the full list";
  for (std::size_t i = 0; i < items->size(); ++i) items->at(i)->setRepresentedObject(nullptr);
}

TEST(SearchableOptionPickerController, EndsItsSearchOnLeavingExceptUnderAScreenReader) {
  for (const bool reader : {false, true}) {
    headless::setAssistiveProgramConnected(reader);
    Searching search;
    search.begin(itemsTitled({"Home", "Work"}));
    search.type("wo");
    EXPECT_TRUE(search.picker->unfilteredItems());
    search.picker->viewWillDisappear(false);
    EXPECT_EQ(search.picker->searchController()->isActive(), reader);
    EXPECT_EQ(search.picker->unfilteredItems(), nullptr);
    EXPECT_EQ(search.picker->items()->size(), reader ? 1u : 2u);
  }
  headless::setAssistiveProgramConnected(false);
}

TEST(SearchableOptionPickerController, HidesAndShowsItsFieldByScrolling) {
  Searching search;
  search.picker->setItems(itemsTitled({"Home", "Work"}));
  search.show();
  const CGFloat field = search.picker->tableView()->tableHeaderView()->bounds().size.height;
  EXPECT_EQ(search.picker->tableView()->contentOffset().y, field);
  search.picker->setSearchBarVisibility(1, false);
  EXPECT_TRUE(search.picker->searchBarIsVisible());
  EXPECT_EQ(search.picker->tableView()->contentOffset().y, 0);
}

TEST(SearchableOptionPickerController, RowsAreClearOnlyOverAClearTable) {
  Searching search;
  search.picker->setItems(itemsTitled({"Home"}));
  search.show();
  const auto own = search.cell(0)->backgroundColor();
  EXPECT_NE(own, UIColor::clearColor());
  search.picker->tableView()->setBackgroundColor(UIColor::clearColor());
  search.picker->tableView()->reloadData();
  EXPECT_EQ(search.cell(0)->backgroundColor(), UIColor::clearColor());
}

TEST(SearchableOptionPickerController, IsFreedWithItsWindow) {
  std::weak_ptr<NSObject> picker;
  {
    Searching search;
    search.begin(itemsTitled({"Home"}));
    search.type("h");
    picker = search.picker;
    search.window->close();
    search.window->setRootViewController(nullptr);
  }
  EXPECT_TRUE(picker.expired());
}

}  // namespace
}  // namespace tasklane
