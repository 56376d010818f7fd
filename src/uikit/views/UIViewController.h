#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "uikit/base/CGGeometry.h"
#include "uikit/views/UINavigationItem.h"
#include "uikit/views/UIResponder.h"
#include "uikit/views/UIView.h"

namespace tasklane {

class UINavigationController;
class UIPresentationController;
struct UIPasteboardContents;

enum class UIStatusBarStyle { Default = 0, LightContent = 1 };

/// A screen: loads its view once, on first use, and is told when it appears and disappears.
/// Controllers are held by their parent, presenter or window; the way up is weak. Main thread.
///
/// Order of calls: loadView, viewDidLoad, then per showing viewWillAppear, viewDidAppear,
/// viewWillDisappear, viewDidDisappear, each with whether it is animated; "did" comes after the
/// animation has ended.
class UIViewController : public UIResponder {
 public:
  UIViewController();
  ~UIViewController() override;

  /// The root view; asking for it loads it.
  const std::shared_ptr<UIView>& view();
  void setView(const std::shared_ptr<UIView>& view);
  bool isViewLoaded() const { return view_ != nullptr; }
  void loadViewIfNeeded() { view(); }
  /// Makes the view and sets it. The base makes a plain one.
  virtual void loadView();
  virtual void viewDidLoad() {}

  /// The base runs the body that is in place for all controllers (see exchangeViewWillAppear).
  virtual void viewWillAppear(bool animated);
  virtual void viewDidAppear(bool animated) { (void)animated; }
  virtual void viewWillDisappear(bool animated) { (void)animated; }
  virtual void viewDidDisappear(bool animated) { (void)animated; }
  virtual void viewWillLayoutSubviews() {}
  virtual void viewDidLayoutSubviews() {}

  /// The body of the base class's viewWillAppear; exchanging it answers the former body, which the
  /// new one keeps and calls. Safe before main().
  using ViewWillAppearBody = std::function<void(UIViewController& controller, bool animated)>;
  static ViewWillAppearBody exchangeViewWillAppear(ViewWillAppearBody body);

  const std::string& title() const { return title_; }
  virtual void setTitle(const std::string& title);
  /// What a navigation bar shows for this screen; made on first use.
  const std::shared_ptr<UINavigationItem>& navigationItem();

  // Children.
  std::shared_ptr<UIViewController> parentViewController() const { return parent_.lock(); }
  const std::vector<std::shared_ptr<UIViewController>>& childViewControllers() const {
    return children_;
  }
  void addChildViewController(const std::shared_ptr<UIViewController>& child);
  void removeFromParentViewController();
  std::shared_ptr<UINavigationController> navigationController() const;

  // Presentation: one controller at a time over this one's window.
  const std::shared_ptr<UIViewController>& presentedViewController() const { return presented_; }
  std::shared_ptr<UIViewController> presentingViewController() const { return presenting_.lock(); }
  virtual void presentViewController(const std::shared_ptr<UIViewController>& controller,
                                     bool animated, std::function<void()> completion = {});
  /// Dismisses what this controller presents or, when it presents nothing, this controller itself.
  virtual void dismissViewControllerAnimated(bool animated, std::function<void()> completion = {});
  bool definesPresentationContext() const { return definesPresentationContext_; }
  void setDefinesPresentationContext(bool flag) { definesPresentationContext_ = flag; }
  const std::shared_ptr<UIPresentationController>& presentationController();

  /// The size that the screen's content asks for. The handler belongs to whoever shows the screen
  /// and hears of each change.
  CGSize preferredContentSize() const { return preferredContentSize_; }
  void setPreferredContentSize(CGSize size);
  void setPreferredContentSizeHandler(std::function<void()> handler) {
    preferredContentSizeHandler_ = std::move(handler);
  }

  /// Where the keyboard's focus goes when the screen appears and nothing else has asked for it.
  virtual std::shared_ptr<UIView> preferredFocusView() { return nullptr; }
  /// The Escape key, or a screen reader's escape gesture; answers whether it was taken. The base
  /// dismisses what this controller presents or else passes it up.
  virtual bool accessibilityPerformEscape();
  /// Ctrl+Return, from anywhere on the screen: what the screen is there to do. Answers whether it
  /// was taken; if not, the next responder's controller is asked.
  virtual bool performPrimaryAction() { return false; }
  /// Something is dropped on the screen, or pasted where no text is typed, or is no text: whether
  /// this controller takes such a thing (its picture may not be loaded yet); if not, the next
  /// responder's controller is asked.
  virtual bool canPaste(const UIPasteboardContents& contents) const {
    (void)contents;
    return false;
  }
  /// Takes it; called after canPaste() alone.
  virtual void paste(const UIPasteboardContents& contents) { (void)contents; }

  std::shared_ptr<UIResponder> nextResponder() const override;

  /// For containers, windows and presentations: runs the appearance calls of a child, each only
  /// when the child's state makes it due.
  void beginAppearanceTransition(bool isAppearing, bool animated);
  void endAppearanceTransition();

  /// Keeps what has the keyboard's focus on this screen, before another screen covers it.
  void rememberFocus();
  /// Gives the focus back to what had it or, failing that, to the preferred view; does nothing
  /// while something on this screen has it.
  void restoreFocus();
  /// restoreFocus() for a screen that comes in another one's place: where it wants no focus the
  /// other one loses it all the same.
  void takeFocusFrom(UIViewController& other);

 protected:
  /// Whether presenting this controller shows its view. One that answers false (a search in the
  /// screen that it searches) is only known as the presented controller.
  virtual bool showsViewWhenPresented() const { return true; }
  virtual void dismissalWillBegin() {}
  virtual void dismissalDidEnd() {}

 private:
  friend class UINavigationController;
  struct Presentation;
  std::vector<std::shared_ptr<UIViewController>> childrenOnScreen() const;
  void finishPresenting(const std::shared_ptr<UIViewController>& controller);
  void dismissPresented(bool animated, std::function<void()> completion);
  std::shared_ptr<UIView> view_;
  std::string title_;
  std::shared_ptr<UINavigationItem> navigationItem_;
  std::weak_ptr<UIViewController> parent_, presenting_;
  std::vector<std::shared_ptr<UIViewController>> children_;
  std::shared_ptr<UIViewController> presented_;
  std::shared_ptr<UIPresentationController> presentationController_;
  std::shared_ptr<Presentation> presentation_;  ///< while this controller is presented
  std::weak_ptr<UIResponder> rememberedFocus_;
  std::function<void()> preferredContentSizeHandler_;
  CGSize preferredContentSize_;
  enum class Appearance {
    Disappeared,
    Appearing,
    Appeared,
    Disappearing
  } appearance_ = Appearance::Disappeared;
  bool transitionAnimated_ = false, definesPresentationContext_ = false, loadingView_ = false;
};

}  // namespace tasklane
