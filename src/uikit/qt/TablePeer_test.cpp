#include "uikit/qt/TablePeer.h"

#include <gtest/gtest.h>

#include <QWheelEvent>

#include "uikit/qt/Fixture.h"

namespace tasklane::qt {
namespace {

void turnWheel(QWidget* over, int degrees) {
  const QPointF middle = over->rect().center();
  QWheelEvent event(middle, over->mapToGlobal(middle), {}, {0, degrees * 8}, Qt::NoButton,
                    Qt::NoModifier, Qt::NoScrollPhase, false);
  QApplication::sendEvent(over, &event);
  UpdateQueue::shared().flush();
}

class TablePeerTest : public ::testing::Test {
 protected:
  QWidget* viewport() const {
    return ViewPeer::of(std::static_pointer_cast<UIView>(list->tableView()))->container();
  }
  QWidget* rowWidget(std::size_t row) const {
    return ViewPeer::of(list->tableView()->cellForRowAtIndexPath({0, row}).get())->widget();
  }
  /// Where a row is, by the view's own reckoning, in the viewport.
  QPoint middleOfRow(std::size_t row) const {
    const CGRect rect = list->tableView()->rectForRowAtIndexPath({0, row});
    const CGPoint offset = list->tableView()->contentOffset();
    return QPointF(rect.midX() - offset.x, rect.midY() - offset.y).toPoint();
  }

  std::shared_ptr<ListScreen> list = std::make_shared<ListScreen>(100000);
  ShownWindow shown{list};
};

TEST_F(TablePeerTest, RowWidgetsStandWhereTheViewSaysAndFollowTheWheel) {
  EXPECT_TRUE(rowWidget(1)->geometry().contains(middleOfRow(1)));
  turnWheel(viewport(), -15);
  const double offset = list->tableView()->contentOffset().y;
  EXPECT_GT(offset, 0);
  EXPECT_TRUE(rowWidget(2)->geometry().contains(middleOfRow(2)));
  turnWheel(viewport(), 15);
  EXPECT_EQ(list->tableView()->contentOffset().y, 0);
  turnWheel(viewport(), 15);
  EXPECT_EQ(list->tableView()->contentOffset().y, 0);
}

TEST_F(TablePeerTest, OnlyRowsOnTheScreenHaveWidgetsHoweverFarItScrolls) {
  const auto rows = [&] { return viewport()->findChildren<QWidget*>(Qt::FindDirectChildrenOnly); };
  for (const std::size_t row : {50000u, 99999u, 10u}) {
    list->tableView()->scrollToRowAtIndexPath({0, row}, UITableViewScrollPosition::Top, false);
    UpdateQueue::shared().flush();
  }
  EXPECT_TRUE(waitFor([&] { return rows().size() < 40; })) << rows().size();
}

TEST_F(TablePeerTest, APressHighlightsAndARleaseChoosesUnlessItIsElsewhere) {
  const auto cell = list->tableView()->cellForRowAtIndexPath({0, 2});
  QTest::mousePress(viewport(), Qt::LeftButton, {}, middleOfRow(2));
  EXPECT_TRUE(cell->isHighlighted());
  QTest::mouseRelease(viewport(), Qt::LeftButton, {}, middleOfRow(2));
  EXPECT_EQ(list->chosen, std::vector<std::string>{"Project 2"});

  QTest::mousePress(viewport(), Qt::LeftButton, {}, middleOfRow(3));
  QTest::mouseMove(viewport(), middleOfRow(5));
  QMouseEvent drag(QEvent::MouseMove, middleOfRow(5), viewport()->mapToGlobal(middleOfRow(5)),
                   Qt::NoButton, Qt::LeftButton, {});
  QApplication::sendEvent(viewport(), &drag);
  EXPECT_FALSE(list->tableView()->cellForRowAtIndexPath({0, 3})->isHighlighted());
  QTest::mouseRelease(viewport(), Qt::LeftButton, {}, middleOfRow(5));
  EXPECT_EQ(list->chosen.size(), 1u);
}

TEST_F(TablePeerTest, APressThatAReloadInterruptsChoosesNothing) {
  QTest::mousePress(viewport(), Qt::LeftButton, {}, middleOfRow(2));
  list->search->searchBar()->userDidChangeText("9");
  UpdateQueue::shared().flush();
  QTest::mouseRelease(viewport(), Qt::LeftButton, {}, middleOfRow(2));
  EXPECT_TRUE(list->chosen.empty());
}

TEST(TablePeer, APressOnARowLeavesTheKeyboardInTheTitle) {
  const auto sheet = std::make_shared<Sheet>();
  const ShownWindow shown(sheet);
  const auto rows = findView<UITableView>(sheet->view());
  const auto* row = ViewPeer::of(rows->cellForRowAtIndexPath({0, 0}))->widget();
  QWindow* window = shown.widget()->windowHandle();
  const QPoint place = row->mapTo(shown.widget(), centerOf(row));
  ASSERT_TRUE(sheet->textView()->isFirstResponder());
  QTest::mouseClick(window, Qt::RightButton, {}, place);
  EXPECT_TRUE(sheet->textView()->isFirstResponder());
  QTest::mousePress(window, Qt::LeftButton, {}, place);
  QTest::mouseMove(window, place - QPoint(0, 100));
  QTest::mouseRelease(window, Qt::LeftButton, {}, place - QPoint(0, 100));
  EXPECT_TRUE(sheet->textView()->isFirstResponder());
  QTest::mouseClick(window, Qt::LeftButton, {}, place);
  EXPECT_TRUE(sheet->textView()->isFirstResponder());
}

TEST(TablePeer, TheWheelShowsTheSearchFieldAlsoAboveFewRows) {
  for (const std::size_t rows : {0u, 1u, 8u, 100u}) {
    const auto list = std::make_shared<ListScreen>(rows);
    const ShownWindow shown(list);
    list->tableView()->setContentOffset({0, 56});
    UpdateQueue::shared().flush();
    const auto* peer = ViewPeer::of(std::static_pointer_cast<UIView>(list->tableView()));
    const auto wheel = [&](int degrees) {
      turnWheel(peer->container(), degrees);
      return list->tableView()->contentOffset().y;
    };
    EXPECT_EQ(wheel(30), 0) << rows;
    EXPECT_GE(wheel(-30), rows == 100 ? 57 : 56) << rows;
  }
}

TEST_F(TablePeerTest, AClickOnARowsTextChoosesTheRow) {
  const auto label = list->tableView()->cellForRowAtIndexPath({0, 1})->textLabel();
  const QPoint inWindow = widgetOf(label)->mapTo(shown.widget(), centerOf(widgetOf(label)));
  QTest::mouseClick(shown.widget()->windowHandle(), Qt::LeftButton, {}, inWindow);
  EXPECT_EQ(list->chosen, std::vector<std::string>{"Project 1"});
}

TEST_F(TablePeerTest, TheSearchFieldTellsOnceAndDoesNotEcho) {
  const auto bar = list->search->searchBar();
  bar->becomeFirstResponder();
  shown.type("999");
  EXPECT_EQ(bar->text(), "999");
  EXPECT_EQ(list->tableView()->numberOfRowsInSection(0), 280u);
  bar->setText("set");
  UpdateQueue::shared().flush();
  EXPECT_EQ(widgetOf<QLineEdit>(bar)->text(), "set");
  EXPECT_EQ(list->tableView()->numberOfRowsInSection(0), 280u);
}

TEST(TablePeer, AFingersTapChoosesAndItsDragScrollsWithSwing) {
  Finger::screen();
  const auto list = std::make_shared<ListScreen>(1000);
  const ShownWindow shown(list);
  Finger finger(shown.widget());
  const QPoint place(200, 400);
  finger.press(place);
  finger.lift(place);
  EXPECT_TRUE(waitFor([&] { return list->chosen.size() == 1; }));
  const auto offset = [&] { return list->tableView()->contentOffset().y; };
  // The swing is as fast as the drag was, and a loaded machine may make one slow.
  bool swings = false;
  for (int attempt = 0; attempt < 10 && !swings; ++attempt) {
    QPoint at = place;
    finger.press(at);
    for (int i = 0; i < 15; ++i) {
      const double before = offset();
      finger.move(at -= QPoint(0, 20));
      EXPECT_TRUE(i < 2 || waitFor([&] { return offset() > before; }));
    }
    const double dragged = offset();
    finger.lift(at);
    swings = NSRunLoop::mainRunLoop().runUntil([&] { return offset() > dragged + 100; },
                                               std::chrono::seconds(2));
  }
  EXPECT_TRUE(swings);
  EXPECT_EQ(list->chosen.size(), 1u);
  for (const auto path : list->tableView()->indexPathsForVisibleRows()) {
    EXPECT_FALSE(list->tableView()->cellForRowAtIndexPath(path)->isHighlighted());
  }
}

}  // namespace
}  // namespace tasklane::qt
