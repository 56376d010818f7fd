#include "uikit/qt/PressGuard.h"

#include <gtest/gtest.h>

#include "uikit/controls/UIButton.h"
#include "uikit/qt/Fixture.h"

namespace tasklane::qt {
namespace {

class PressGuardTest : public ::testing::Test {
 protected:
  PressGuardTest() { pressesCount(); }
  ~PressGuardTest() override {
    pressesCount();
    QApplication::setDoubleClickInterval(0);
  }
  /// Ends what is on its way; the next change of screen has presses not count for a minute.
  void pressesCount() const {
    QApplication::setDoubleClickInterval(0);
    QKeyEvent ofNoMoment(QEvent::KeyRelease, Qt::Key_Shift, {});
    QApplication::sendEvent(shown.widget(), &ofNoMoment);
    PressGuard::shared().screenDidChange();
    QApplication::setDoubleClickInterval(60000);
  }
  void click(const std::shared_ptr<UIView>& view) const {
    const auto* widget = ViewPeer::of(view)->widget();
    QTest::mouseClick(shown.widget()->windowHandle(), Qt::LeftButton, {},
                      widget->mapTo(shown.widget(), centerOf(widget)));
    UpdateQueue::shared().flush();
  }
  std::shared_ptr<UIView> rowOfSheet(std::size_t row) const {
    return findView<UITableView>(shown.window)->cellForRowAtIndexPath({0, row});
  }
  void press(Qt::Key key, const QString& text, bool isRepeat) const {
    QKeyEvent event(QEvent::KeyPress, key, {}, text, isRepeat);
    QApplication::sendEvent(QApplication::focusWidget(), &event);
    UpdateQueue::shared().flush();
  }

  std::shared_ptr<Sheet> sheet = std::make_shared<Sheet>();
  ShownWindow shown{sheet};
};

TEST_F(PressGuardTest, ADoubleClickActsOnTheScreenItBeganOnOnly) {
  const auto project = rowOfSheet(1);
  click(project);
  ASSERT_TRUE(sheet->list);
  for (const auto& path : sheet->list->tableView()->indexPathsForVisibleRows())
    click(sheet->list->tableView()->cellForRowAtIndexPath(path));
  EXPECT_TRUE(sheet->list->chosen.empty());
  const auto back = findView<UIButton>(findView<UINavigationBar>(shown.window));
  click(back);
  EXPECT_NE(sheet->list->navigationController(), nullptr);

  pressesCount();
  click(back);
  EXPECT_EQ(sheet->list->navigationController(), nullptr);
  click(back);  // which is Cancel now
  EXPECT_EQ(sheet->cancels, 0);
  pressesCount();
  click(back);
  EXPECT_EQ(sheet->cancels, 1);
}

TEST_F(PressGuardTest, AKeyHeldDownDoesNotRepeatIntoTheNextScreen) {
  shown.key(Qt::Key_Tab);
  shown.key(Qt::Key_Down);
  press(Qt::Key_Return, "\r", false);
  ASSERT_TRUE(sheet->list);
  const auto& search = sheet->list->search->searchBar();
  press(Qt::Key_P, "p", true);
  EXPECT_EQ(search->text(), "");
  press(Qt::Key_P, "p", false);
  press(Qt::Key_P, "p", true);
  EXPECT_EQ(search->text(), "pp");
}

}  // namespace
}  // namespace tasklane::qt
