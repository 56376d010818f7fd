#include "uikit/qt/ButtonPeer.h"

#include <QAbstractButton>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>

#include "uikit/qt/Drawing.h"
#include "uikit/qt/Text.h"

namespace tasklane::qt {

namespace {

// A button is as large as its title; what shows that it has the keyboard stands around it.
constexpr int kOutset = 6;
constexpr double kPressedAlpha = 0.4;
constexpr double kHoverAlpha = 0.1;
constexpr double kMarkHeight = 34, kMarkRadius = 6;
// At the usual size of the title.
constexpr double kUsualPoints = 17;
constexpr double kChevronWidth = 8, kChevronHeight = 15, kChevronGap = 5, kChevronStroke = 2;

class ButtonWidget : public QAbstractButton, public ViewWidget {
 public:
  explicit ButtonWidget(ViewPeer* peer) : ViewWidget(peer) {
    setAttribute(Qt::WA_NoSystemBackground);
    setAttribute(Qt::WA_Hover);
    // A click leaves the keyboard where it is, in the text.
    setFocusPolicy(Qt::TabFocus);
    connect(this, &QAbstractButton::clicked, this, [this] {
      if (auto button = sharedFrom(static_cast<UIButton*>(view()))) button->press();
    });
  }

 protected:
  void keyPressEvent(QKeyEvent* event) override {
    const bool isReturn = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (isReturn && !(event->modifiers() & Qt::ControlModifier)) {
      if (!event->isAutoRepeat()) click();
      return;
    }
    if (event->key() == Qt::Key_Space) return QAbstractButton::keyPressEvent(event);
    event->ignore();
  }

  void focusInEvent(QFocusEvent* event) override {
    QAbstractButton::focusInEvent(event);
    if (view() && !view()->isFirstResponder()) view()->becomeFirstResponder();
  }

  void paintEvent(QPaintEvent*) override {
    const auto* button = static_cast<UIButton*>(view());
    if (!button) return;
    QPainter painter(this);
    const QRectF rect = peer()->exactRect();
    paintBackground(painter, *button, rect);
    QColor color = shownColor(button->tintColor(), *button);
    if (!isEnabled()) {
      color = defaultTextColor(*button);
      color.setAlphaF(color.alphaF() * 0.35f);
    } else if (underMouse() && !isDown()) {
      QColor hover = color;
      hover.setAlphaF(kHoverAlpha);
      painter.setRenderHint(QPainter::Antialiasing);
      painter.setPen(Qt::NoPen);
      painter.setBrush(hover);
      painter.drawRoundedRect(markOf(rect), kMarkRadius, kMarkRadius);
    }
    if (isDown()) color.setAlphaF(color.alphaF() * kPressedAlpha);
    paintContent(painter, *button, rect, color);
    if (hasFocus()) paintFocusRing(painter, *button, markOf(rect), kMarkRadius);
  }

 private:
  /// Where hover and focus show: around the title, not as high as a bar.
  static QRectF markOf(const QRectF& rect) {
    const double height = std::min(rect.height() + 2 * kOutset, kMarkHeight);
    return {rect.left() - kOutset, rect.center().y() - height / 2, rect.width() + 2 * kOutset,
            height};
  }

  void paintContent(QPainter& painter, const UIButton& button, QRectF rect, const QColor& color) {
    const bool mirrored = button.effectiveUserInterfaceLayoutDirection() ==
                          UIUserInterfaceLayoutDirection::RightToLeft;
    const double grown = button.font().pointSize() / kUsualPoints;
    const double chevron = button.pointsBack() ? (kChevronWidth + kChevronGap) * grown : 0;
    const BrokenText text(toQString(button.title()), toQFont(button.font()), rect.width() - chevron,
                          1, mirrored ? Qt::RightToLeft : Qt::LeftToRight);
    const double width = std::min(text.size().width() + chevron, rect.width());
    rect = QRectF(rect.center().x() - width / 2, rect.top(), width, rect.height());
    if (button.pointsBack()) {
      const double tip = mirrored ? rect.right() - 1 : rect.left() + 1;
      const double depth = kChevronWidth * grown - 1, half = kChevronHeight * grown / 2;
      const double tail = mirrored ? tip - depth : tip + depth;
      const double middle = rect.center().y();
      QPainterPath path({tail, middle - half});
      path.lineTo(tip, middle);
      path.lineTo(tail, middle + half);
      painter.setRenderHint(QPainter::Antialiasing);
      painter.setBrush(Qt::NoBrush);
      painter.setPen(
          QPen(color, kChevronStroke * grown, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
      painter.drawPath(path);
      rect.adjust(mirrored ? 0 : chevron, 0, mirrored ? -chevron : 0, 0);
    }
    painter.setPen(color);
    const double top = rect.center().y() - text.size().height() / 2;
    text.draw(painter, {rect.left(), top, rect.width(), text.size().height()},
              NSTextAlignment::Center);
  }
};

}  // namespace

ButtonPeer::ButtonPeer(UIButton& button) : ViewPeer(button, kOutset) {
  setWidget(new ButtonWidget(this));
}

void ButtonPeer::apply() {
  const auto& button = static_cast<UIButton&>(view());
  auto* widget = static_cast<QAbstractButton*>(this->widget());
  widget->setEnabled(button.isEnabled());
  ViewPeer::apply();
}

}  // namespace tasklane::qt
