#pragma once

#include <QProxyStyle>

class QWidget;

namespace tasklane::qt {

/// Qt's built-in style with slim scroll bars that have no buttons. Their colour is the bar's
/// WindowText. (A desktop's own style is a plugin to load, and its widgets would look pasted in.)
class SheetStyle : public QProxyStyle {
 public:
  SheetStyle();

  int pixelMetric(PixelMetric metric, const QStyleOption* option,
                  const QWidget* widget) const override;
  int styleHint(StyleHint hint, const QStyleOption* option, const QWidget* widget,
                QStyleHintReturn* returnData) const override;
  QRect subControlRect(ComplexControl control, const QStyleOptionComplex* option,
                       SubControl subControl, const QWidget* widget) const override;
  void drawComplexControl(ComplexControl control, const QStyleOptionComplex* option,
                          QPainter* painter, const QWidget* widget) const override;
};

}  // namespace tasklane::qt
