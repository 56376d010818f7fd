#include "uikit/qt/ScrollPeer.h"

#include <QInputDevice>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>
#include <QScroller>
#include <algorithm>
#include <cmath>

#include "uikit/qt/Drawing.h"
#include "uikit/qt/UpdateQueue.h"

namespace tasklane::qt {

namespace {

// A wheel's notch moves the content by three lines of text.
constexpr int kWheelStep = 20;

bool hasTouchScreen() {
  const auto devices = QInputDevice::devices();
  return std::any_of(devices.begin(), devices.end(), [](const QInputDevice* device) {
    return device->type() == QInputDevice::DeviceType::TouchScreen;
  });
}

int whole(double length) { return static_cast<int>(std::lround(std::clamp(length, -1e9, 1e9))); }

}  // namespace

void letFingersScroll(QWidget* viewport) {
  if (hasTouchScreen()) QScroller::grabGesture(viewport, QScroller::TouchGesture);
}

ScrollWidget::ScrollWidget(ScrollPeer* peer) : ViewWidget(peer) {
  setFrameShape(QFrame::NoFrame);
  setFocusPolicy(Qt::NoFocus);
  setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  setAttribute(Qt::WA_NoSystemBackground);
  viewport()->setAutoFillBackground(false);
  viewport()->setAttribute(Qt::WA_NoSystemBackground);
  overlay_ = new QScrollBar(Qt::Vertical, this);
  overlay_->setAttribute(Qt::WA_NoSystemBackground);
  overlay_->setAttribute(Qt::WA_OpaquePaintEvent, false);
  overlay_->setAttribute(Qt::WA_Hover);
  overlay_->hide();
  connect(overlay_, &QScrollBar::valueChanged, verticalScrollBar(), &QScrollBar::setValue);
  connect(verticalScrollBar(), &QScrollBar::valueChanged, overlay_, &QScrollBar::setValue);
  letFingersScroll(viewport());
}

void ScrollWidget::setRange(Qt::Orientation orientation, int minimum, int maximum, int page,
                            int value) {
  const bool vertical = orientation == Qt::Vertical;
  for (QScrollBar* bar :
       {vertical ? verticalScrollBar() : horizontalScrollBar(), vertical ? overlay_ : nullptr}) {
    if (!bar) continue;
    bar->setRange(minimum, maximum);
    bar->setPageStep(page);
    bar->setSingleStep(kWheelStep);
    bar->setValue(value);
  }
}

void ScrollWidget::setBarVisible(bool visible) { overlay_->setVisible(visible); }

void ScrollWidget::setBarColor(const QColor& color) {
  QPalette palette = overlay_->palette();
  palette.setColor(QPalette::WindowText, color);
  if (palette != overlay_->palette()) overlay_->setPalette(palette);
}

void ScrollWidget::scrollContentsBy(int, int) {
  if (peer()) static_cast<ScrollPeer*>(peer())->personDidScroll();
}

void ScrollWidget::resizeEvent(QResizeEvent* event) {
  QAbstractScrollArea::resizeEvent(event);
  layOverlays();
}

void ScrollWidget::layOverlays() {
  const int extent = overlay_->sizeHint().width();
  const int left = layoutDirection() == Qt::RightToLeft ? 0 : width() - extent;
  overlay_->setGeometry(left, 0, extent, height());
  overlay_->raise();
}

void ScrollWidget::keyPressEvent(QKeyEvent* event) { event->ignore(); }

void ScrollWidget::wheelEvent(QWheelEvent* event) {
  const auto* scrollView = static_cast<UIScrollView*>(view());
  if (scrollView && scrollView->isScrollEnabled())
    QAbstractScrollArea::wheelEvent(event);
  else
    event->ignore();
}

bool ScrollWidget::viewportEvent(QEvent* event) {
  if (event->type() == QEvent::Paint) {
    if (!view()) return true;
    QPainter painter(viewport());
    paintBackground(painter, *view(), peer()->exactRect());
    return true;
  }
  return QAbstractScrollArea::viewportEvent(event);
}

bool ScrollWidget::event(QEvent* event) {
  // There is no frame, and the viewport paints the rest.
  if (event->type() == QEvent::Paint) return true;
  return QAbstractScrollArea::event(event);
}

ScrollPeer::ScrollPeer(UIScrollView& scrollView) : ScrollPeer(scrollView, new ScrollWidget(this)) {}

ScrollPeer::ScrollPeer(UIScrollView& scrollView, ScrollWidget* widget)
    : ViewPeer(scrollView), area_(widget) {
  setWidget(widget);
}

QWidget* ScrollPeer::container() const { return area_->viewport(); }

void ScrollPeer::personDidScroll() {
  if (applying_) return;
  const auto keep = view().shared_from_this();
  static_cast<UIScrollView&>(view()).userDidScrollToOffset(
      {double(area_->horizontalScrollBar()->value()), double(area_->verticalScrollBar()->value())});
}

void ScrollPeer::apply() {
  ViewPeer::apply();
  const auto& scrollView = static_cast<UIScrollView&>(view());
  const CGSize size = scrollView.bounds().size;
  const CGPoint offset = scrollView.contentOffset(), farthest = scrollView.farthestOffset();
  applying_ = true;
  const bool scrolls = scrollView.isScrollEnabled();
  const auto range = [&](Qt::Orientation orientation, double last, double page, double value) {
    const int maximum = std::max(0, whole(std::ceil(last)));
    area_->setRange(orientation, 0, scrolls ? maximum : 0, whole(page), whole(value));
  };
  range(Qt::Vertical, farthest.y, size.height, offset.y);
  range(Qt::Horizontal, farthest.x, size.width, offset.x);
  applying_ = false;
  // A list that fits shows none, though what stands above its rows can be scrolled to.
  area_->setBarVisible(scrolls && scrollView.contentSize().height > size.height);
  switch (scrollView.indicatorStyle()) {
    case UIScrollViewIndicatorStyle::Default:
      area_->setBarColor(isDark(colorBehind(scrollView)) ? Qt::white : Qt::black);
      break;
    case UIScrollViewIndicatorStyle::Black:
      area_->setBarColor(Qt::black);
      break;
    case UIScrollViewIndicatorStyle::White:
      area_->setBarColor(Qt::white);
      break;
  }
  area_->layOverlays();
  area_->viewport()->update();
}

}  // namespace tasklane::qt
