#include "uikit/qt/TextViewPeer.h"

#include <gtest/gtest.h>

#include <QScrollBar>

#include "uikit/qt/Fixture.h"

namespace tasklane::qt {
namespace {

class Listener : public NSObject, public UITextViewDelegate {
 public:
  void textViewDidChange(const std::shared_ptr<UITextView>& textView) override {
    heard.push_back(textView->text());
    if (!replacement.empty()) textView->setText(replacement);
  }
  std::vector<std::string> heard;
  std::string replacement;
};

class TextViewPeerTest : public ::testing::Test {
 protected:
  TextViewPeerTest() {
    screen->view()->addSubview(textView);
    textView->setDelegate(std::shared_ptr<UITextViewDelegate>(listener));
    shown = std::make_unique<ShownWindow>(screen);
    textView->becomeFirstResponder();
  }
  QPlainTextEdit* edit() const { return widgetOf<QPlainTextEdit>(textView); }

  std::shared_ptr<UIViewController> screen = std::make_shared<UIViewController>();
  std::shared_ptr<UITextView> textView = std::make_shared<UITextView>(CGRect{0, 0, 300, 100});
  std::shared_ptr<Listener> listener = std::make_shared<Listener>();
  std::unique_ptr<ShownWindow> shown;
};

TEST_F(TextViewPeerTest, WhatScrollsAroundTheTextFollowsTheCaret) {
  const auto around = std::make_shared<UIScrollView>(CGRect{0, 0, 300, 60});
  around->setContentSize({300, 400});
  textView->setFrame({0, 0, 300, 400});
  screen->view()->addSubview(around);
  around->addSubview(textView);
  UpdateQueue::shared().flush();
  textView->becomeFirstResponder();
  EXPECT_EQ(around->contentOffset().y, 0);
  for (int i = 0; i < 5; ++i) shown->key(Qt::Key_Return, Qt::ShiftModifier);
  const QRect caret = edit()->cursorRect();
  const double top = caret.top() + edit()->viewport()->y() - around->contentOffset().y;
  EXPECT_GT(around->contentOffset().y, 0);
  EXPECT_GE(top, 0);
  EXPECT_LE(top + caret.height(), 60);
  shown->key(Qt::Key_Home, Qt::ControlModifier);
  EXPECT_LE(around->contentOffset().y, edit()->viewport()->y());
}

TEST_F(TextViewPeerTest, TypingIsHeardOnceAndSetTextNever) {
  shown->type("ab");
  EXPECT_EQ(listener->heard, (std::vector<std::string>{"a", "ab"}));
  textView->setText("set by the program");
  UpdateQueue::shared().flush();
  EXPECT_EQ(edit()->toPlainText(), "set by the program");
  EXPECT_EQ(listener->heard.size(), 2u);
}

TEST_F(TextViewPeerTest, AProgramThatCorrectsWhatIsTypedIsNotToldOfItsOwnCorrection) {
  listener->replacement = "corrected";
  shown->type("x");
  EXPECT_EQ(listener->heard, std::vector<std::string>{"x"});
  EXPECT_EQ(edit()->toPlainText(), "corrected");
}

TEST_F(TextViewPeerTest, UndoReachesBackBeyondAProgramsChange) {
  shown->type("mine");
  textView->setText("yours");
  UpdateQueue::shared().flush();
  edit()->undo();
  EXPECT_EQ(textView->text(), "mine");
}

TEST_F(TextViewPeerTest, TextSurvivesTheWayToTheWidgetAndBackByteForByte) {
  for (const std::string text : {"a\u00a0b", "one\ntwo\n\n", "\u05e9\u05dc\u05d5\u05dd \U0001f600",
                                 "tab\there", "e\u0301"}) {
    textView->setText(text);
    UpdateQueue::shared().flush();
    edit()->moveCursor(QTextCursor::End);
    shown->type("x");
    EXPECT_EQ(textView->text(), text + "x");
  }
}

TEST_F(TextViewPeerTest, ScrollsOnlyWhereItSaysItMeasuresMoreThanItHas) {
  // What the text measures must be what the editor needs, or a sheet that grows with its text
  // would show a scroll bar beside a text that fits.
  std::string text;
  for (int line = 0; line < 6; ++line) {
    text += "A line that is long enough to be broken somewhere, \u4e2d\u6587 too\n";
    textView->setText(text);
    textView->setFrame({0, 0, 300, textView->sizeThatFits({300, 0}).height});
    UpdateQueue::shared().flush();
    EXPECT_EQ(edit()->verticalScrollBar()->maximum(), 0) << text;
  }
}

TEST_F(TextViewPeerTest, TextStandsAtTheSideThatItsDirectionBeginsAt) {
  const auto caretAtStart = [&] {
    edit()->moveCursor(QTextCursor::Start);
    return edit()->cursorRect().x();
  };
  const std::pair<const char*, bool> texts[] = {{"\u05e9\u05dc\u05d5\u05dd", true},
                                                {"1. milk", false},
                                                {"1. \u05dc\u05e7\u05e0\u05d5\u05ea", true}};
  for (const auto& [text, isRight] : texts) {
    textView->setText(text);
    UpdateQueue::shared().flush();
    EXPECT_TRUE(isRight ? caretAtStart() > 250 : caretAtStart() < 50) << text;
  }
  edit()->selectAll();
  shown->type("a");
  EXPECT_LT(caretAtStart(), 50);
  EXPECT_EQ(listener->heard, std::vector<std::string>{"a"});
}

TEST_F(TextViewPeerTest, WhoComesBackGoesOnWhereTheyWere) {
  shown->type("mine");
  textView->setText("yours");
  UpdateQueue::shared().flush();
  QTextCursor part = edit()->textCursor();
  part.setPosition(1);
  part.setPosition(3, QTextCursor::KeepAnchor);
  edit()->setTextCursor(part);
  const QPointer<QWidget> widget = edit();
  textView->removeFromSuperview();
  EXPECT_EQ(textView->peer(), nullptr);
  EXPECT_EQ(shown->window->firstResponder(), nullptr);
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);

  screen->view()->addSubview(textView);
  UpdateQueue::shared().flush();
  textView->becomeFirstResponder();
  EXPECT_TRUE(edit()->hasFocus());
  EXPECT_EQ(edit()->textCursor().selectedText(), "ou");
  shown->type("a");
  EXPECT_EQ(textView->text(), "yars");
  edit()->undo();
  edit()->undo();
  EXPECT_EQ(textView->text(), "mine");

  textView->removeFromSuperview();
  textView->setText("meanwhile");
  screen->view()->addSubview(textView);
  UpdateQueue::shared().flush();
  EXPECT_EQ(edit()->toPlainText(), "meanwhile");
  textView->removeFromSuperview();
  textView.reset();
  EXPECT_TRUE(waitFor([&] { return widget.isNull(); })) << "it goes with the view";
}

TEST_F(TextViewPeerTest, ALongWordIsNotCutAtTheLeft) {
  textView->setText("https://example.org/" + std::string(200, 'w'));
  UpdateQueue::shared().flush();
  for (int x = 0; x < 60; ++x) {
    textView->setFrame({0, 0, 200.0 + x, 300});
    UpdateQueue::shared().flush();
    edit()->moveCursor(QTextCursor::End);
    shown->type("w");
    EXPECT_EQ(edit()->horizontalScrollBar()->value(), 0) << x;
  }
}

TEST(TextViewPeer, AFingerScrollsALongTextAndSelectsNothing) {
  Finger::screen();
  const auto screen = std::make_shared<UIViewController>();
  const auto textView = std::make_shared<UITextView>(CGRect{0, 0, 300, 400});
  std::string text;
  for (int i = 0; i < 200; ++i) text += "line\n";
  textView->setText(text);
  screen->view()->addSubview(textView);
  const ShownWindow shown(screen);
  auto* edit = widgetOf<QPlainTextEdit>(textView);
  edit->moveCursor(QTextCursor::Start);
  Finger finger(shown.widget());
  QPoint place(100, 300);
  finger.press(place);
  for (int i = 0; i < 20; ++i) finger.move(place -= QPoint(0, 10));
  EXPECT_TRUE(waitFor([&] { return edit->verticalScrollBar()->value() > 5; }));
  finger.lift(place);
  EXPECT_LT(edit->verticalScrollBar()->value(), 40);
  EXPECT_FALSE(edit->textCursor().hasSelection());
}

}  // namespace
}  // namespace tasklane::qt
