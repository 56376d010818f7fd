#include "uikit/qt/ViewPeer.h"

#include <QAccessible>
#include <QPainter>
#include <cmath>
#include <utility>

#include "uikit/qt/Accessible.h"
#include "uikit/qt/Drawing.h"
#include "uikit/qt/UpdateQueue.h"

namespace tasklane::qt {

namespace {
// A view this transparent is neither seen nor hit.
constexpr double kInvisibleAlpha = 0.01;
// Sums of fractions of a point come out a little beside whole numbers.
constexpr double kTolerance = 1e-4;
}  // namespace

UIView* ViewWidget::view() const { return peer_ ? &peer_->view() : nullptr; }

ViewPeer::ViewPeer(UIView& view, int outset)
    : view_(view), outset_(outset), appliedBoundsOrigin_(view.presentationBoundsOrigin()) {}

ViewPeer::~ViewPeer() {
  UpdateQueue::shared().remove(this);
  // It may be handling the very event that led here.
  if (QWidget* widget = releaseWidget()) widget->deleteLater();
}

QWidget* ViewPeer::releaseWidget() {
  if (!widget_) return nullptr;
  if (auto* viewWidget = ViewWidget::of(widget_)) viewWidget->detach();
  // The focus goes nowhere by itself: hiding a focused widget would hand it to a neighbour, which
  // would then look like a person's doing.
  for (QWidget* focused = widget_->isWindow() ? nullptr : widget_->window()->focusWidget();
       focused && (focused == widget_ || widget_->isAncestorOf(focused));) {
    focused->clearFocus();
    break;
  }
  widget_->hide();
  return std::exchange(widget_, nullptr);
}

ViewPeer* ViewPeer::of(const UIView* view) {
  return view ? static_cast<ViewPeer*>(view->peer()) : nullptr;
}

void ViewPeer::setWidget(QWidget* widget) {
  widget_ = widget;
  if (const auto superview = view_.superview())
    if (const ViewPeer* parent = of(superview)) widget->setParent(parent->container());
  subviewsChanged_ = true;
  viewDidChange();
}

void ViewPeer::viewDidChange() {
  if (queued_) return;
  queued_ = true;
  UpdateQueue::shared().add(this);
}

void ViewPeer::subviewsDidChange() {
  subviewsChanged_ = true;
  viewDidChange();
}

void ViewPeer::firstResponderDidChange(bool isFirstResponder) {
  QWidget* target = focusTarget();
  if (!target) return;
  if (isFirstResponder) {
    if (!target->hasFocus()) target->setFocus(Qt::OtherFocusReason);
  } else if (target->hasFocus()) {
    target->clearFocus();
  }
}

QRectF ViewPeer::exactRect() const {
  const CGSize size = view_.presentationFrame().size;
  return {fraction_, QSizeF(size.width, size.height)};
}

void ViewPeer::place() {
  const auto superview = view_.superview();
  const ViewPeer* parent = of(superview);
  if (!widget_ || !parent) return;
  const CGRect frame = view_.presentationFrame();
  const CGPoint origin = superview->presentationBoundsOrigin();
  const double left = frame.minX() - origin.x + parent->fraction_.x();
  const double top = frame.minY() - origin.y + parent->fraction_.y();
  const int x = static_cast<int>(std::floor(left + kTolerance));
  const int y = static_cast<int>(std::floor(top + kTolerance));
  const int right = static_cast<int>(std::ceil(left + frame.size.width - kTolerance));
  const int bottom = static_cast<int>(std::ceil(top + frame.size.height - kTolerance));
  const QPointF fraction(left - x + outset_, top - y + outset_);
  const bool shifted = fraction != fraction_;
  fraction_ = fraction;
  const QRect whole(x, y, std::max(0, right - x), std::max(0, bottom - y));
  widget_->setGeometry(whole.adjusted(-outset_, -outset_, outset_, outset_));
  if (shifted) {
    widget_->update();
    placeSubviews();
  }
}

void ViewPeer::placeSubviews() {
  for (const auto& subview : view_.subviews())
    if (ViewPeer* peer = of(subview)) peer->place();
}

void ViewPeer::applyPendingChanges() {
  queued_ = false;
  if (!widget_) return;
  place();
  if (subviewsChanged_) {
    subviewsChanged_ = false;
    orderSubviews();
  }
  if (view_.presentationBoundsOrigin() != appliedBoundsOrigin_) {
    appliedBoundsOrigin_ = view_.presentationBoundsOrigin();
    placeSubviews();
  }
  apply();
  if (QAccessible::isActive()) announceChanges();
}

void ViewPeer::apply() {
  widget_->setAttribute(Qt::WA_TransparentForMouseEvents, !view_.isUserInteractionEnabled());
  if (!widget_->isWindow() && widget_->parentWidget())
    widget_->setVisible(!view_.isHidden() && view_.presentationAlpha() > kInvisibleAlpha);
  widget_->update();
}

void ViewPeer::orderSubviews() {
  QWidget* parent = container();
  QWidget* below = nullptr;
  for (const auto& subview : view_.subviews()) {
    ViewPeer* peer = of(subview);
    if (!peer || !peer->widget_) continue;
    QWidget* child = peer->widget_;
    if (child->parentWidget() != parent) {
      child->setParent(parent);
      peer->viewDidChange();
    }
    const auto& siblings = parent->children();
    if (below && siblings.indexOf(child) < siblings.indexOf(below)) child->raise();
    below = child;
  }
}

void ViewPeer::announceChanges() {
  std::string name = accessibleName(view_);
  if (name == announcedName_) return;
  announcedName_ = std::move(name);
  QAccessibleEvent event(widget_, QAccessible::NameChanged);
  QAccessible::updateAccessibility(&event);
}

PlainPeer::PlainPeer(UIView& view) : ViewPeer(view) { setWidget(new PlainWidget(this)); }

PlainWidget::PlainWidget(ViewPeer* peer) : ViewWidget(peer) {
  setAttribute(Qt::WA_NoSystemBackground);
  setFocusPolicy(Qt::NoFocus);
}

void PlainWidget::paintEvent(QPaintEvent*) {
  if (!view() || !view()->backgroundColor()) return;
  QPainter painter(this);
  paintBackground(painter, *view(), peer()->exactRect());
}

}  // namespace tasklane::qt
