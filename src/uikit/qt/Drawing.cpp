#include "uikit/qt/Drawing.h"

#include <QPainter>
#include <algorithm>
#include <cmath>

namespace tasklane::qt {

QColor toQColor(const UIColor& color) { return QColor::fromRgba(color.argb()); }

double effectiveAlpha(const UIView& view) {
  double alpha = view.presentationAlpha();
  for (auto superview = view.superview(); superview; superview = superview->superview())
    alpha *= superview->presentationAlpha();
  return alpha;
}

QColor shownColor(const UIColor& color, const UIView& view) {
  QColor shown = toQColor(color);
  shown.setAlphaF(static_cast<float>(std::clamp(color.alpha * effectiveAlpha(view), 0.0, 1.0)));
  return shown;
}

QColor colorBehind(const UIView& view) {
  const auto& own = view.backgroundColor();
  if (own && own->alpha > 0.5) return toQColor(*own);
  for (auto superview = view.superview(); superview; superview = superview->superview())
    if (const auto& color = superview->backgroundColor(); color && color->alpha > 0.5)
      return toQColor(*color);
  return Qt::white;
}

bool isDark(const QColor& color) {
  return 0.299 * color.redF() + 0.587 * color.greenF() + 0.114 * color.blueF() < 0.5;
}

QColor defaultTextColor(const UIView& view) {
  return shownColor(isDark(colorBehind(view)) ? UIColor::whiteColor() : UIColor::blackColor(),
                    view);
}

QRectF snappedToPixels(const QPainter& painter, const QRectF& rect) {
  const QTransform toDevice = painter.deviceTransform();
  const QRectF device = toDevice.mapRect(rect);
  const double left = std::round(device.left()), top = std::round(device.top());
  double right = std::round(device.right()), bottom = std::round(device.bottom());
  if (rect.width() > 0) right = std::max(right, left + 1);
  if (rect.height() > 0) bottom = std::max(bottom, top + 1);
  return toDevice.inverted().mapRect(QRectF(left, top, right - left, bottom - top));
}

void paintBackground(QPainter& painter, const UIView& view, const QRectF& rect) {
  if (!view.backgroundColor()) return;
  const QColor color = shownColor(*view.backgroundColor(), view);
  if (color.alpha() == 0) return;
  const QRectF snapped = snappedToPixels(painter, rect);
  if (view.cornerRadius() <= 0) {
    painter.fillRect(snapped, color);
    return;
  }
  const double radius = std::min({view.cornerRadius(), snapped.width() / 2, snapped.height() / 2});
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  painter.setBrush(color);
  painter.drawRoundedRect(snapped, radius, radius);
}

void paintFocusRing(QPainter& painter, const UIView& view, const QRectF& rect, double radius) {
  QColor color = toQColor(view.tintColor());
  color.setAlphaF(1);
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(QPen(color, 2));
  painter.setBrush(Qt::NoBrush);
  painter.drawRoundedRect(rect.adjusted(1, 1, -1, -1), radius, radius);
}

}  // namespace tasklane::qt
