#pragma once

#include <QPointF>
#include <QPointer>
#include <QRectF>
#include <QWidget>
#include <string>

#include "uikit/base/Backend.h"
#include "uikit/views/UIView.h"

namespace tasklane::qt {

class ViewPeer;

/// What every widget of a view is besides a QWidget. The widget may outlive its view by a turn of
/// the loop (a button whose press closes its screen); it then has no peer and does nothing.
class ViewWidget {
 public:
  explicit ViewWidget(ViewPeer* peer) : peer_(peer) {}
  virtual ~ViewWidget() = default;
  ViewPeer* peer() const { return peer_; }
  void attach(ViewPeer* peer) { peer_ = peer; }
  void detach() { peer_ = nullptr; }
  /// Null once the view has given the widget back.
  UIView* view() const;

  static ViewWidget* of(QObject* object) { return dynamic_cast<ViewWidget*>(object); }

 private:
  ViewPeer* peer_;
};

/// The base of all peers: owns the widget, places it, and keeps changes for the update queue.
class ViewPeer : public UIViewPeer {
 public:
  /// The widget is larger than the view by the outset on every side, for what is painted around
  /// it.
  explicit ViewPeer(UIView& view, int outset = 0);
  ~ViewPeer() override;

  void viewDidChange() override;
  void subviewsDidChange() override;
  void firstResponderDidChange(bool isFirstResponder) override;

  UIView& view() const { return view_; }
  QWidget* widget() const { return widget_; }
  /// The widget that subviews' widgets are children of.
  virtual QWidget* container() const { return widget_; }
  /// The widget that takes the keyboard for this view, or null.
  virtual QWidget* focusTarget() const { return nullptr; }

  /// The view's rectangle in its widget's coordinates. Widgets stand on whole points; what a view's
  /// place has beyond them (a hairline of half a point) is painted at exactRect() instead.
  QRectF exactRect() const;
  QPointF fraction() const { return fraction_; }

  /// Puts the widget where the view's frame is.
  virtual void place();
  void applyPendingChanges();

  /// The peer of a view, or null.
  static ViewPeer* of(const UIView* view);
  static ViewPeer* of(const std::shared_ptr<UIView>& view) { return of(view.get()); }

 protected:
  /// Takes a widget without a parent; called once, from a subclass's constructor.
  void setWidget(QWidget* widget);
  /// Takes the widget off the screen and gives it up; null when there is none any more.
  QWidget* releaseWidget();
  /// Brings the widget up to date with the view's state.
  virtual void apply();
  /// Moves the subviews' widgets, after the bounds' origin has changed.
  void placeSubviews();

 private:
  friend class WindowPeer;
  void orderSubviews();
  void announceChanges();

  UIView& view_;
  const int outset_;
  QPointer<QWidget> widget_;
  QPointF fraction_;
  CGPoint appliedBoundsOrigin_;
  std::string announcedName_;
  bool queued_ = false, subviewsChanged_ = false;
};

/// A plain view: its background, nothing else.
class PlainPeer : public ViewPeer {
 public:
  explicit PlainPeer(UIView& view);
};

/// The widget of a plain view, and the base of those that paint more.
class PlainWidget : public QWidget, public ViewWidget {
 public:
  explicit PlainWidget(ViewPeer* peer);

 protected:
  void paintEvent(QPaintEvent* event) override;
};

}  // namespace tasklane::qt
