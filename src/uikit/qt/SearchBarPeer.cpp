#include "uikit/qt/SearchBarPeer.h"

#include <QAbstractButton>
#include <QFocusEvent>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPainter>
#include <algorithm>

#include "uikit/base/Backend.h"
#include "uikit/qt/Drawing.h"
#include "uikit/qt/Keyboard.h"
#include "uikit/qt/Settings.h"
#include "uikit/qt/Text.h"
#include "uikit/tables/UITableView.h"

namespace tasklane::qt {

namespace {

constexpr double kBoxInset = 8, kBoxRadius = 9;
constexpr double kMagnifierRoom = 30, kClearRoom = 30;
constexpr double kUsualBoxHeight = 40, kAroundText = 12;
constexpr double kSecondaryAlpha = 0.6;

/// What the symbols are larger by than at the usual text size.
double grown() { return std::max(backend::textSizeFactor(), 1.0); }

QColor boxColor(const QColor& behind) {
  return isDark(behind) ? QColor(255, 255, 255, 38) : QColor(0, 0, 0, 18);
}

QColor withAlpha(QColor color, double alpha) {
  color.setAlphaF(static_cast<float>(color.alphaF() * alpha));
  return color;
}

/// The round cross at the end of the field.
class ClearButton : public QAbstractButton {
 public:
  explicit ClearButton(QWidget* parent) : QAbstractButton(parent) {
    setFocusPolicy(Qt::NoFocus);
    setCursor(Qt::ArrowCursor);
    setAttribute(Qt::WA_Hover);
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QColor color = palette().color(QPalette::Text);
    painter.translate(QRectF(rect()).center());
    painter.scale(grown(), grown());
    painter.setPen(Qt::NoPen);
    painter.setBrush(withAlpha(color, isDown() ? 0.7 : underMouse() ? 0.55 : 0.4));
    painter.drawEllipse(QPointF(), 7.5, 7.5);
    painter.setPen(QPen(isDark(color) ? Qt::white : Qt::black, 1.5, Qt::SolidLine, Qt::RoundCap));
    painter.drawLine(QPointF(-2.5, -2.5), QPointF(2.5, 2.5));
    painter.drawLine(QPointF(-2.5, 2.5), QPointF(2.5, -2.5));
  }
};

}  // namespace

class SearchField : public QLineEdit {
 public:
  explicit SearchField(QWidget* bar) : QLineEdit(bar) {
    setFrame(false);
    setAttribute(Qt::WA_NoSystemBackground);
  }

 protected:
  UISearchBar* searchBar() const {
    return static_cast<UISearchBar*>(ViewWidget::of(parentWidget())->view());
  }

  void keyPressEvent(QKeyEvent* event) override {
    if (!searchBar()) return;
    if (composing_) return handleKeyWhileComposing(*event);
    if (handleWindowKey(*event, *searchBar())) return;
    switch (event->key()) {
      case Qt::Key_Down:
      case Qt::Key_PageDown:
      case Qt::Key_Return:
      case Qt::Key_Enter:
        event->accept();
        if (const auto table = tableFor(*searchBar())) table->focusFirstRow();
        return;
      default:
        QLineEdit::keyPressEvent(event);
    }
  }

  void contextMenuEvent(QContextMenuEvent* event) override {
    translateToolkit();
    QLineEdit::contextMenuEvent(event);
  }

  void inputMethodEvent(QInputMethodEvent* event) override {
    composing_ = !event->preeditString().isEmpty();
    QLineEdit::inputMethodEvent(event);
  }

  void focusInEvent(QFocusEvent* event) override {
    QLineEdit::focusInEvent(event);
    parentWidget()->update();
    if (searchBar() && !searchBar()->isFirstResponder()) searchBar()->becomeFirstResponder();
  }

  void focusOutEvent(QFocusEvent* event) override {
    QLineEdit::focusOutEvent(event);
    parentWidget()->update();
  }

 private:
  bool composing_ = false;
};

class SearchBarWidget : public PlainWidget {
 public:
  explicit SearchBarWidget(SearchBarPeer* peer)
      : PlainWidget(peer), field_(new SearchField(this)), clear_(new ClearButton(this)) {
    setFocusProxy(field_);
    clear_->hide();
    connect(field_, &QLineEdit::textChanged, this, [this](const QString& text) {
      clear_->setVisible(!text.isEmpty());
      if (auto* owner = static_cast<SearchBarPeer*>(this->peer()))
        owner->personDidEdit(text.toStdString());
    });
    connect(clear_, &QAbstractButton::clicked, field_, [this] {
      field_->clear();
      field_->setFocus(Qt::OtherFocusReason);
    });
  }

  SearchField* field() const { return field_; }
  void setTextColor(const QColor& color) {
    QPalette palette = field_->palette();
    palette.setColor(QPalette::Text, color);
    palette.setColor(QPalette::PlaceholderText, withAlpha(color, kSecondaryAlpha));
    palette.setColor(QPalette::Base, Qt::transparent);
    QColor selection = toQColor(view()->tintColor());
    selection.setAlphaF(0.3f);
    palette.setColor(QPalette::Highlight, selection);
    palette.setColor(QPalette::HighlightedText, color);
    if (palette == field_->palette()) return;
    field_->setPalette(palette);
    clear_->setPalette(palette);
  }

 protected:
  void resizeEvent(QResizeEvent*) override { layOut(); }
  void changeEvent(QEvent* event) override {
    if (event->type() == QEvent::LayoutDirectionChange) layOut();
  }

  void paintEvent(QPaintEvent*) override {
    const auto* searchBar = static_cast<UISearchBar*>(view());
    if (!searchBar) return;
    QPainter painter(this);
    const QRectF rect = peer()->exactRect();
    paintBackground(painter, *searchBar, rect);
    QColor behind = colorBehind(*searchBar);
    if (const auto& bar = searchBar->barTintColor()) {
      behind = toQColor(*bar);
      painter.fillRect(snappedToPixels(painter, rect), shownColor(*bar, *searchBar));
    }
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(boxColor(behind));
    painter.drawRoundedRect(box(), kBoxRadius, kBoxRadius);
    if (field_->hasFocus()) paintFocusRing(painter, *searchBar, box(), kBoxRadius - 1);
    const QRectF room =
        mirroredIfNeeded({box().left(), box().top(), kMagnifierRoom * grown(), box().height()});
    painter.translate(room.center());
    painter.scale(grown(), grown());
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(withAlpha(field_->palette().color(QPalette::Text), kSecondaryAlpha), 1.6,
                        Qt::SolidLine, Qt::RoundCap));
    painter.drawEllipse(QPointF(-1, -1), 5, 5);
    painter.drawLine(QPointF(2.8, 2.8), QPointF(6.5, 6.5));
  }

 private:
  QRectF box() const {
    const double highest = std::max(kUsualBoxHeight, fontMetrics().height() + kAroundText);
    const double height = std::clamp(rect().height() - 2 * kBoxInset, 0.0, highest);
    return {kBoxInset, (rect().height() - height) / 2, rect().width() - 2 * kBoxInset, height};
  }
  QRectF mirroredIfNeeded(const QRectF& area) const {
    if (layoutDirection() == Qt::LeftToRight) return area;
    return {rect().width() - area.right(), area.top(), area.width(), area.height()};
  }
  void layOut() {
    const QRectF area = box();
    const double before = kMagnifierRoom * grown(), after = kClearRoom * grown();
    const QRectF field(area.left() + before, area.top(), area.width() - before - after,
                       area.height());
    field_->setGeometry(mirroredIfNeeded(field).toRect());
    const QRectF clear(area.right() - after, area.top(), after, area.height());
    clear_->setGeometry(mirroredIfNeeded(clear).toRect());
  }

  SearchField* field_;
  ClearButton* clear_;
};

SearchBarPeer::SearchBarPeer(UISearchBar& searchBar) : ViewPeer(searchBar), field_(nullptr) {
  auto* widget = new SearchBarWidget(this);
  field_ = widget->field();
  setWidget(widget);
  field_->setFont(toQFont(UIFont::preferredFontForTextStyle(UIFontTextStyleBody)));
}

QWidget* SearchBarPeer::focusTarget() const { return widget() ? field_ : nullptr; }

void SearchBarPeer::personDidEdit(const std::string& text) {
  if (applying_ || text == shown_) return;
  shown_ = text;
  const auto keep = view().shared_from_this();
  static_cast<UISearchBar&>(view()).userDidChangeText(text);
}

void SearchBarPeer::apply() {
  const auto& searchBar = static_cast<UISearchBar&>(view());
  auto* widget = static_cast<SearchBarWidget*>(this->widget());
  applying_ = true;
  field_->setPlaceholderText(toQString(searchBar.placeholder()));
  field_->setAccessibleName(
      toQString(searchBar.accessibilityLabel().value_or(searchBar.placeholder())));
  if (searchBar.text() != shown_) {
    shown_ = searchBar.text();
    field_->setText(toQString(shown_));
  }
  const auto& tint = searchBar.barTintColor();
  QColor text = defaultTextColor(searchBar);
  if (tint) text = isDark(toQColor(*tint)) ? Qt::white : Qt::black;
  if (searchBar.textColor()) text = shownColor(*searchBar.textColor(), searchBar);
  widget->setTextColor(text);
  applying_ = false;
  ViewPeer::apply();
}

}  // namespace tasklane::qt
