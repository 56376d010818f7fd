#include "option-picker/OptionPickerController.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "appearance/TasklaneAppearance.h"
#include "appearance/TasklaneAppearanceClient.h"
#include "appearance/TestApplication.h"
#include "option-picker/OptionPickerTableViewCell.h"
#include "option-picker/OptionPickerTesting.h"
#include "option-picker/SearchableOptionPickerController.h"
#include "uikit/base/UIScreen.h"

namespace tasklane {
namespace {

using ::testing::ElementsAre;

/// Before the first test, since a palette is read once in a process.
class Application : public ::testing::Environment {
  void SetUp() override { application_ = std::make_unique<TestApplication>(); }
  void TearDown() override { application_.reset(); }
  std::unique_ptr<TestApplication> application_;
};
const auto* const application =
    ::testing::AddGlobalTestEnvironment(std::make_unique<Application>().release());

TEST(OptionPickerController, ConveniencesWorkForExactlyOneGroup) {
  const auto picker = std::make_shared<OptionPickerController>();
  EXPECT_EQ(picker->numberOfOptionGroups(), 1);
  EXPECT_TRUE(picker->showsSelectedItem());
  EXPECT_EQ(picker->optionColor(), UIColor::blackColor());
  EXPECT_EQ(picker->selectedItemIndex(), NSNotFound);
  picker->setItems(itemsTitled({"A", "B"}));
  picker->setItemsSectionTitle("Letters");
  picker->setSelectedItemIndex(1);
  EXPECT_EQ(picker->itemsSectionTitle(), "Letters");
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

  screen.picker->tableView()->selectRowAtIndexPath(NSIndexPath{0, 0}, false,
                                                   UITableViewScrollPosition::None);
  screen.choose(0);
  EXPECT_EQ(screen.picker->tableView()->indexPathForSelectedRow(), std::nullopt);
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

  screen.picker->setShowsSelectedItem(false);  // nothing is reloaded then
  screen.picker->tableView()->selectRowAtIndexPath(NSIndexPath{0, 0}, false,
                                                   UITableViewScrollPosition::None);
  screen.choose(0);
  EXPECT_EQ(screen.picker->tableView()->indexPathForSelectedRow(), std::nullopt);
}

using GroupList = std::vector<std::shared_ptr<OptionPickerGroup>>;

/// A picker under random use; each row on its screen must be what its items, the picker and the
/// palette say.
class RowsModel {
 public:
  RowsModel(unsigned seed, UITableViewStyle style) : random_(seed), screen_(style) {
    screen_.picker->setItems(randomItems());
    screen_.show(200);
  }
  ~RowsModel() { TasklaneAppearance::setCurrentPalette(0); }

  void step() {
    auto& picker = *screen_.picker;
    const std::size_t section = below(picker.optionGroups()->size());
    const auto group = picker.optionGroups()->at(section);
    const std::size_t rows = group->items()->size();
    switch (below(9)) {
      case 0:
        if (rows > 0) screen_.choose(below(rows), section);
        if (!group->optionPicker()) picker.tableView()->reloadData();  // which told nobody
        break;
      case 1:
        group->setSelectedItemIndex(below(3) == 0 ? NSNotFound
                                                  : static_cast<long>(below(rows + 1)));
        if (group->selectedItemIndex() == static_cast<long>(rows))
          group->setSelectedItemIndex(NSNotFound);
        picker.tableView()->reloadData();
        break;
      case 2:
        if (rows > 0) group->itemAt(below(rows))->setEnabled(below(2) == 0);
        picker.tableView()->reloadData();
        break;
      case 3:
        color_ = below(3) == 0 ? std::nullopt : std::optional(UIColor{0.1 * below(9), 0, 0, 1});
        colorWasSet_ = true;
        picker.setOptionColor(color_);
        picker.tableView()->reloadData();
        break;
      case 4:
        picker.setShowsSelectedItem(!picker.showsSelectedItem());
        break;
      case 5:
        TasklaneAppearance::setCurrentPalette(static_cast<unsigned>(below(3)));
        notifyChildrenThatAppearanceDidChange(screen_.picker, TasklaneAppearance::appearance());
        break;
      case 6:
        picker.tableView()->userDidScrollToOffset({0, 20.0 * below(12)});
        break;
      case 7:
        group->setItems(randomItems());
        picker.tableView()->reloadData();
        break;
      default:
        picker.setOptionGroups(std::make_shared<const GroupList>(randomGroups()));
    }
    expectWhatIsShown();
  }

 private:
  std::size_t below(std::size_t limit) { return random_() % limit; }

  GroupList randomGroups() {
    GroupList groups(1 + below(2));
    for (auto& made : groups) {
      made = std::make_shared<OptionPickerGroup>();
      made->setTitle(below(3) == 0 ? std::nullopt : std::optional<std::string>("Section"));
      made->setItems(randomItems());
    }
    return groups;
  }

  OptionPickerItemList randomItems() {
    std::vector<std::shared_ptr<OptionPickerItem>> items;
    for (std::size_t i = below(12); i > 0; --i) {
      items.push_back(std::make_shared<OptionPickerItem>("Item " + std::to_string(i)));
      items.back()->setEnabled(below(3) > 0);
      if (below(2) == 0) items.back()->setDetailText("Folder");
      if (below(2) == 0) items.back()->setImage(icon_);
    }
    return std::make_shared<OptionPickerItemList::element_type>(items);
  }

  void expectWhatIsShown() {
    auto& table = *screen_.picker->tableView();
    table.layoutIfNeeded();
    const auto& groups = *screen_.picker->optionGroups();
    ASSERT_EQ(table.numberOfSections(), groups.size());
    for (std::size_t section = 0; section < groups.size(); ++section) {
      ASSERT_EQ(table.numberOfRowsInSection(section), groups[section]->items()->size());
      EXPECT_EQ(
          screen_.picker->titleForHeaderInSection(table, section),
          table.style() == UITableViewStyle::Grouped ? groups[section]->title() : std::nullopt);
    }
    for (const auto path : table.indexPathsForVisibleRows())
      expectRow(*table.cellForRowAtIndexPath(path), *groups[path.section], path.row);
  }

  void expectRow(UITableViewCell& cell, const OptionPickerGroup& group, std::size_t row) {
    const auto& item = *group.itemAt(row);
    SCOPED_TRACE(*item.title());
    const auto& picker = *screen_.picker;
    const auto& palette = *TasklaneAppearance::appearance();
    const bool grouped = screen_.picker->tableView()->style() == UITableViewStyle::Grouped;
    const bool isChosen =
        picker.showsSelectedItem() && group.selectedItemIndex() == static_cast<long>(row);
    const auto unavailable = palette.UnavailableTitleTextColor();
    const auto tint = screen_.picker->tableView()->tintColor();

    EXPECT_EQ(cell.textLabel()->text(), item.title());
    EXPECT_EQ(cell.accessibilityLabel(), item.title());
    EXPECT_EQ(cell.detailTextLabel()->text(), item.detailText());
    EXPECT_EQ(cell.accessibilityHint(), item.detailText());
    EXPECT_EQ(cell.imageView()->image(), item.image());
    EXPECT_EQ(cell.accessoryType(), isChosen ? UITableViewCellAccessoryType::Checkmark
                                             : UITableViewCellAccessoryType::None);
    EXPECT_EQ(cell.accessibilityValue(),
              isChosen ? std::optional<std::string>("Selected") : std::nullopt);
    EXPECT_EQ(cell.textLabel()->textColor(), isChosen            ? std::optional(tint)
                                             : !item.isEnabled() ? unavailable
                                             : colorWasSet_      ? color_
                                                                 : palette.TitleTextColor());
    const auto& title = *cell.textLabel();
    const bool isTitled = title.bounds().size.width > 0;
    EXPECT_EQ(cell.separatorInset().left,
              isTitled ? title.convertRectToView(title.bounds(), &cell).minX()
                       : UITableViewCell(UITableViewCellStyle::Default, "").separatorInset().left);
    EXPECT_EQ(cell.detailTextLabel()->textColor(),
              item.isEnabled() ? palette.MetadataTextColor() : unavailable);
    EXPECT_EQ(cell.imageView()->tintColor(), !item.isEnabled() ? unavailable
                                             : color_          ? color_
                                                      : screen_.picker->view()->tintColor());
    EXPECT_EQ(cell.selectionStyle(), item.isEnabled() ? UITableViewCellSelectionStyle::Default
                                                      : UITableViewCellSelectionStyle::None);
    EXPECT_TRUE(item.isEnabled() || cell.accessibilityTraits() & UIAccessibilityTraitNotEnabled);
    EXPECT_EQ(cell.backgroundColor(), grouped ? palette.StandardGroupedTableCellBackgroundColor()
                                              : palette.StandardPlainTableCellBackgroundColor());
  }

  std::mt19937 random_;
  OnScreen<OptionPickerController> screen_;
  std::optional<UIColor> color_ = UIColor::blackColor();
  bool colorWasSet_ = false;
  const std::shared_ptr<UIImage> icon_ =
      std::make_shared<UIImage>(std::make_shared<const CGImage>(CGImage{1, 1, {0xff000000}}), 1);
};

TEST(OptionPickerController, ShowsItsModelUnderRandomUse) {
  for (unsigned seed = 0; seed < 12; ++seed) {
    RowsModel model(seed, seed % 2 ? UITableViewStyle::Plain : UITableViewStyle::Grouped);
    for (int step = 0; step < 120 && !::testing::Test::HasFailure(); ++step) {
      SCOPED_TRACE(std::to_string(seed) + ", step " + std::to_string(step));
      model.step();
    }
  }
}

TEST(OptionPickerController, AnIndexBeyondItsModelIsARangeError) {
  OnScreen<OptionPickerController> screen;
  auto& picker = *screen.picker;
  auto& table = *picker.tableView();
  EXPECT_THROW((void)picker.cellForRowAtIndexPath(table, {0, 0}), std::out_of_range) << "no list";
  picker.setItems(itemsTitled({"One", "Two"}));
  screen.show();
  EXPECT_THROW((void)picker.cellForRowAtIndexPath(table, {0, 2}), std::out_of_range);
  EXPECT_THROW((void)picker.cellForRowAtIndexPath(table, {1, 0}), std::out_of_range);
  EXPECT_THROW((void)picker.numberOfRowsInSection(table, 1), std::out_of_range);
  EXPECT_THROW(screen.choose(2), std::out_of_range);
  EXPECT_EQ(picker.titleForHeaderInSection(table, 1), std::nullopt);
  picker.setSelectedItemIndex(NSNotFound);
  // The first group tells no picker, so that the table still counts two rows.
  picker.optionGroups()->front()->setItems(nullptr);
  EXPECT_THROW((void)picker.sizeThatFits({500, 500}), std::out_of_range);
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
  EXPECT_EQ(screen.picker->sizeThatFits({1000, 1000}), (CGSize{200, 0}));

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

}  // namespace
}  // namespace tasklane
