#include "appearance/TasklaneAppearanceTableViewCell.h"

#include <gtest/gtest.h>

#include "appearance/TasklaneAppearance.h"
#include "appearance/TasklaneAppearanceSelectedBackgroundViews.h"
#include "appearance/TasklaneAppearanceTintableDisclosureIndicatorView.h"
#include "appearance/TestApplication.h"
#include "appearance/UITableViewCell+TasklaneAppearance.h"
#include "uikit/tables/UITableView.h"

namespace tasklane {
namespace {

using detail::TasklaneAppearanceTableViewCellSelectedBackgroundView;
using Plain = detail::TasklaneAppearancePlainTableViewCellSelectedBackgroundView;
using Grouped = detail::TasklaneAppearanceGroupedTableViewCellSelectedBackgroundView;
using Standard = detail::StandardGroupedCellSelectedBackgroundView;
using Indicator = detail::TasklaneAppearanceTintableDisclosureIndicatorView;
using SelectionStyle = UITableViewCellSelectionStyle;

class ThemedCell : public ::testing::Test {
 protected:
  ~ThemedCell() override { TasklaneAppearance::setCurrentPalette(0); }

  static const TasklaneAppearance& appearance() { return TasklaneAppearance::currentAppearance(); }
  static std::shared_ptr<TasklaneAppearanceTableViewCell> makeCell() {
    return std::make_shared<TasklaneAppearanceTableViewCell>(UITableViewCellStyle::Subtitle, "row");
  }
  static std::shared_ptr<UITableView> makeTable(UITableViewStyle style) {
    return std::make_shared<UITableView>(CGRect(0, 0, 320, 480), style);
  }

  const TestApplication application_;
};

TEST_F(ThemedCell, TakesTheColoursOfTheTableThatItJoins) {
  const auto grouped = makeTable(UITableViewStyle::Grouped);
  const auto plain = makeTable(UITableViewStyle::Plain);
  const auto inner = std::make_shared<UIView>();
  plain->addSubview(inner);
  const auto cell = makeCell();
  EXPECT_EQ(cell->textLabel()->textColor(), appearance().TitleTextColor());
  EXPECT_EQ(cell->detailTextLabel()->textColor(), appearance().MetadataTextColor());
  EXPECT_EQ(cell->selectedBackgroundView(), nullptr);

  grouped->addSubview(cell);
  EXPECT_EQ(cell->backgroundColor(), appearance().StandardGroupedTableCellBackgroundColor());
  const auto background = std::dynamic_pointer_cast<Grouped>(cell->selectedBackgroundView());
  ASSERT_NE(background, nullptr);
  EXPECT_EQ(background->backgroundColor(), appearance().StandardGroupedTableCellSelectionColor());
  EXPECT_EQ(background->autoresizingMask(), 18u);

  // Somewhere inside a plain table; then outside of any, where it keeps what it has.
  TasklaneAppearance::setCurrentPalette(1);
  inner->addSubview(cell);
  EXPECT_EQ(cell->backgroundColor(), appearance().StandardPlainTableCellBackgroundColor());
  ASSERT_NE(std::dynamic_pointer_cast<Plain>(cell->selectedBackgroundView()), nullptr);
  EXPECT_EQ(cell->selectedBackgroundView()->backgroundColor(),
            appearance().StandardPlainTableCellSelectionColor());
  TasklaneAppearance::setCurrentPalette(0);
  const auto before = cell->backgroundColor();
  std::make_shared<UIView>()->addSubview(cell);
  cell->removeFromSuperview();
  EXPECT_EQ(cell->backgroundColor(), before);
}

TEST_F(ThemedCell, LeavesItselfAloneInATableOfAnotherStyle) {
  const auto cell = makeCell();
  makeTable(static_cast<UITableViewStyle>(2))->addSubview(cell);
  cell->applyTableViewCellAppearancePropertiesForUseInTableView(std::make_shared<UIView>());
  EXPECT_EQ(cell->selectedBackgroundView(), nullptr);
  EXPECT_EQ(cell->backgroundColor(), makeCell()->backgroundColor());
}

TEST_F(ThemedCell, ColoursTheSelectionByItsStyleAndKeepsTheViewOfTheSameKind) {
  const auto cell = makeCell();
  cell->applyGroupedTableViewCellAppearanceProperties();
  const auto made = cell->selectedBackgroundView();
  const auto color = appearance().StandardGroupedTableCellSelectionColor();
  const std::pair<SelectionStyle, std::optional<UIColor>> cases[] = {
      {SelectionStyle::None, std::nullopt},
      {SelectionStyle::Blue, color},
      {SelectionStyle::Gray, color},
      {SelectionStyle::Default, color},
      {static_cast<SelectionStyle>(4), std::nullopt}};
  for (const auto& [style, expected] : cases) {
    cell->setSelectionStyle(style);
    cell->applyGroupedTableViewCellAppearanceProperties();
    EXPECT_EQ(cell->selectedBackgroundView(), made);
    EXPECT_EQ(made->backgroundColor(), expected) << static_cast<int>(style);
  }
  cell->applyPlainTableViewCellAppearanceProperties();
  EXPECT_NE(cell->selectedBackgroundView(), made);
}

TEST_F(ThemedCell, ShowsOneChevronThatReuseTakesAway) {
  const auto table = makeTable(UITableViewStyle::Grouped);
  const auto cell = makeCell();
  table->addSubview(cell);
  cell->setHasTintableDisclosureIndicator(true);
  const auto chevron = cell->accessoryView();
  EXPECT_TRUE(cell->hasTintableDisclosureIndicator());
  cell->setHasTintableDisclosureIndicator(true);
  EXPECT_EQ(cell->accessoryView(), chevron);
  cell->setHasTintableDisclosureIndicator(false);
  EXPECT_EQ(cell->accessoryView(), nullptr);
  EXPECT_EQ(cell->accessoryType(), UITableViewCellAccessoryType::None);

  cell->setHasTintableDisclosureIndicator(true);
  TasklaneAppearance::setCurrentPalette(1);
  cell->prepareForReuse();
  EXPECT_FALSE(cell->hasTintableDisclosureIndicator());
  EXPECT_EQ(cell->textLabel()->textColor(), appearance().TitleTextColor());
  EXPECT_EQ(cell->backgroundColor(), appearance().StandardGroupedTableCellBackgroundColor());
}

TEST_F(ThemedCell, NotesTheUseOfTheSystemsChevron) {
  const auto cell = makeCell();
  testing::internal::CaptureStderr();
  cell->setAccessoryType(UITableViewCellAccessoryType::Checkmark);
  cell->setHasTintableDisclosureIndicator(true);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  testing::internal::CaptureStderr();
  cell->setAccessoryType(UITableViewCellAccessoryType::DisclosureIndicator);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("NOTREACHED"), std::string::npos);
  EXPECT_EQ(cell->accessoryType(), UITableViewCellAccessoryType::DisclosureIndicator);
  EXPECT_FALSE(cell->hasTintableDisclosureIndicator());
}

TEST_F(ThemedCell, StylesCellsOfAnyClassForAGroupedTable) {
  const auto cell = std::make_shared<UITableViewCell>(UITableViewCellStyle::Default, "row");
  TasklaneAppearance::setCurrentPalette(1);
  applyStandardGroupedAppearanceProperties(*cell);
  EXPECT_EQ(cell->backgroundColor(), appearance().StandardGroupedTableCellBackgroundColor());
  EXPECT_EQ(cell->textLabel()->textColor(), appearance().TitleTextColor());
  const auto background = std::dynamic_pointer_cast<Standard>(cell->selectedBackgroundView());
  ASSERT_NE(background, nullptr);
  TasklaneAppearance::setCurrentPalette(0);
  applyStandardGroupedAppearanceProperties(*cell);
  EXPECT_EQ(cell->selectedBackgroundView(), background);
  EXPECT_EQ(background->backgroundColor(), appearance().StandardGroupedTableCellSelectionColor());
}

TEST_F(ThemedCell, RefusesSelectedBackgroundsWithoutAStyle) {
  EXPECT_DEATH(
      (void)TasklaneAppearanceTableViewCellSelectedBackgroundView::tableViewCellSelectionColor(),
      "iPad/Classes/TasklaneAppearanceTableViewCell.*46");
  EXPECT_DEATH(Plain(CGRect{}), "iPad/Classes/TasklaneAppearanceTableViewCell.*51");
  EXPECT_DEATH(Standard(CGRect{}), "iOS/Views/TasklaneAppearance-TableViewSupport.*45");
}

TEST_F(ThemedCell, FindsTheSmallImageInTheOrderOfTheTree) {
  const auto image = [](int width, int height) {
    auto pixels = std::make_shared<CGImage>(CGImage{
        width, height, std::vector<std::uint32_t>(static_cast<std::size_t>(width * height))});
    return std::make_shared<UIImage>(pixels, 1);
  };
  const auto root = std::make_shared<UIView>();
  EXPECT_EQ(Indicator::findDisclosureImageStartingAtView(root), nullptr);
  const auto large = std::make_shared<UIImageView>(image(21, 20));
  const auto high = std::make_shared<UIImageView>(image(20, 21));
  const auto inner = std::make_shared<UIImageView>(image(20, 20));
  const auto later = std::make_shared<UIImageView>(image(1, 1));
  root->addSubview(std::make_shared<UIImageView>());
  root->addSubview(large);
  root->addSubview(later);
  large->addSubview(high);
  high->addSubview(inner);
  EXPECT_EQ(Indicator::findDisclosureImageStartingAtView(root), inner->image());
}

TEST_F(ThemedCell, HasAChevronThatFollowsThePaletteByItself) {
  const auto image = Indicator::disclosureIndicatorImage();
  EXPECT_EQ(image, Indicator::disclosureIndicatorImage());
  EXPECT_EQ(image->renderingMode(), UIImageRenderingMode::AlwaysTemplate);
  auto view = Indicator::disclosureIndicatorView();
  EXPECT_EQ(view->frame(), CGRect(0, 0, 21, 23));
  ASSERT_EQ(view->subviews().size(), 1u);
  EXPECT_EQ(view->subviews()[0]->frame(), CGRect({13, 5}, image->size()));
  TasklaneAppearance::setCurrentPalette(1);
  EXPECT_EQ(view->tintColor(), appearance().StandardDisclosureIndicatorColor());
  EXPECT_EQ(view->subviews()[0]->tintColor(), view->tintColor());
  const std::weak_ptr<UIView> gone = view;
  view = nullptr;
  EXPECT_TRUE(gone.expired());
  TasklaneAppearance::setCurrentPalette(0);
}

TEST_F(ThemedCell, DrawsAChevronWhereThePlatformHasNone) {
  const auto image = Indicator::disclosureIndicatorFallbackImage();
  EXPECT_EQ(image->size(), (CGSize{8, 13}));
  EXPECT_EQ(image->renderingMode(), UIImageRenderingMode::AlwaysTemplate);
  const auto& pixels = *image->pixels();
  const auto alphaAt = [&](CGFloat x, CGFloat y) {
    const auto column = static_cast<std::size_t>(x * image->scale());
    const auto row = static_cast<std::size_t>(y * image->scale());
    return pixels.argb[row * static_cast<std::size_t>(pixels.width) + column] >> 24;
  };
  EXPECT_GT(alphaAt(4, 3.75), 200u);  // halfway down the upper stroke
  EXPECT_GT(alphaAt(4, 9.25), 200u);  // and the lower one
  EXPECT_EQ(alphaAt(1, 6.5), 0u);     // inside the angle
  EXPECT_EQ(alphaAt(7.5, 1.5), 0u);   // outside of it
}

}  // namespace
}  // namespace tasklane
