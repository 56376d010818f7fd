#include "uikit/qt/Style.h"

#include <QPainter>
#include <QStyleFactory>
#include <QStyleOptionSlider>
#include <algorithm>

namespace tasklane::qt {

namespace {
constexpr int kBarExtent = 10;
constexpr int kMinimumThumb = 28;
constexpr double kThumbAlpha = 0.35, kActiveThumbAlpha = 0.6;
}  // namespace

SheetStyle::SheetStyle() : QProxyStyle(QStyleFactory::create(QStringLiteral("Fusion"))) {}

int SheetStyle::pixelMetric(PixelMetric metric, const QStyleOption* option,
                            const QWidget* widget) const {
  switch (metric) {
    case PM_ScrollBarExtent:
      return kBarExtent;
    case PM_ScrollBarSliderMin:
      return kMinimumThumb;
    case PM_ScrollView_ScrollBarSpacing:
    case PM_DefaultFrameWidth:
      return 0;
    default:
      return QProxyStyle::pixelMetric(metric, option, widget);
  }
}

int SheetStyle::styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                          QStyleHintReturn* returnData) const {
  switch (hint) {
    case SH_ScrollBar_LeftClickAbsolutePosition:
      return 1;
    case SH_ScrollBar_Transient:
      return 0;
    default:
      return QProxyStyle::styleHint(hint, option, widget, returnData);
  }
}

QRect SheetStyle::subControlRect(ComplexControl control, const QStyleOptionComplex* option,
                                 SubControl subControl, const QWidget* widget) const {
  const auto* bar = qstyleoption_cast<const QStyleOptionSlider*>(option);
  if (control != CC_ScrollBar || !bar)
    return QProxyStyle::subControlRect(control, option, subControl, widget);
  const bool horizontal = bar->orientation == Qt::Horizontal;
  const int length = horizontal ? bar->rect.width() : bar->rect.height();
  const qint64 range = qint64(bar->maximum) - bar->minimum;
  int thumb = length;
  if (range > 0) thumb = static_cast<int>(qint64(length) * bar->pageStep / (range + bar->pageStep));
  thumb = std::clamp(thumb, std::min(kMinimumThumb, length), length);
  const int start = sliderPositionFromValue(bar->minimum, bar->maximum, bar->sliderPosition,
                                            length - thumb, bar->upsideDown);
  int from = 0, extent = 0;
  switch (subControl) {
    case SC_ScrollBarGroove:
      extent = length;
      break;
    case SC_ScrollBarSlider:
      from = start;
      extent = thumb;
      break;
    case SC_ScrollBarSubPage:
      extent = start;
      break;
    case SC_ScrollBarAddPage:
      from = start + thumb;
      extent = length - from;
      break;
    default:
      return {};
  }
  return horizontal ? QRect(bar->rect.x() + from, bar->rect.y(), extent, bar->rect.height())
                    : QRect(bar->rect.x(), bar->rect.y() + from, bar->rect.width(), extent);
}

void SheetStyle::drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                                    QPainter* painter, const QWidget* widget) const {
  const auto* bar = qstyleoption_cast<const QStyleOptionSlider*>(option);
  if (control != CC_ScrollBar || !bar) {
    QProxyStyle::drawComplexControl(control, option, painter, widget);
    return;
  }
  if (bar->maximum <= bar->minimum) return;
  const bool active = (bar->state & State_MouseOver) || (bar->state & State_Sunken);
  QColor color = bar->palette.color(QPalette::WindowText);
  color.setAlphaF(active ? kActiveThumbAlpha : kThumbAlpha);
  const double inset = active ? 1.5 : 2.5;
  const QRectF thumb = QRectF(subControlRect(CC_ScrollBar, bar, SC_ScrollBarSlider, widget))
                           .adjusted(inset, inset, -inset, -inset);
  const double radius = std::min(thumb.width(), thumb.height()) / 2;
  painter->save();
  painter->setRenderHint(QPainter::Antialiasing);
  painter->setPen(Qt::NoPen);
  painter->setBrush(color);
  painter->drawRoundedRect(thumb, radius, radius);
  painter->restore();
}

}  // namespace tasklane::qt
