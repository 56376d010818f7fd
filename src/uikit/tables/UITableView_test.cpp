#include "uikit/tables/UITableView.h"

#include <random>

#include "uikit/tables/UITableViewController.h"
#include "uikit/tables/UITableViewTesting.h"

namespace tasklane {
namespace {

using testing::ElementsAre;

TEST_F(UITableViewTest, MakesCellsForTheRowsThatFitAndNoMore) {
  show({100'000});
  EXPECT_EQ(RecordingCell::made, 10);  // 440 points of 44
  EXPECT_EQ(list->countsAsked, 1);
  EXPECT_EQ(table->contentSize().height, 4'400'000);
  for (int step = 1; step <= 300; ++step) scroll(step * 37);
  EXPECT_EQ(RecordingCell::made, 11);
  EXPECT_EQ(table->indexPathsForVisibleRows().front(), (NSIndexPath{0, 252}));
  EXPECT_EQ(table->cellForRowAtIndexPath({0, 0}), nullptr);
  scroll(3e6);
  EXPECT_EQ(RecordingCell::made, 11);
  EXPECT_EQ(table->cellForRowAtIndexPath({0, 68181})->textLabel()->text(), "68181");
}

TEST_F(UITableViewTest, PreparesACellJustBeforeHandingItOutAgain) {
  show({30});
  const auto first = table->cellForRowAtIndexPath({0, 0});
  scroll(20);
  scroll(44);
  EXPECT_TRUE(record().empty()) << "the row that left is prepared only when it is needed";
  EXPECT_TRUE(first->isHidden());
  EXPECT_EQ(first->superview(), table);
  scroll(50);
  EXPECT_THAT(record(), ElementsAre("prepare 1"));
  EXPECT_FALSE(first->isHidden());
  EXPECT_EQ(table->indexPathForCell(*first), (NSIndexPath{0, 11}));
}

TEST_F(UITableViewTest, ReloadGivesEachRowItsFormerCell) {
  show({5});
  std::vector<std::shared_ptr<UITableViewCell>> before;
  for (std::size_t i = 0; i < 5; ++i) before.push_back(table->cellForRowAtIndexPath({0, i}));
  table->reloadData();
  for (std::size_t i = 0; i < 5; ++i) EXPECT_EQ(table->cellForRowAtIndexPath({0, i}), before[i]);
  EXPECT_EQ(RecordingCell::made, 5);
}

// Rows of other heights than estimated come on screen above what is shown: what is shown stays.
TEST_F(UITableViewTest, ScrollingBackOverRowsThatWereNeverSeenDoesNotJump) {
  struct Case {
    const char* what;
    std::function<CGFloat(NSIndexPath)> heightOf;
  };
  for (const Case& c : {Case{"higher", [](NSIndexPath) { return 70.0; }},
                        Case{"mixed", [](NSIndexPath p) { return 44.0 + p.row * 31 % 60; }},
                        Case{"lower", [](NSIndexPath) { return 20.0; }}}) {
    SCOPED_TRACE(c.what);
    list->heightOf = c.heightOf;
    show({300});
    table->setContentOffset({0, 9'000});
    table->layoutIfNeeded();
    for (int step = 0; step < 3000 && table->contentOffset().y > 0; ++step) {
      const NSIndexPath fixed = table->indexPathsForVisibleRows()[1];
      const CGFloat before = screenY(fixed);
      const CGFloat by = std::min<CGFloat>(15, table->contentOffset().y);
      scroll(table->contentOffset().y - by);
      ASSERT_NEAR(screenY(fixed), before + by, 1e-6) << "row " << fixed.row;
      const CGRect last =
          table->cellForRowAtIndexPath(table->indexPathsForVisibleRows().back())->frame();
      ASSERT_GE(last.maxY(), table->bounds().maxY());
    }
    ASSERT_EQ(table->indexPathsForVisibleRows().front(), (NSIndexPath{0, 0}));
    EXPECT_EQ(screenY({0, 0}), 0);
    // Down to the end: the last row is there, at the bottom.
    for (int step = 0; step < 300; ++step) scroll(1e9);
    EXPECT_NEAR(table->cellForRowAtIndexPath({0, 299})->frame().maxY(), table->bounds().maxY(),
                1e-6);
  }
}

TEST_F(UITableViewTest, ReloadKeepsTheRowsOnScreenInPlaceAndTheOffsetWithinTheContent) {
  list->heightOf = [](NSIndexPath path) { return 60.0 + path.row % 7; };
  show({200});
  for (int step = 0; step < 40; ++step) scroll(table->contentOffset().y + 150);
  const auto first = table->indexPathsForVisibleRows().front();
  const CGFloat before = screenY(first);
  table->reloadData();
  EXPECT_EQ(table->indexPathsForVisibleRows().front(), first);
  EXPECT_EQ(screenY(first), before);
  list->rows = {8};
  table->reloadData();
  table->layoutIfNeeded();
  EXPECT_EQ(table->contentOffset().y, table->contentSize().height - 440);
  list->rows = {0};
  table->reloadData();
  table->layoutIfNeeded();
  EXPECT_EQ(table->contentOffset().y, 0);
  EXPECT_TRUE(table->indexPathsForVisibleRows().empty());
}

TEST_F(UITableViewTest, AHeaderViewScrollsAboveTheFirstRowAndMayStayOutOfSight) {
  show({2});
  const auto header = std::make_shared<UIView>(CGRect{0, 0, 10, 56});
  table->setTableHeaderView(header);
  table->layoutIfNeeded();
  EXPECT_EQ(header->frame(), (CGRect{0, 0, 300, 56}));
  EXPECT_EQ(table->rectForRowAtIndexPath({0, 0}).minY(), 56);
  table->setContentOffset({0, 56});
  table->reloadData();
  table->layoutIfNeeded();
  EXPECT_EQ(table->contentOffset().y, 56) << "a short list keeps its header hidden";
  scroll(0);
  EXPECT_EQ(table->contentOffset().y, 0);
  scroll(100);
  EXPECT_EQ(table->contentOffset().y, 56);

  table->setTableHeaderView(std::make_shared<UIView>(CGRect{0, 0, 10, 20}));
  EXPECT_EQ(header->superview(), nullptr);
  table->layoutIfNeeded();
  EXPECT_EQ(table->contentOffset().y, 20) << "there is less to scroll away";
}

TEST_F(UITableViewTest, AControllerServesItsTableUnlessAnotherDoes) {
  const auto controller = std::make_shared<UITableViewController>(UITableViewStyle::Plain);
  const auto other = std::make_shared<UITableViewController>(UITableViewStyle::Plain);
  EXPECT_EQ(controller->tableView()->delegate(), controller);
  EXPECT_EQ(controller->tableView()->dataSource(), controller);
  other->setTableView(controller->tableView());
  EXPECT_EQ(controller->tableView()->delegate(), controller);
  EXPECT_EQ(controller->tableView()->dataSource(), controller);
}

TEST_F(UITableViewTest, DataThatChangesBehindTheTablesBackIsAskedForAgain) {
  show({100});
  list->rows = {12};
  scroll(2000);
  EXPECT_EQ(table->numberOfRowsInSection(0), 12u);
  EXPECT_EQ(table->indexPathsForVisibleRows().back(), (NSIndexPath{0, 11}));
  list->rows = {3};
  table->userDidChooseRow({0, 10});
  EXPECT_TRUE(list->chosen.empty());
  EXPECT_EQ(table->numberOfRowsInSection(0), 3u);
  list->rows = {};
  scroll(1);
  table->userDidChooseRow({0, 0});
  EXPECT_EQ(table->numberOfSections(), 0u);
}

TEST_F(UITableViewTest, ReloadsFromInsideItsOwnQuestionsAndCallbacks) {
  int reloads = 0;
  list->onCell = [&](UITableView& t, NSIndexPath path) {
    if (path.row != 4 || ++reloads > 2) return;
    list->rows = {50};
    t.reloadData();
  };
  show({20});
  EXPECT_EQ(table->numberOfRowsInSection(0), 50u);
  EXPECT_EQ(table->indexPathsForVisibleRows().size(), 10u);
  list->onChoose = [&](UITableView& t, NSIndexPath) {
    list->rows = {1};
    t.reloadData();
  };
  table->userDidChooseRow({0, 7});
  EXPECT_THAT(list->chosen, ElementsAre(NSIndexPath{0, 7}));
  EXPECT_EQ(table->indexPathsForVisibleRows().size(), 1u);
  list->onCell = [](UITableView& t, NSIndexPath) { t.reloadData(); };
  table->reloadData();
  table->layoutIfNeeded();  // ends, with a line on the console
}

TEST_F(UITableViewTest, AListThatIsBeyondItsEndComesBackWhenItsFrameGrows) {
  show({20});
  table->setFrame({0, 0, 300, 200});
  scroll(9999);
  EXPECT_EQ(table->contentOffset().y, 680);
  table->setFrame({0, 0, 300, 400});
  table->layoutIfNeeded();
  EXPECT_EQ(table->contentOffset().y, 480);
}

TEST_F(UITableViewTest, PressingShowsTheSelectedBackgroundUnlessTheRowHasNoSelectionStyle) {
  show({3});
  const auto cell = table->cellForRowAtIndexPath({0, 1});
  const auto background = std::make_shared<UIView>();
  cell->setSelectedBackgroundView(background);
  table->userDidPressRow(NSIndexPath{0, 1});
  EXPECT_EQ(cell->subviews().front(), background);
  EXPECT_EQ(background->frame(), cell->bounds());
  table->userDidPressRow({});
  EXPECT_EQ(background->superview(), nullptr);
  cell->setSelectionStyle(UITableViewCellSelectionStyle::None);
  table->userDidChooseRow({0, 1});
  EXPECT_EQ(background->superview(), nullptr);
  EXPECT_THAT(list->chosen, ElementsAre(NSIndexPath{0, 1})) << "it can be chosen all the same";
  table->userDidChooseRow({0, 2});
  EXPECT_FALSE(cell->isSelected()) << "one row at a time";
}

TEST_F(UITableViewTest, GroupedSectionsHaveTheirTitlesWhileOnScreen) {
  list->titles = {"First", std::nullopt, "Third"};
  show({3, 3, 30}, UITableViewStyle::Grouped);
  EXPECT_THAT(record(), ElementsAre("0 First", "2 Third"));
  const CGRect third = table->rectForHeaderInSection(2);
  EXPECT_GT(third.size.height, 30);
  EXPECT_EQ(table->rectForRowAtIndexPath({2, 0}).minY(), third.maxY());
  EXPECT_EQ(table->rectForHeaderInSection(3), CGRect{});
  record().clear();
  table->layoutIfNeeded();
  EXPECT_THAT(record(), ElementsAre()) << "while they stay they are shown once";
  table->reloadData();
  table->layoutIfNeeded();
  EXPECT_THAT(record(), testing::IsSupersetOf({"0 First", "2 Third"})) << "it may be for colours";
  record().clear();
  scroll(700);
  scroll(0);
  EXPECT_THAT(record(), testing::Contains("0 First"));
  table->setContentOffset({0, 700});
  EXPECT_FALSE(table->headerViewForSection(0)) << "it is asked for before the next layout";
  table->setContentOffset({0, 0});
  EXPECT_TRUE(table->headerViewForSection(0));
}

TEST_F(UITableViewTest, ANarrowerTableMeasuresItsRowsAgain) {
  show({100});
  const std::string longText(60, 'x');
  for (const auto path : table->indexPathsForVisibleRows()) {
    const auto label = table->cellForRowAtIndexPath(path)->textLabel();
    label->setNumberOfLines(0);
    label->setText(longText);
  }
  table->setFrame({0, 0, 150, 440});
  table->layoutIfNeeded();
  const auto cell = table->cellForRowAtIndexPath({0, 1});
  EXPECT_GT(cell->frame().size.height, 60);
  EXPECT_EQ(cell->frame().size.width, 150);
  EXPECT_EQ(cell->frame().minY(), table->cellForRowAtIndexPath({0, 0})->frame().maxY());
}

TEST_F(UITableViewTest, ScrollsToARowWhoseHeightNobodyHasSeen) {
  CGFloat lowest = 30;  // then much more than estimated, as large texts are
  list->heightOf = [&](NSIndexPath path) { return lowest + path.row * 13 % 50; };
  for (const auto position : {UITableViewScrollPosition::None, UITableViewScrollPosition::Top,
                              UITableViewScrollPosition::Middle, UITableViewScrollPosition::Bottom,
                              UITableViewScrollPosition::None}) {
    show({500});
    table->scrollToRowAtIndexPath({0, 400}, position, false);
    const auto cell = table->cellForRowAtIndexPath({0, 400});
    ASSERT_TRUE(cell);
    const CGFloat above = cell->frame().minY() - table->contentOffset().y;
    const CGFloat room = 440 - cell->frame().size.height;
    if (position == UITableViewScrollPosition::Top) {
      EXPECT_NEAR(above, 0, 1);
    }
    if (position == UITableViewScrollPosition::Middle) {
      EXPECT_NEAR(above, room / 2, 1);
    }
    if (position == UITableViewScrollPosition::Bottom) {
      EXPECT_NEAR(above, room, 1);
    }
    EXPECT_GE(above, -0.5);
    EXPECT_LE(above, room + 0.5);
    lowest = 140;
    table->removeFromSuperview();
  }
}

// Whatever is done to it in whatever order, the rows on screen are all that fit, without gaps.
TEST_F(UITableViewTest, StaysWholeUnderRandomUseWhileItsDataChanges) {
  std::mt19937 random(11);
  const auto below = [&](std::size_t limit) { return static_cast<std::size_t>(random() % limit); };
  std::size_t salt = 1;
  list->heightOf = [&](NSIndexPath path) {
    return 10.0 + static_cast<CGFloat>((path.row * 37 + path.section * 11) % 97 * salt % 120);
  };
  list->titles = {"A", std::nullopt, "C"};
  for (const auto style : {UITableViewStyle::Plain, UITableViewStyle::Grouped}) {
    show({40, 3, 200}, style);
    for (int step = 0; step < 2000; ++step) {
      SCOPED_TRACE(step);
      switch (below(12)) {
        case 0:
          list->rows = {below(60), below(5), below(300)};
          break;
        case 1:
          list->rows.assign(below(4), below(50));
          break;
        case 2:
          salt = below(5) + 1;
          [[fallthrough]];
        case 3:
          table->reloadData();
          break;
        case 4:
          table->setFrame({0, 0, 200.0 + below(3) * 50, 100.0 + below(400)});
          break;
        case 5:
          table->handleKey(static_cast<UITableView::Key>(below(7)));
          break;
        case 6:
          table->userDidChooseRow({below(3), below(60)});
          break;
        case 7:
          table->scrollToRowAtIndexPath({below(3), below(60)}, UITableViewScrollPosition::Middle,
                                        false);
          break;
        case 8:
          table->setTableHeaderView(below(2) ? std::make_shared<UIView>(CGRect{0, 0, 0, 56.0})
                                             : nullptr);
          break;
        default:
          scroll(table->contentOffset().y + static_cast<CGFloat>(below(600)) - 300);
      }
      table->layoutIfNeeded();
      const auto rows = table->indexPathsForVisibleRows();
      CGFloat end = 0;
      for (const auto path : rows) {
        const CGRect frame = table->cellForRowAtIndexPath(path)->frame();
        ASSERT_EQ(frame, table->rectForRowAtIndexPath(path));
        if (path != rows.front() && path.row > 0) {
          ASSERT_NEAR(frame.minY(), end, 1e-6);
        }
        end = frame.maxY();
      }
      for (std::size_t section = 0; section < table->numberOfSections(); ++section) {
        for (std::size_t row = 0; row < table->numberOfRowsInSection(section); ++row) {
          const NSIndexPath path{section, row};
          const CGRect frame = table->rectForRowAtIndexPath(path);
          const CGRect shown = table->bounds();
          if (frame.minY() >= shown.maxY() || frame.maxY() <= shown.minY()) continue;
          if (frame.size.height == 0) continue;
          ASSERT_TRUE(table->cellForRowAtIndexPath(path)) << section << " " << row;
        }
      }
    }
  }
  EXPECT_LT(RecordingCell::made, 200);
}

}  // namespace
}  // namespace tasklane
