#include "appearance/TasklaneAppearanceTableViewController.h"

#include <gtest/gtest.h>

#include "appearance/TestApplication.h"

namespace tasklane {
namespace {

class Table : public TasklaneAppearanceTableViewController {
 public:
  using TasklaneAppearanceTableViewController::TasklaneAppearanceTableViewController;
  std::size_t numberOfRowsInSection(UITableView&, std::size_t) override {
    ++timesAsked;
    return 0;
  }
  std::optional<std::string> titleForHeaderInSection(UITableView&, std::size_t) override {
    return "Header";
  }
  int timesAsked = 0;
};

class ThemedTable : public ::testing::Test {
 protected:
  ~ThemedTable() override { TasklaneAppearance::setCurrentPalette(0); }
  static void expectColors(UITableView& table, const std::optional<UIColor>& background,
                           const std::optional<UIColor>& separator) {
    EXPECT_EQ(table.backgroundColor(), background);
    EXPECT_EQ(table.separatorColor(), separator);
  }
  const TestApplication application_;
  const TasklaneAppearance& light_ = *TasklaneDefaultAppearance::appearance();
  const TasklaneAppearance& dark_ = *TasklaneDarkAppearance::appearance();
};

TEST_F(ThemedTable, TakesTheColoursOfItsStyleOnLoadingAndOnReplacement) {
  const auto plain = std::make_shared<Table>(UITableViewStyle::Plain);
  expectColors(*plain->tableView(), light_.BackgroundColor(), light_.SeparatorColor());
  const auto grouped = std::make_shared<Table>(UITableViewStyle::Grouped);
  expectColors(*grouped->tableView(), light_.StandardGroupedTableBackgroundColor(),
               light_.StandardGroupedTableViewSeparatorColor());
  const auto other = std::make_shared<UITableView>(CGRect(), UITableViewStyle::Grouped);
  plain->setTableView(other);
  expectColors(*other, light_.StandardGroupedTableBackgroundColor(),
               light_.StandardGroupedTableViewSeparatorColor());
  const auto strange = std::make_shared<UITableView>(CGRect(), static_cast<UITableViewStyle>(9));
  const auto background = strange->backgroundColor();
  const auto separator = strange->separatorColor();
  plain->setTableView(strange);
  expectColors(*strange, background, separator);
}

TEST_F(ThemedTable, RestylesAndReloadsOnAChange) {
  const auto controller = std::make_shared<Table>(UITableViewStyle::Plain);
  auto& table = *controller->tableView();
  table.setFrame({0, 0, 320, 480});
  table.layoutIfNeeded();
  TasklaneAppearance::setCurrentPalette(1);
  controller->timesAsked = 0;
  notifyChildrenThatAppearanceDidChange(controller, TasklaneAppearance::appearance());
  table.layoutIfNeeded();
  expectColors(table, dark_.BackgroundColor(), dark_.SeparatorColor());
  EXPECT_EQ(table.indicatorStyle(), UIScrollViewIndicatorStyle::White);
  EXPECT_GE(controller->timesAsked, 1);
}

TEST_F(ThemedTable, ColoursHeadersOfGroupedTablesAndAgainForAnotherPalette) {
  const auto headerColor = [](UITableView& table) {
    table.layoutIfNeeded();
    for (const auto& view : table.subviews())
      if (const auto header = std::dynamic_pointer_cast<UITableViewHeaderFooterView>(view))
        if (!header->isHidden()) return header->textLabel()->textColor();
    return std::optional<UIColor>();
  };
  const auto ofItself = UITableViewHeaderFooterView("header").textLabel()->textColor();
  for (const auto style : {UITableViewStyle::Plain, UITableViewStyle::Grouped}) {
    const bool plain = style == UITableViewStyle::Plain;
    const auto controller = std::make_shared<Table>(style);
    auto& table = *controller->tableView();
    table.setFrame({0, 0, 320, 480});
    EXPECT_EQ(headerColor(table),
              plain ? ofItself : light_.StandardGroupedTableSectionHeaderTextColor());
    TasklaneAppearance::setCurrentPalette(1);
    notifyChildrenThatAppearanceDidChange(controller, TasklaneAppearance::appearance());
    EXPECT_EQ(headerColor(table),
              plain ? ofItself : dark_.StandardGroupedTableSectionHeaderTextColor());
    controller->willDisplayHeaderView(table, *std::make_shared<UIView>(),
                                      0);  // no label, no colour
    TasklaneAppearance::setCurrentPalette(0);
  }
}

}  // namespace
}  // namespace tasklane
