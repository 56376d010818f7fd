#include "uikit/views/UIViewController.h"

#include <gmock/gmock.h>

#include "foundation/events/NSRunLoop.h"
#include "uikit/controls/UITextView.h"
#include "uikit/headless/Headless.h"
#include "uikit/navigation/UINavigationController.h"
#include "uikit/views/UIWindow.h"

namespace tasklane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> calls;

/// Empties the record and answers what was in it.
std::vector<std::string> taken() { return std::exchange(calls, {}); }

/// Records what it hears as "A willAppear", with "*" where it is animated.
class Screen : public UIViewController {
 public:
  explicit Screen(std::string called) : name(std::move(called)) { setTitle(name); }
  void loadView() override {
    calls.push_back(name + " loadView");
    field = std::make_shared<UITextView>();
    setView(std::make_shared<UIView>());
    view()->addSubview(field);
  }
  void viewDidLoad() override { calls.push_back(name + " didLoad"); }
  void viewWillAppear(bool animated) override {
    UIViewController::viewWillAppear(animated);
    say("willAppear", animated);
    if (onWillAppear) onWillAppear();
  }
  void viewDidAppear(bool animated) override { say("didAppear", animated); }
  void viewWillDisappear(bool animated) override { say("willDisappear", animated); }
  void viewDidDisappear(bool animated) override { say("didDisappear", animated); }
  void say(const std::string& what, bool animated) {
    calls.push_back(name + " " + what + (animated ? "*" : ""));
  }
  std::string name;
  std::shared_ptr<UITextView> field;
  std::function<void()> onWillAppear;
};

class UIViewControllerTest : public testing::Test {
 protected:
  UIViewControllerTest() {
    headless::reset();
    calls.clear();
  }
  ~UIViewControllerTest() override { headless::reset(); }

  void show(const std::shared_ptr<UIViewController>& root) {
    window->setRootViewController(root);
    window->makeKeyAndVisible();
  }
  static bool waitFor(const std::function<bool()>& condition) {
    return NSRunLoop::mainRunLoop().runUntil(condition, std::chrono::seconds(60));
  }

  std::shared_ptr<UIWindow> window = std::make_shared<UIWindow>(CGRect{0, 0, 320, 480});
  std::shared_ptr<Screen> a = std::make_shared<Screen>("A"), b = std::make_shared<Screen>("B"),
                          c = std::make_shared<Screen>("C");
};

TEST_F(UIViewControllerTest, ANewPreferredSizeIsToldOnce) {
  std::vector<CGSize> told;
  a->setPreferredContentSizeHandler([&] { told.push_back(a->preferredContentSize()); });
  for (const CGFloat height : {300, 300, 200}) a->setPreferredContentSize({100, height});
  EXPECT_THAT(told, ElementsAre(CGSize{100, 300}, CGSize{100, 200}));
}

TEST_F(UIViewControllerTest, PushingAndPopping) {
  const auto stack = UINavigationController::make(a);
  EXPECT_THAT(taken(), IsEmpty()) << "no view before it is needed";
  show(stack);
  EXPECT_THAT(taken(), ElementsAre("A loadView", "A didLoad", "A willAppear", "A didAppear"));
  stack->pushViewController(b, true);
  EXPECT_THAT(taken(), ElementsAre("B loadView", "B didLoad", "A willDisappear*", "B willAppear*",
                                   "A didDisappear*", "B didAppear*"));
  EXPECT_EQ(b->navigationController(), stack);
  EXPECT_EQ(a->view()->superview(), nullptr);
  EXPECT_EQ(b->view()->frame(), (CGRect{0, 44, 320, 436}));
  EXPECT_EQ(stack->popViewControllerAnimated(false), b);
  EXPECT_THAT(taken(),
              ElementsAre("B willDisappear", "A willAppear", "B didDisappear", "A didAppear"));
  EXPECT_EQ(b->parentViewController(), nullptr);
  EXPECT_EQ(stack->popViewControllerAnimated(false), nullptr);
}

TEST_F(UIViewControllerTest, DidComesAfterTheAnimation) {
  headless::setAnimationsEnabled(true);
  const auto stack = UINavigationController::make(a);
  show(stack);
  taken();
  stack->pushViewController(b, true);
  EXPECT_THAT(taken(), ElementsAre("B loadView", "B didLoad", "A willDisappear*", "B willAppear*"));
  ASSERT_TRUE(waitFor([] { return !calls.empty(); }));
  EXPECT_THAT(taken(), ElementsAre("A didDisappear*", "B didAppear*"));
  b->presentViewController(c, true);
  EXPECT_THAT(taken(), ElementsAre("C loadView", "C didLoad", "B willDisappear*", "C willAppear*"));
  ASSERT_TRUE(waitFor([] { return !calls.empty(); }));
  EXPECT_THAT(taken(), ElementsAre("C didAppear*", "B didDisappear*"));
}

TEST_F(UIViewControllerTest, PushesAndPopsThatOverlap) {
  headless::setAnimationsEnabled(true);
  const auto stack = UINavigationController::make(a);
  show(stack);
  stack->pushViewController(b, true);
  taken();
  stack->pushViewController(b, true);  // the second tap of a double tap
  EXPECT_THAT(taken(), IsEmpty());
  stack->popViewControllerAnimated(true);
  EXPECT_THAT(taken(),
              ElementsAre("A didDisappear*", "B didAppear*", "B willDisappear*", "A willAppear*"));
  stack->pushViewController(c, false);
  EXPECT_THAT(taken(),
              ElementsAre("B didDisappear*", "A didAppear*", "C loadView", "C didLoad",
                          "A willDisappear", "C willAppear", "A didDisappear", "C didAppear"));
  EXPECT_EQ(window->rootViewController()->view()->subviews().size(), 2u) << "the bar and C";
  // From inside an appearance call: it follows when the call has returned.
  b->onWillAppear = [&] { stack->popViewControllerAnimated(false); };
  stack->pushViewController(b, false);
  EXPECT_EQ(stack->topViewController(), c);
  EXPECT_THAT(taken(),
              ElementsAre("C willDisappear", "B willAppear", "C didDisappear", "B didAppear",
                          "B willDisappear", "C willAppear", "B didDisappear", "C didAppear"));
}

TEST_F(UIViewControllerTest, PresentingAndDismissing) {
  show(a);
  taken();
  bool done = false;
  a->presentViewController(b, true, [&] { done = true; });
  EXPECT_TRUE(done);
  EXPECT_THAT(taken(), ElementsAre("B loadView", "B didLoad", "A willDisappear*", "B willAppear*",
                                   "B didAppear*", "A didDisappear*"));
  EXPECT_EQ(a->presentedViewController(), b);
  EXPECT_EQ(b->presentingViewController(), a);
  a->presentViewController(c, false);  // refused: A presents already
  EXPECT_EQ(c->presentingViewController(), nullptr);
  b->presentViewController(c, false);
  taken();
  EXPECT_TRUE(c->accessibilityPerformEscape());
  EXPECT_EQ(b->presentedViewController(), nullptr);
  EXPECT_THAT(taken(),
              ElementsAre("C willDisappear*", "B willAppear*", "B didAppear*", "C didDisappear*"));
  b->dismissViewControllerAnimated(false);
  EXPECT_THAT(taken(),
              ElementsAre("B willDisappear", "A willAppear", "A didAppear", "B didDisappear"));
  EXPECT_EQ(b->view()->window(), nullptr);
  EXPECT_FALSE(a->accessibilityPerformEscape());
}

TEST_F(UIViewControllerTest, TheFocusReturnsToWhereItWas) {
  const auto stack = UINavigationController::make(a);
  show(stack);
  a->field->becomeFirstResponder();
  stack->pushViewController(b, true);
  EXPECT_EQ(window->firstResponder(), nullptr) << "B wants no keyboard";
  b->field->becomeFirstResponder();
  b->presentViewController(c, false);
  EXPECT_EQ(window->firstResponder(), nullptr);
  b->dismissViewControllerAnimated(false);
  EXPECT_EQ(window->firstResponder(), b->field);
  EXPECT_TRUE(b->accessibilityPerformEscape());
  EXPECT_EQ(stack->topViewController(), a);
  EXPECT_EQ(window->firstResponder(), a->field);
  // A screen that takes the keyboard when it is about to appear has it.
  b->onWillAppear = [&] { b->field->becomeFirstResponder(); };
  stack->pushViewController(b, true);
  EXPECT_EQ(window->firstResponder(), b->field);
}

TEST_F(UIViewControllerTest, TheBodyOfViewWillAppearCanBeExchanged) {
  UIViewController::ViewWillAppearBody former;
  former = UIViewController::exchangeViewWillAppear([&](UIViewController& screen, bool animated) {
    former(screen, animated);
    calls.push_back("body for " + screen.title());
  });
  show(UINavigationController::make(a));
  UIViewController::exchangeViewWillAppear(former);
  EXPECT_THAT(taken(), ElementsAre("A loadView", "A didLoad", "body for ", "body for A",
                                   "A willAppear", "A didAppear"));
}

}  // namespace
}  // namespace tasklane
