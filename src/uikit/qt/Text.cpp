#include "uikit/qt/Text.h"

#include <QFontMetricsF>
#include <QGuiApplication>
#include <QPainter>
#include <cmath>

namespace tasklane::qt {

namespace {

// What a measured width may be exceeded by when it is drawn again: sums of advances are not exact.
constexpr double kTolerance = 0.5;
constexpr double kUnbounded = 1e6;

QFont::Weight toQWeight(UIFontWeight weight) {
  switch (weight) {
    case UIFontWeight::Regular:
      return QFont::Normal;
    case UIFontWeight::Semibold:
      return QFont::DemiBold;
    case UIFontWeight::Bold:
      return QFont::Bold;
  }
  return QFont::Normal;
}

}  // namespace

Qt::LayoutDirection directionOf(const QString& text, Qt::LayoutDirection fallback) {
  for (const char32_t c : text.toStdU32String()) {
    switch (QChar::direction(c)) {
      case QChar::DirL:
        return Qt::LeftToRight;
      case QChar::DirR:
      case QChar::DirAL:
        return Qt::RightToLeft;
      default:
        break;
    }
  }
  return fallback;
}

QFont toQFont(const UIFont& font) {
  QFont result = QGuiApplication::font();
  result.setPixelSize(std::max(1, static_cast<int>(std::lround(font.pointSize()))));
  result.setWeight(toQWeight(font.weight()));
  return result;
}

double lineHeight(const QFont& font) { return std::ceil(QFontMetricsF(font).height()); }

BrokenText::BrokenText(const QString& text, const QFont& font, double width, int maximumLines,
                       Qt::LayoutDirection fallbackDirection)
    : minimumHeight_(lineHeight(font)),
      rightToLeft_(directionOf(text, fallbackDirection) == Qt::RightToLeft) {
  QString shown = text;
  shown.replace(QStringLiteral("\r\n"), QString(QChar::LineSeparator));
  shown.replace(u'\n', QChar::LineSeparator);
  const double available = std::min(width, kUnbounded) + kTolerance;
  QTextOption option;
  option.setTextDirection(rightToLeft_ ? Qt::RightToLeft : Qt::LeftToRight);
  option.setAlignment(Qt::AlignLeft | Qt::AlignAbsolute);
  option.setWrapMode(maximumLines == 1 ? QTextOption::NoWrap
                                       : QTextOption::WrapAtWordBoundaryOrAnywhere);
  layout_.setText(shown);
  layout_.setFont(font);
  layout_.setTextOption(option);
  layout_.setCacheEnabled(true);
  layout_.beginLayout();
  for (int count = 1;; ++count) {
    QTextLine line = layout_.createLine();
    if (!line.isValid()) break;
    line.setLineWidth(available);
    const int end = line.textStart() + line.textLength();
    const bool isLast = count == maximumLines;
    const bool isCut = isLast && (end < shown.size() || line.naturalTextWidth() > available);
    if (!isCut) {
      addLine(line, nullptr);
      if (isLast) break;
      continue;
    }
    QString rest = shown.mid(line.textStart());
    if (const auto separator = rest.indexOf(QChar::LineSeparator); separator >= 0)
      rest = rest.left(separator) + QChar(0x2026);
    auto own = std::make_unique<QTextLayout>(
        QFontMetricsF(font).elidedText(rest, Qt::ElideRight, available), font);
    option.setWrapMode(QTextOption::NoWrap);
    own->setTextOption(option);
    own->beginLayout();
    QTextLine cut = own->createLine();
    if (cut.isValid()) cut.setLineWidth(available);
    own->endLayout();
    if (cut.isValid()) addLine(cut, std::move(own));
    break;
  }
  layout_.endLayout();
}

void BrokenText::addLine(QTextLine line, std::unique_ptr<QTextLayout> own) {
  const double width = line.naturalTextWidth();
  const double height = std::max(minimumHeight_, std::ceil(line.height()));
  width_ = std::max(width_, std::ceil(width - 1e-3));
  height_ += height;
  lines_.push_back({std::move(own), line, width, height});
}

void BrokenText::draw(QPainter& painter, const QRectF& rect, NSTextAlignment alignment) const {
  if (alignment == NSTextAlignment::Natural)
    alignment = rightToLeft_ ? NSTextAlignment::Right : NSTextAlignment::Left;
  const double scale = painter.deviceTransform().m22();
  double y = rect.top();
  for (const Line& each : lines_) {
    double x = rect.left();
    if (alignment == NSTextAlignment::Center) x += (rect.width() - each.width) / 2;
    if (alignment == NSTextAlignment::Right) x = rect.right() - each.width;
    // The layout aligned the line to the left of a box that may be wider than the text.
    x -= each.line.naturalTextRect().left();
    const double top = y + (each.height - each.line.height()) / 2;
    const double baseline = std::round((top + each.line.ascent()) * scale) / scale;
    each.line.draw(&painter, {x, baseline - each.line.ascent() - each.line.y()});
    y += each.height;
  }
}

}  // namespace tasklane::qt
