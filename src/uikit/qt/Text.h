#pragma once

#include <QFont>
#include <QRectF>
#include <QString>
#include <QTextLayout>
#include <memory>
#include <vector>

#include "uikit/controls/UILabel.h"
#include "uikit/drawing/UIFont.h"

class QPainter;

namespace tasklane::qt {

QFont toQFont(const UIFont& font);
/// The height of a line without regard to what stands in it.
double lineHeight(const QFont& font);

/// The direction of a text's first letter; of the fallback where it has none.
Qt::LayoutDirection directionOf(const QString& text, Qt::LayoutDirection fallback);

/// A text broken into lines, the last of them cut with an ellipsis when the text does not fit.
class BrokenText {
 public:
  /// Maximum lines of 0 is any number. Lines run in the text's own direction; a text without one in
  /// the given direction.
  BrokenText(const QString& text, const QFont& font, double width, int maximumLines,
             Qt::LayoutDirection fallbackDirection);

  QSizeF size() const { return {width_, height_}; }
  /// Draws from the top of the rectangle, aligned within its width.
  void draw(QPainter& painter, const QRectF& rect, NSTextAlignment alignment) const;

 private:
  struct Line {
    std::unique_ptr<QTextLayout> own;  ///< of the cut line; the others are the layout's
    QTextLine line;
    double width, height;
  };
  void addLine(QTextLine line, std::unique_ptr<QTextLayout> own);

  QTextLayout layout_;
  std::vector<Line> lines_;
  double width_ = 0, height_ = 0, minimumHeight_;
  bool rightToLeft_;
};

}  // namespace tasklane::qt
