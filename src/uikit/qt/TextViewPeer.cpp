#include "uikit/qt/TextViewPeer.h"

#include <QDragEnterEvent>
#include <QFocusEvent>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QPainter>
#include <QPlainTextEdit>
#include <QScrollBar>
#include <QScrollEvent>
#include <QScrollPrepareEvent>
#include <QTextBlock>
#include <QTextDocument>
#include <cmath>
#include <utility>

#include "uikit/qt/Drawing.h"
#include "uikit/qt/Keyboard.h"
#include "uikit/qt/Pasteboard.h"
#include "uikit/qt/ScrollPeer.h"
#include "uikit/qt/Settings.h"
#include "uikit/qt/Text.h"

namespace tasklane::qt {

namespace {
constexpr double kPlaceholderAlpha = 0.62;
constexpr double kSelectionAlpha = 0.3;

/// The document's text as it is: QPlainTextEdit::toPlainText turns no-break spaces into spaces.
std::string textOf(const QTextDocument& document) {
  QString text = document.toRawText();
  text.replace(QChar::ParagraphSeparator, u'\n');
  text.replace(QChar::LineSeparator, u'\n');
  return text.toStdString();
}
}  // namespace

class TextViewWidget : public QPlainTextEdit, public ViewWidget {
 public:
  explicit TextViewWidget(TextViewPeer* peer) : ViewWidget(peer) {
    setFrameShape(QFrame::NoFrame);
    setTabChangesFocus(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    document()->setDocumentMargin(0);
    viewport()->setAutoFillBackground(false);
    letFingersScroll(viewport());
    setAttribute(Qt::WA_NoSystemBackground);
    connect(this, &QPlainTextEdit::textChanged, this, [this] {
      if (auto* owner = static_cast<TextViewPeer*>(this->peer())) owner->personDidEdit();
    });
    // A caret behind a full line needs more room than the line; lines that are broken do not
    // scroll.
    connect(horizontalScrollBar(), &QScrollBar::rangeChanged, this,
            [this] { horizontalScrollBar()->setRange(0, 0); });
    connect(this, &QPlainTextEdit::cursorPositionChanged, this, [this] { tellCaretMoved(); });
  }

  void setInsets(const UIEdgeInsets& insets) {
    const auto whole = [](double length) { return static_cast<int>(std::lround(length)); };
    // The editor takes a last line that ends exactly at its viewport's edge for hidden.
    setViewportMargins(whole(insets.left), whole(insets.top), whole(insets.right),
                       std::max(0, whole(insets.bottom) - 1));
  }

  void setPlaceholder(const QString& placeholder) { placeholder_ = placeholder; }

  std::string shown;  ///< the text that the view and the widget last agreed on

  QVariant inputMethodQuery(Qt::InputMethodQuery query) const override {
    const QVariant answer = QPlainTextEdit::inputMethodQuery(query);
    // The editor forgets the margins around its viewport; candidates would cover the text.
    if (query != Qt::ImCursorRectangle && query != Qt::ImAnchorRectangle) return answer;
    return answer.toRectF().translated(viewport()->pos());
  }

 protected:
  bool event(QEvent* event) override {
    if (event->type() == QEvent::Paint && view()) {
      QPainter painter(this);
      paintBackground(painter, *view(), peer()->exactRect());
      return true;
    }
    // Otherwise the editor takes Ctrl+Return and Escape for itself on some desktops.
    if (event->type() == QEvent::ShortcutOverride) {
      event->ignore();
      return QPlainTextEdit::event(event);
    }
    return QPlainTextEdit::event(event);
  }

  bool viewportEvent(QEvent* event) override {
    if (event->type() == QEvent::ScrollPrepare)
      return prepareToScroll(*static_cast<QScrollPrepareEvent*>(event));
    if (event->type() == QEvent::Scroll) {
      const double y = static_cast<QScrollEvent*>(event)->contentPos().y();
      verticalScrollBar()->setValue(static_cast<int>(std::lround(y / fontMetrics().lineSpacing())));
      return true;
    }
    return QPlainTextEdit::viewportEvent(event);
  }

  void contextMenuEvent(QContextMenuEvent* event) override {
    translateToolkit();
    QPlainTextEdit::contextMenuEvent(event);
  }

  void mouseMoveEvent(QMouseEvent* event) override {
    // A finger scrolls; only a pointer selects by dragging.
    if (event->source() == Qt::MouseEventNotSynthesized) QPlainTextEdit::mouseMoveEvent(event);
  }

  void paintEvent(QPaintEvent* event) override {
    QPlainTextEdit::paintEvent(event);
    if (!document()->isEmpty() || composing_) return;
    QPainter painter(viewport());
    painter.setPen(palette().color(QPalette::PlaceholderText));
    const auto side = placeholder_.isRightToLeft() ? Qt::AlignRight : Qt::AlignLeft;
    painter.drawText(viewport()->rect(), side | Qt::AlignAbsolute | Qt::AlignTop | Qt::TextWordWrap,
                     placeholder_);
  }

  void keyPressEvent(QKeyEvent* event) override {
    if (!view()) return;
    if (composing_) return handleKeyWhileComposing(*event);
    if (handleWindowKey(*event, *view())) return;
    QPlainTextEdit::keyPressEvent(event);
  }

  void inputMethodEvent(QInputMethodEvent* event) override {
    composing_ = !event->preeditString().isEmpty();
    QPlainTextEdit::inputMethodEvent(event);
  }

  bool canInsertFromMimeData(const QMimeData* source) const override {
    return QPlainTextEdit::canInsertFromMimeData(source) ||
           (view() && screenTakes(*source, *view()));
  }

  /// A text goes where the caret is, or where it is dropped; pictures and files to the screen.
  void insertFromMimeData(const QMimeData* source) override {
    const auto contents = contentsOf(*source, Picture::Skip);
    const bool isText = !contents.text.empty() && contents.files.empty();
    if (isText || !view() || !giveToScreen(*source, *view()))
      QPlainTextEdit::insertFromMimeData(source);
  }

  void dragEnterEvent(QDragEnterEvent* event) override {
    QPlainTextEdit::dragEnterEvent(event);
    if (view() && isForScreen(*event)) offerDrop(*event, *view());
  }

  void dragMoveEvent(QDragMoveEvent* event) override {
    QPlainTextEdit::dragMoveEvent(event);
    if (view() && isForScreen(*event)) offerDrop(*event, *view());
  }

  void dropEvent(QDropEvent* event) override {
    if (view() && isForScreen(*event)) {
      // The editor shows where a text would fall until the drag is over.
      QDragLeaveEvent leave;
      QPlainTextEdit::dragLeaveEvent(&leave);
      return takeDrop(*event, *view());
    }
    QPlainTextEdit::dropEvent(event);
    // What another program has is copied: it would remove what it takes for moved.
    if (event->source() != viewport() && event->isAccepted()) event->setDropAction(Qt::CopyAction);
  }

  void focusInEvent(QFocusEvent* event) override {
    QPlainTextEdit::focusInEvent(event);
    if (view() && !view()->isFirstResponder()) view()->becomeFirstResponder();
    const bool byTab =
        event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason;
    if (byTab) tellCaretMoved();
  }

 private:
  static bool isForScreen(const QDropEvent& event) {
    return isMoreThanText(contentsOf(*event.mimeData(), Picture::Skip));
  }

  /// A finger moves by points, the editor's bar by lines.
  bool prepareToScroll(QScrollPrepareEvent& event) {
    const QScrollBar& bar = *verticalScrollBar();
    if (bar.maximum() <= 0) return false;  // what is around the text may scroll
    const double line = fontMetrics().lineSpacing();
    event.setViewportSize(viewport()->size());
    event.setContentPosRange({0, 0, 0, bar.maximum() * line});
    event.setContentPos({0, bar.value() * line});
    event.accept();
    return true;
  }

  void tellCaretMoved() {
    if (auto* owner = static_cast<TextViewPeer*>(peer()); owner && hasFocus())
      owner->personDidMoveCaret();
  }

  QString placeholder_;
  bool composing_ = false;
};

TextViewPeer::TextViewPeer(UITextView& textView)
    : ViewPeer(textView),
      place_(textView.editorPlace()),
      edit_(place_->editor ? static_cast<TextViewWidget*>(place_->editor.get())
                           : new TextViewWidget(this)) {
  setWidget(edit_);
  if (place_->editor) {
    edit_->attach(this);
    return;
  }
  place_->editor =
      std::shared_ptr<TextViewWidget>(edit_, [](QObject* edit) { edit->deleteLater(); });
  applying_ = true;
  edit_->shown = textView.text();
  edit_->setFont(toQFont(textView.font()));
  edit_->setPlainText(toQString(edit_->shown));
  edit_->moveCursor(QTextCursor::End);
  applying_ = false;
}

TextViewPeer::~TextViewPeer() {
  if (releaseWidget()) edit_->setParent(nullptr);
}

void TextViewPeer::personDidEdit() {
  if (applying_) return;
  std::string text = textOf(*edit_->document());
  // A composition in progress changes the layout but not yet the text.
  if (text == edit_->shown) return;
  edit_->shown = text;
  alignByDirection();
  const auto keep = view().shared_from_this();
  static_cast<UITextView&>(view()).userDidChangeText(std::move(text));
}

void TextViewPeer::personDidMoveCaret() {
  if (applying_) return;
  caretMoved_ = true;  // it is shown once the text has its new height
  viewDidChange();
}

void TextViewPeer::showCaret() {
  const QRectF caret = edit_->cursorRect().translated(edit_->viewport()->pos());
  const QPointF place = caret.topLeft() - fraction();
  static_cast<UITextView&>(view()).userDidMoveCaret(
      {{place.x(), place.y()}, {caret.width(), caret.height()}});
}

void TextViewPeer::apply() {
  const auto& textView = static_cast<UITextView&>(view());
  applying_ = true;
  const QFont font = toQFont(textView.font());
  if (edit_->font() != font) edit_->setFont(font);
  edit_->setInsets(textView.textContainerInset());
  edit_->setPlaceholder(toQString(textView.placeholder()));
  edit_->setAccessibleName(
      toQString(textView.accessibilityLabel().value_or(textView.placeholder())));
  if (textView.text() != edit_->shown) {
    edit_->shown = textView.text();
    QTextCursor cursor(edit_->document());
    cursor.beginEditBlock();
    cursor.select(QTextCursor::Document);
    cursor.insertText(toQString(edit_->shown));
    cursor.endEditBlock();
    edit_->moveCursor(QTextCursor::End);
  }
  edit_->setVerticalScrollBarPolicy(textView.isScrollEnabled() ? Qt::ScrollBarAsNeeded
                                                               : Qt::ScrollBarAlwaysOff);
  alignByDirection();
  applyColors();
  applying_ = false;
  ViewPeer::apply();
  edit_->viewport()->update();
  if (std::exchange(caretMoved_, false)) showCaret();
}

/// The editor aligns all paragraphs alike and does not do it by their direction.
void TextViewPeer::alignByDirection() {
  const auto direction = directionOf(toQString(edit_->shown), edit_->layoutDirection());
  QTextOption option = edit_->document()->defaultTextOption();
  const Qt::Alignment alignment =
      Qt::AlignAbsolute | (direction == Qt::RightToLeft ? Qt::AlignRight : Qt::AlignLeft);
  if (option.alignment() == alignment) return;
  option.setAlignment(alignment);
  edit_->document()->setDefaultTextOption(option);
}

void TextViewPeer::applyColors() {
  const auto& textView = static_cast<UITextView&>(view());
  const QColor text = textView.textColor() ? shownColor(*textView.textColor(), textView)
                                           : defaultTextColor(textView);
  QColor placeholder = text, selection = toQColor(textView.tintColor());
  placeholder.setAlphaF(text.alphaF() * kPlaceholderAlpha);
  selection.setAlphaF(kSelectionAlpha);
  QPalette palette = edit_->palette();
  palette.setColor(QPalette::Text, text);
  palette.setColor(QPalette::PlaceholderText, placeholder);
  palette.setColor(QPalette::Highlight, selection);
  palette.setColor(QPalette::HighlightedText, text);
  if (palette != edit_->palette()) edit_->setPalette(palette);
  QPalette bar = edit_->verticalScrollBar()->palette();
  bar.setColor(QPalette::WindowText, isDark(colorBehind(textView)) ? Qt::white : Qt::black);
  if (bar != edit_->verticalScrollBar()->palette()) edit_->verticalScrollBar()->setPalette(bar);
}

}  // namespace tasklane::qt
