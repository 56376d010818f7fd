#pragma once

#include <QColor>
#include <QRectF>
#include <string>
#include <string_view>

#include "uikit/views/UIView.h"

class QPainter;

namespace tasklane::qt {

inline QString toQString(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

QColor toQColor(const UIColor& color);
/// The colour as it shows in a view: with the alpha of the view and of all it stands in.
QColor shownColor(const UIColor& color, const UIView& view);
double effectiveAlpha(const UIView& view);

/// The colour that a view's content is seen against: the nearest opaque background, white if none.
QColor colorBehind(const UIView& view);
bool isDark(const QColor& color);
/// Black or white, whichever reads well in front of a view's background: for texts without a colour
/// of their own.
QColor defaultTextColor(const UIView& view);

/// The nearest rectangle whose edges lie on whole pixels of what the painter paints on; never
/// without an extent that the rectangle has.
QRectF snappedToPixels(const QPainter& painter, const QRectF& rect);

void paintBackground(QPainter& painter, const UIView& view, const QRectF& rect);
/// The ring around what has the keyboard.
void paintFocusRing(QPainter& painter, const UIView& view, const QRectF& rect, double radius);

}  // namespace tasklane::qt
