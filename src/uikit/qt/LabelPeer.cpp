#include "uikit/qt/LabelPeer.h"

#include <QPainter>

#include "uikit/qt/Drawing.h"
#include "uikit/qt/Text.h"

namespace tasklane::qt {

namespace {

class LabelWidget : public PlainWidget {
 public:
  using PlainWidget::PlainWidget;

 protected:
  void paintEvent(QPaintEvent*) override {
    const auto* label = static_cast<UILabel*>(view());
    if (!label) return;
    QPainter painter(this);
    const QRectF rect = peer()->exactRect();
    paintBackground(painter, *label, rect);
    if (!label->text() || label->text()->empty()) return;
    const BrokenText text(toQString(*label->text()), toQFont(label->font()), rect.width(),
                          label->numberOfLines(),
                          label->effectiveUserInterfaceLayoutDirection() ==
                                  UIUserInterfaceLayoutDirection::RightToLeft
                              ? Qt::RightToLeft
                              : Qt::LeftToRight);
    painter.setPen(label->textColor() ? shownColor(*label->textColor(), *label)
                                      : defaultTextColor(*label));
    const double top = rect.top() + (rect.height() - text.size().height()) / 2;
    text.draw(painter, {rect.left(), top, rect.width(), text.size().height()},
              label->textAlignment());
  }
};

}  // namespace

LabelPeer::LabelPeer(UILabel& label) : ViewPeer(label) { setWidget(new LabelWidget(this)); }

}  // namespace tasklane::qt
