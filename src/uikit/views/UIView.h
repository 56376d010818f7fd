#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "uikit/base/CGGeometry.h"
#include "uikit/drawing/UIColor.h"
#include "uikit/views/UIAccessibility.h"
#include "uikit/views/UIResponder.h"

namespace tasklane {

class NSLayoutConstraint;
class UIViewController;
class UIViewPeer;
class UIWindow;

/// How a picture fills its view.
enum class UIViewContentMode {
  ScaleToFill = 0,
  ScaleAspectFit = 1,
  ScaleAspectFill = 2,
  Center = 4
};

/// Bits of the autoresizing mask: which distances give way when the superview changes its size.
enum UIViewAutoresizing : unsigned {
  UIViewAutoresizingNone = 0,
  UIViewAutoresizingFlexibleLeftMargin = 1,
  UIViewAutoresizingFlexibleWidth = 2,
  UIViewAutoresizingFlexibleRightMargin = 4,
  UIViewAutoresizingFlexibleTopMargin = 8,
  UIViewAutoresizingFlexibleHeight = 16,
  UIViewAutoresizingFlexibleBottomMargin = 32
};

/// The size asked of systemLayoutSizeFittingSize for "as small as the constraints allow".
inline constexpr CGSize UILayoutFittingCompressedSize{0, 0};

/// A rectangle on the screen with its subviews, back to front, which show only within it. A plain
/// object with all state of its own; while its window is on a screen the backend keeps a widget
/// (the peer) that shows it. Views are held by their superview; the way up does not hold. Main
/// thread.
class UIView : public UIResponder {
 public:
  explicit UIView(CGRect frame = {});
  ~UIView() override;

  // Geometry. The frame is in the superview's coordinates; bounds has the same size and the view's
  // own origin.
  CGRect frame() const { return frame_; }
  virtual void setFrame(CGRect frame);
  CGRect bounds() const { return {boundsOrigin_, frame_.size}; }
  virtual void setBounds(CGRect bounds);
  unsigned autoresizingMask() const { return autoresizingMask_; }
  void setAutoresizingMask(unsigned mask) { autoresizingMask_ = mask; }
  /// To the other view's coordinates; with none to the window's.
  CGPoint convertPointToView(CGPoint point, const UIView* view) const;
  CGRect convertRectToView(CGRect rect, const UIView* view) const;

  // The tree.
  /// Null also while the superview is being constructed.
  std::shared_ptr<UIView> superview() const;
  const std::vector<std::shared_ptr<UIView>>& subviews() const { return subviews_; }
  std::shared_ptr<UIWindow> window() const;
  /// Moves the view here, in front of the other subviews; one that is here already only comes to
  /// the front. Hooks in order: willMoveToSuperview, willRemoveSubview (of the old superview),
  /// willMoveToWindow, didMoveToWindow, didMoveToSuperview, didAddSubview; those of the window only
  /// when it changes, for the whole subtree, superviews first.
  virtual void addSubview(const std::shared_ptr<UIView>& view);
  void insertSubviewAtIndex(const std::shared_ptr<UIView>& view, std::size_t index);
  /// The same hooks with no superview and no window. A first responder among what leaves resigns;
  /// constraints with what stays are deactivated.
  void removeFromSuperview();
  bool isDescendantOfView(const UIView* view) const;
  virtual void willMoveToSuperview(const std::shared_ptr<UIView>& newSuperview) {
    (void)newSuperview;
  }
  virtual void didMoveToSuperview() {}
  virtual void willMoveToWindow(const std::shared_ptr<UIWindow>& newWindow) { (void)newWindow; }
  virtual void didMoveToWindow() {}
  virtual void didAddSubview(const std::shared_ptr<UIView>& subview) { (void)subview; }
  virtual void willRemoveSubview(const std::shared_ptr<UIView>& subview) { (void)subview; }

  // Layout. Flags are cleared before the callback, so that a request made during it survives.
  void setNeedsLayout();
  /// Lays out this view and those below it, each once and only where asked for. The
  /// backend has a window on a screen do it before it is drawn.
  void layoutIfNeeded();
  /// Places the subviews: autoresizing and active constraints have been applied when the base
  /// returns.
  virtual void layoutSubviews();
  virtual CGSize sizeThatFits(CGSize size);
  void sizeToFit();
  /// The natural size, where the content has one; UIViewNoIntrinsicMetric (-1) per direction
  /// otherwise.
  virtual CGSize intrinsicContentSize();
  /// To be called when the natural size has changed: the superview lays out anew.
  void invalidateIntrinsicContentSize();
  /// The natural size with room for the subviews that are pinned in it; where there is neither, the
  /// target. A target above 0 is a width or height that they have to do with.
  virtual CGSize systemLayoutSizeFittingSize(CGSize targetSize);
  UIEdgeInsets layoutMargins() const { return layoutMargins_; }
  void setLayoutMargins(UIEdgeInsets margins);
  bool translatesAutoresizingMaskIntoConstraints() const { return translatesAutoresizingMask_; }
  void setTranslatesAutoresizingMaskIntoConstraints(bool flag);
  /// Active constraints held by this view.
  const std::vector<std::shared_ptr<NSLayoutConstraint>>& constraints() const {
    return constraints_;
  }
  UIUserInterfaceLayoutDirection effectiveUserInterfaceLayoutDirection() const;

  // Looks.
  const std::optional<UIColor>& backgroundColor() const { return backgroundColor_; }
  virtual void setBackgroundColor(const std::optional<UIColor>& color);
  /// Whether the view says that it fills its bounds; no backend relies on it.
  bool isOpaque() const { return opaque_; }
  void setOpaque(bool opaque) { opaque_ = opaque; }
  bool isHidden() const { return hidden_; }
  void setHidden(bool hidden);
  CGFloat alpha() const { return alpha_; }
  void setAlpha(CGFloat alpha);
  CGFloat cornerRadius() const { return cornerRadius_; }
  void setCornerRadius(CGFloat radius);
  UIViewContentMode contentMode() const { return contentMode_; }
  void setContentMode(UIViewContentMode mode);
  /// The view's own tint, else its nearest superview's, else the system's.
  UIColor tintColor() const;
  void setTintColor(const std::optional<UIColor>& color);
  /// Runs when the view's own or inherited tint has changed.
  virtual void tintColorDidChange();
  bool isUserInteractionEnabled() const { return userInteractionEnabled_; }
  void setUserInteractionEnabled(bool enabled);

  // First responder.
  std::shared_ptr<UIResponder> nextResponder() const override;
  bool becomeFirstResponder() override;
  bool resignFirstResponder() override;
  bool isFirstResponder() const override;

  // Accessibility.
  bool isAccessibilityElement() const { return accessibilityElement_; }
  void setIsAccessibilityElement(bool flag);
  virtual std::optional<std::string> accessibilityLabel() const { return accessibilityLabel_; }
  void setAccessibilityLabel(std::optional<std::string> label);
  virtual std::optional<std::string> accessibilityHint() const { return accessibilityHint_; }
  void setAccessibilityHint(std::optional<std::string> hint);
  virtual std::optional<std::string> accessibilityValue() const { return accessibilityValue_; }
  void setAccessibilityValue(std::optional<std::string> value);
  virtual UIAccessibilityTraits accessibilityTraits() const { return accessibilityTraits_; }
  void setAccessibilityTraits(UIAccessibilityTraits traits);

  /// Runs the changes and has what they move arrive after the duration; at once where the desktop
  /// has turned animations off or the view is on no screen. The completion runs when it has
  /// arrived.
  static void animateWithDuration(double seconds, const std::function<void()>& animations,
                                  std::function<void()> completion = {});
  /// What a screen shows at this moment: on its way to the view's own value while an animation
  /// runs.
  CGRect presentationFrame() const;
  CGPoint presentationBoundsOrigin() const;
  CGFloat presentationAlpha() const;

  /// The controller whose root view this is, or none.
  std::shared_ptr<UIViewController> viewController() const { return viewController_.lock(); }

  /// The backend's widget for this view while its window is on a screen, else null.
  UIViewPeer* peer() const { return peer_.get(); }

 protected:
  /// Tells the peer that something it shows has changed.
  void peerNeedsUpdate();

 private:
  friend class UIWindow;
  friend class UIViewController;
  friend class UIViewAnimation;
  friend class NSLayoutConstraint;

  struct Presentation {
    CGRect frame;
    CGPoint boundsOrigin;
    CGFloat alpha = 1;
    const void* animation = nullptr;  ///< the latest animation of the view, which alone steps it
    bool operator==(const Presentation&) const = default;
  };
  Presentation presentation() const;
  void recordForAnimation();

  void insert(const std::shared_ptr<UIView>& view, std::size_t index);
  void detachFromSuperview();
  void resignBeforeLeaving();
  void willMoveSubtreeToWindow(const std::shared_ptr<UIWindow>& window);
  void setWindowOfSubtree(UIWindow* window);
  void didMoveSubtreeToWindow();
  void makePeers();
  void dropPeers();
  void cascadeTint();
  void resizeSubviews(CGSize oldSize);
  void deactivateConstraintsWith(const UIView& subview);

  CGRect frame_;
  CGPoint boundsOrigin_;
  UIView* superview_ = nullptr;  ///< cleared when either goes
  UIWindow* window_ = nullptr;   ///< likewise
  std::vector<std::shared_ptr<UIView>> subviews_;
  std::vector<std::shared_ptr<NSLayoutConstraint>> constraints_;
  std::weak_ptr<UIViewController> viewController_;
  std::unique_ptr<UIViewPeer> peer_;
  std::unique_ptr<Presentation> presentation_;
  std::optional<UIColor> backgroundColor_, tintColor_;
  std::optional<std::string> accessibilityLabel_, accessibilityHint_, accessibilityValue_;
  UIAccessibilityTraits accessibilityTraits_ = UIAccessibilityTraitNone;
  UIEdgeInsets layoutMargins_{8, 8, 8, 8};
  CGFloat alpha_ = 1, cornerRadius_ = 0;
  UIViewContentMode contentMode_ = UIViewContentMode::ScaleToFill;
  unsigned autoresizingMask_ = UIViewAutoresizingNone;
  bool opaque_ = true, hidden_ = false;
  bool needsLayout_ = true, subtreeNeedsLayout_ = true;  ///< the second whenever one below has it
  bool translatesAutoresizingMask_ = true, userInteractionEnabled_ = true,
       accessibilityElement_ = false;
};

inline constexpr CGFloat UIViewNoIntrinsicMetric = -1;

}  // namespace tasklane
