#include "uikit/tables/UITableViewTesting.h"

namespace tasklane {
namespace {

using testing::ElementsAre;

TEST_F(UITableViewTest, KeysMoveTheKeyboardsRowAndKeepItInSight) {
  using Key = UITableView::Key;
  show({20, 0, 5});
  ASSERT_TRUE(table->becomeFirstResponder());
  EXPECT_EQ(table->focusedRow(), (NSIndexPath{0, 0}));
  struct Case {
    Key key;
    NSIndexPath row;
    bool taken = true;
  };
  for (const Case& c :
       {Case{Key::Up, {0, 0}, false}, Case{Key::Down, {0, 1}}, Case{Key::PageDown, {0, 10}},
        Case{Key::PageUp, {0, 1}}, Case{Key::End, {2, 4}}, Case{Key::Down, {2, 4}},
        Case{Key::PageDown, {2, 4}}, Case{Key::Home, {0, 0}}, Case{Key::PageUp, {0, 0}}}) {
    EXPECT_EQ(table->handleKey(c.key), c.taken);
    EXPECT_EQ(table->focusedRow(), c.row);
    const auto cell = table->cellForRowAtIndexPath(c.row);
    ASSERT_TRUE(cell) << "out of sight";
    EXPECT_TRUE(cell->isFocused());
    EXPECT_GE(cell->frame().minY(), table->bounds().minY());
    EXPECT_LE(cell->frame().maxY(), table->bounds().maxY());
  }
  for (int i = 0; i < 20; ++i) table->handleKey(Key::Down);
  EXPECT_EQ(table->focusedRow(), (NSIndexPath{2, 0})) << "over a section without rows";
  table->handleKey(Key::Choose);
  EXPECT_THAT(list->chosen, ElementsAre(NSIndexPath{2, 0}));
  const auto cell = table->cellForRowAtIndexPath({2, 0});
  EXPECT_TRUE(cell->isSelected());
  table->deselectRowAtIndexPath({2, 0}, true);
  EXPECT_FALSE(cell->isSelected());
  table->resignFirstResponder();
  EXPECT_FALSE(cell->isFocused());
  scroll(0);
  ASSERT_TRUE(table->becomeFirstResponder());
  EXPECT_EQ(table->focusedRow(), (NSIndexPath{0, 0})) << "the one before is out of sight";
  table->handleKey(Key::End);
  list->rows = {2};
  table->reloadData();
  table->layoutIfNeeded();
  EXPECT_EQ(table->focusedRow(), (NSIndexPath{0, 1})) << "the last that is left";
  list->rows = {0};
  table->reloadData();
  EXPECT_FALSE(table->handleKey(Key::Down));
}

TEST_F(UITableViewTest, ARowOutOfSightIsShownBeforeAKeyChoosesOrLeavesIt) {
  using Key = UITableView::Key;
  show({50});
  ASSERT_TRUE(table->becomeFirstResponder());
  struct Case {
    Key toRow, then;
    CGFloat away;
    std::size_t row;
  };
  for (const Case& c : {Case{Key::End, Key::Down, 0, 49}, Case{Key::End, Key::PageDown, 0, 49},
                        Case{Key::End, Key::Choose, 0, 49}, Case{Key::Home, Key::Up, 900, 0},
                        Case{Key::Home, Key::Choose, 900, 0}}) {
    table->handleKey(c.toRow);
    scroll(c.away);
    ASSERT_FALSE(table->cellForRowAtIndexPath({0, c.row}));
    EXPECT_TRUE(table->handleKey(c.then));
    EXPECT_TRUE(table->cellForRowAtIndexPath({0, c.row}));
    EXPECT_EQ(table->focusedRow(), (NSIndexPath{0, c.row}));
  }
  EXPECT_TRUE(list->chosen.empty());
  table->handleKey(Key::Choose);
  EXPECT_THAT(list->chosen, ElementsAre(NSIndexPath{0, 0}));
}

TEST_F(UITableViewTest, WhatScrollsAroundAListShowsTheKeyboardsRow) {
  show({10});
  table->setScrollEnabled(false);
  const auto around = std::make_shared<UIScrollView>(CGRect{0, 0, 300, 200});
  around->setContentSize({300, 540});
  window->addSubview(around);
  around->addSubview(table);
  table->setFrame({0, 100, 300, 440});
  window->layoutIfNeeded();
  ASSERT_TRUE(table->becomeFirstResponder());
  EXPECT_EQ(around->contentOffset().y, 0);
  table->handleKey(UITableView::Key::End);
  EXPECT_EQ(around->contentOffset().y, 340);
  table->handleKey(UITableView::Key::Home);
  EXPECT_EQ(around->contentOffset().y, 100);
}

}  // namespace
}  // namespace tasklane
