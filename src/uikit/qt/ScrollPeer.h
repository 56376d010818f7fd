#pragma once

#include <QAbstractScrollArea>

#include "uikit/qt/ViewPeer.h"
#include "uikit/views/UIScrollView.h"

class QScrollBar;

namespace tasklane::qt {

class ScrollWidget;

/// Has a finger scroll the content of a viewport, with its swing, where there is a touch screen.
void letFingersScroll(QWidget* viewport);

/// A scroll view: a QAbstractScrollArea whose viewport holds the subviews' widgets. Its bars lie
/// over the content's trailing edge, so that they take no room from the layout.
class ScrollPeer : public ViewPeer {
 public:
  explicit ScrollPeer(UIScrollView& scrollView);
  QWidget* container() const override;

 protected:
  ScrollPeer(UIScrollView& scrollView, ScrollWidget* widget);
  void apply() override;

 private:
  friend class ScrollWidget;
  void personDidScroll();

  ScrollWidget* area_;
  bool applying_ = false;
};

/// The scroll area itself; the peer tells it what the view's state is.
class ScrollWidget : public QAbstractScrollArea, public ViewWidget {
 public:
  explicit ScrollWidget(ScrollPeer* peer);
  /// The scrollable range and place of each direction, in whole points.
  void setRange(Qt::Orientation orientation, int minimum, int maximum, int page, int value);
  void setBarVisible(bool visible);
  void setBarColor(const QColor& color);
  /// Arranges what lies over the content.
  void layOverlays();

 protected:
  void scrollContentsBy(int dx, int dy) override;
  void resizeEvent(QResizeEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void wheelEvent(QWheelEvent* event) override;
  bool viewportEvent(QEvent* event) override;
  bool event(QEvent* event) override;

 private:
  QScrollBar* overlay_;
};

}  // namespace tasklane::qt
