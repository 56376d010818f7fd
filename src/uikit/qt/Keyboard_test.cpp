#include "uikit/qt/Keyboard.h"

#include <gtest/gtest.h>

#include <QInputMethod>
#include <QInputMethodEvent>

#include "uikit/controls/UIButton.h"
#include "uikit/qt/Fixture.h"

namespace tasklane::qt {
namespace {

/// What has the keyboard, for a person who reads a failed test.
std::string focused(const UIWindow& window) {
  const auto responder = window.firstResponder();
  if (!responder) return "nothing";
  if (const auto button = std::dynamic_pointer_cast<UIButton>(responder)) return button->title();
  if (const auto table = std::dynamic_pointer_cast<UITableView>(responder)) {
    if (!table->focusedRow()) return "no row";
    const auto cell = table->cellForRowAtIndexPath(*table->focusedRow());
    return cell ? cell->textLabel()->text().value_or("") : "hidden row";
  }
  if (std::dynamic_pointer_cast<UITextView>(responder)) return "text";
  if (std::dynamic_pointer_cast<UISearchBar>(responder)) return "search";
  return responder->className();
}

TEST(Keyboard, TabGoesThroughTextRowsAndButtonsAndBack) {
  const auto sheet = std::make_shared<Sheet>();
  const ShownWindow shown(sheet);
  const std::vector<std::string> round{"text", "Notes", "Project", "Context", "Cancel", "Post"};
  for (const auto& stop : round) {
    EXPECT_EQ(focused(*shown.window), stop);
    shown.key(Qt::Key_Tab);
  }
  for (std::size_t i = 0; i < round.size(); ++i) {
    EXPECT_EQ(focused(*shown.window), round[(round.size() - i) % round.size()]) << i;
    shown.key(Qt::Key_Backtab, Qt::ShiftModifier);
  }
}

TEST(Keyboard, ReturnOpensARowAndEscapeClearsTheSearchGoesBackAndCancels) {
  const auto sheet = std::make_shared<Sheet>();
  const ShownWindow shown(sheet);
  shown.key(Qt::Key_Tab);
  shown.key(Qt::Key_Down);
  ASSERT_EQ(focused(*shown.window), "Project");
  shown.key(Qt::Key_Return);
  ASSERT_TRUE(sheet->list);
  ASSERT_TRUE(waitFor([&] { return focused(*shown.window) == "Project 0"; }))
      << focused(*shown.window);

  shown.type("19");
  EXPECT_EQ(sheet->list->search->searchBar()->text(), "19");
  EXPECT_EQ(focused(*shown.window), "search");
  shown.key(Qt::Key_Down);
  EXPECT_EQ(focused(*shown.window), "Project 19");
  shown.key(Qt::Key_Escape);
  EXPECT_EQ(sheet->list->search->searchBar()->text(), "");
  EXPECT_NE(sheet->list->navigationController(), nullptr);
  shown.key(Qt::Key_Escape);
  EXPECT_TRUE(waitFor([&] { return sheet->list->navigationController() == nullptr; }));
  EXPECT_EQ(sheet->cancels, 0);
  shown.key(Qt::Key_Escape);
  EXPECT_EQ(sheet->cancels, 1);
}

TEST(Keyboard, TheListMovesByEveryKeyAndReturnOrSpaceChooses) {
  const auto list = std::make_shared<ListScreen>(100);
  const ShownWindow shown(list);
  ASSERT_TRUE(list->tableView()->becomeFirstResponder());
  const struct {
    Qt::Key key;
    std::string row;
  } steps[] = {{Qt::Key_Down, "Project 1"}, {Qt::Key_End, "Project 99"},
               {Qt::Key_Up, "Project 98"},  {Qt::Key_Home, "Project 0"},
               {Qt::Key_Down, "Project 1"}, {Qt::Key_Down, "Project 2"}};
  for (const auto& step : steps) {
    shown.key(step.key);
    EXPECT_EQ(focused(*shown.window), step.row);
  }
  shown.key(Qt::Key_PageDown);
  EXPECT_GT(list->tableView()->focusedRow()->row, 5u);
  shown.key(Qt::Key_PageUp);
  EXPECT_LT(list->tableView()->focusedRow()->row, 5u);
  shown.key(Qt::Key_Home);
  shown.key(Qt::Key_Return);
  shown.key(Qt::Key_Down);
  shown.key(Qt::Key_Space);
  EXPECT_EQ(list->chosen, (std::vector<std::string>{"Project 0", "Project 1"}));
  shown.key(Qt::Key_Home);
  shown.key(Qt::Key_Up);
  EXPECT_EQ(focused(*shown.window), "search");
  shown.key(Qt::Key_Tab);
  EXPECT_EQ(focused(*shown.window), "Project 0");
  shown.key(Qt::Key_Backtab, Qt::ShiftModifier);
  EXPECT_EQ(focused(*shown.window), "search");
}

TEST(Keyboard, CtrlReturnSavesFromAnywhere) {
  for (const int tabs : {0, 1, 4}) {
    const auto sheet = std::make_shared<Sheet>();
    const ShownWindow shown(sheet);
    for (int i = 0; i < tabs; ++i) shown.key(Qt::Key_Tab);
    QKeyEvent heldDown(QEvent::KeyPress, Qt::Key_Return, Qt::ControlModifier, {}, true);
    QApplication::sendEvent(QApplication::focusWidget(), &heldDown);
    EXPECT_EQ(sheet->posts, 0) << focused(*shown.window);
    shown.key(Qt::Key_Return, Qt::ControlModifier);
    EXPECT_EQ(sheet->posts, 1) << focused(*shown.window);
    EXPECT_EQ(sheet->contentText(), "");
  }
}

/// Where an input method believes the caret to be, and where it is, in the window.
std::pair<QPoint, QPoint> carets(const QWidget* editor, QPoint caret) {
  return {QGuiApplication::inputMethod()->cursorRectangle().topLeft().toPoint(),
          editor->mapTo(editor->window(), caret)};
}

TEST(Keyboard, CandidatesAreShownAtTheCaretAlsoAfterAListHasScrolled) {
  const auto list = std::make_shared<ListScreen>(100);
  const ShownWindow shown(list);
  const auto* field = widgetOf<QLineEdit>(list->search->searchBar());
  list->search->searchBar()->becomeFirstResponder();
  UpdateQueue::shared().flush();
  const auto before = carets(field, {});
  list->tableView()->setContentOffset({0, 20});
  UpdateQueue::shared().flush();
  const auto after = carets(field, {});
  EXPECT_EQ(after.second, before.second - QPoint(0, 20));
  EXPECT_EQ(after.first, before.first - QPoint(0, 20));
}

TEST(Keyboard, ReturnThatConfirmsACandidateDoesNothingElse) {
  const auto sheet = std::make_shared<Sheet>();
  const ShownWindow shown(sheet);
  const auto* edit = widgetOf<QPlainTextEdit>(sheet->textView());
  const auto [believed, caret] =
      carets(edit, edit->viewport()->pos() + edit->cursorRect().topLeft());
  EXPECT_EQ(believed, caret);
  QInputMethodEvent composing(QStringLiteral("か"), {});
  QApplication::sendEvent(widgetOf(sheet->textView()), &composing);
  EXPECT_EQ(sheet->contentText(), "");
  shown.key(Qt::Key_Return);
  shown.key(Qt::Key_Return, Qt::ControlModifier);
  EXPECT_EQ(sheet->posts, 0);
  QInputMethodEvent committed;
  committed.setCommitString(QStringLiteral("家"));
  QApplication::sendEvent(widgetOf(sheet->textView()), &committed);
  EXPECT_EQ(sheet->contentText(), "家");
  shown.key(Qt::Key_Return, Qt::ControlModifier);
  EXPECT_EQ(sheet->posts, 1);
}

}  // namespace
}  // namespace tasklane::qt
