#include "uikit/views/UIView.h"

#include <gmock/gmock.h>

#include <functional>

#include "uikit/controls/UILabel.h"
#include "uikit/headless/Headless.h"
#include "uikit/views/UIWindow.h"

namespace tasklane {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Log = std::vector<std::string>;

/// A view that writes down what it is told.
class LoggingView : public UIView {
 public:
  LoggingView(std::string name, Log& log) : name_(std::move(name)), log_(log) {}

  void willMoveToSuperview(const std::shared_ptr<UIView>& view) override {
    note(view ? "willMoveToSuperview" : "willMoveToSuperview none");
  }
  void didMoveToSuperview() override { note("didMoveToSuperview"); }
  void willMoveToWindow(const std::shared_ptr<UIWindow>& window) override {
    note(window ? "willMoveToWindow" : "willMoveToWindow none");
  }
  void didMoveToWindow() override { note(window() ? "didMoveToWindow" : "didMoveToWindow none"); }
  void didAddSubview(const std::shared_ptr<UIView>&) override { note("didAddSubview"); }
  void willRemoveSubview(const std::shared_ptr<UIView>&) override { note("willRemoveSubview"); }
  void tintColorDidChange() override { note("tint"); }
  void layoutSubviews() override {
    note("layout");
    if (onLayout) std::exchange(onLayout, nullptr)();
  }
  bool canBecomeFirstResponder() const override { return true; }
  bool resignFirstResponder() override {
    return !refusesToResign && UIView::resignFirstResponder();
  }

  std::function<void()> onLayout;
  bool refusesToResign = false;

 private:
  void note(const std::string& what) { log_.push_back(name_ + " " + what); }
  std::string name_;
  Log& log_;
};

class UIViewTest : public testing::Test {
 protected:
  UIViewTest() { headless::reset(); }
  ~UIViewTest() override { headless::reset(); }

  std::shared_ptr<LoggingView> view(const std::string& name) {
    return std::make_shared<LoggingView>(name, log);
  }
  Log taken() { return std::exchange(log, {}); }

  Log log;
};

TEST_F(UIViewTest, HooksComeInThePlatformsOrder) {
  const auto window = std::make_shared<UIWindow>(CGRect{0, 0, 100, 100});
  const auto a = view("a"), b = view("b"), child = view("child");
  window->addSubview(a);
  window->addSubview(b);
  const auto mover = view("mover");
  mover->addSubview(child);
  taken();

  a->addSubview(mover);
  EXPECT_THAT(taken(),
              ElementsAre("mover willMoveToSuperview", "mover willMoveToWindow",
                          "child willMoveToWindow", "mover didMoveToWindow",
                          "child didMoveToWindow", "mover didMoveToSuperview", "a didAddSubview"));
  b->addSubview(mover);
  EXPECT_THAT(taken(), ElementsAre("mover willMoveToSuperview", "a willRemoveSubview",
                                   "mover didMoveToSuperview", "b didAddSubview"));
  b->addSubview(mover);
  EXPECT_THAT(taken(), IsEmpty()) << "it is there already";
  mover->removeFromSuperview();
  EXPECT_THAT(taken(), ElementsAre("mover willMoveToSuperview none", "b willRemoveSubview",
                                   "mover willMoveToWindow none", "child willMoveToWindow none",
                                   "mover didMoveToWindow none", "child didMoveToWindow none",
                                   "mover didMoveToSuperview"));
  EXPECT_EQ(mover->superview(), nullptr);
  EXPECT_THAT(b->subviews(), IsEmpty());
}

TEST_F(UIViewTest, SubviewsKeepTheirOrder) {
  const auto parent = view("p"), a = view("a"), b = view("b"), c = view("c");
  parent->addSubview(a);
  parent->addSubview(c);
  parent->insertSubviewAtIndex(b, 1);
  EXPECT_THAT(parent->subviews(), ElementsAre(a, b, c));
  parent->addSubview(a);
  EXPECT_THAT(parent->subviews(), ElementsAre(b, c, a));
  parent->insertSubviewAtIndex(a, 0);
  EXPECT_THAT(parent->subviews(), ElementsAre(a, b, c));
  EXPECT_DEATH(a->addSubview(a), "inside itself");
}

TEST_F(UIViewTest, TintIsInheritedAndItsChangeToldToThoseWhoInherit) {
  const auto parent = view("parent"), heir = view("heir"), own = view("own"), below = view("below");
  parent->addSubview(heir);
  parent->addSubview(own);
  own->addSubview(below);
  own->setTintColor(UIColor::blackColor());
  taken();

  parent->setTintColor(UIColor::greenColor());
  EXPECT_THAT(taken(), ElementsAre("parent tint", "heir tint"));
  EXPECT_EQ(heir->tintColor(), UIColor::greenColor());
  EXPECT_EQ(below->tintColor(), UIColor::blackColor());
  parent->setTintColor(UIColor::greenColor());
  EXPECT_THAT(taken(), IsEmpty());

  const auto newcomer = view("newcomer");
  parent->addSubview(newcomer);
  EXPECT_THAT(taken(), ElementsAre("newcomer willMoveToSuperview", "newcomer didMoveToSuperview",
                                   "parent didAddSubview", "newcomer tint"));
}

TEST_F(UIViewTest, LayoutFlagFallsBeforeTheCallback) {
  const auto parent = view("parent"), child = view("child");
  parent->addSubview(child);
  parent->layoutIfNeeded();
  EXPECT_THAT(std::exchange(log, {}), testing::IsSupersetOf({"parent layout", "child layout"}));
  parent->layoutIfNeeded();
  EXPECT_THAT(taken(), IsEmpty());

  child->onLayout = [&] { child->setNeedsLayout(); };
  child->setNeedsLayout();
  parent->layoutIfNeeded();
  EXPECT_THAT(taken(), ElementsAre("child layout")) << "only where asked for";
  parent->layoutIfNeeded();
  EXPECT_THAT(taken(), ElementsAre("child layout")) << "the request made during it survived";
  parent->layoutIfNeeded();
  EXPECT_THAT(taken(), IsEmpty());

  parent->onLayout = [&] { child->setFrame({0, 0, 5, 5}); };
  parent->setNeedsLayout();
  parent->layoutIfNeeded();
  EXPECT_THAT(taken(), ElementsAre("parent layout", "child layout")) << "in the same pass";
}

TEST_F(UIViewTest, AutoresizingSharesTheChange) {
  struct Case {
    unsigned mask;
    CGRect expected;
  };
  constexpr unsigned kWidth = UIViewAutoresizingFlexibleWidth;
  const Case cases[] = {
      {UIViewAutoresizingNone, {10, 20, 40, 50}},
      {kWidth | UIViewAutoresizingFlexibleHeight, {10, 20, 140, 150}},
      {UIViewAutoresizingFlexibleLeftMargin, {110, 20, 40, 50}},
      {UIViewAutoresizingFlexibleRightMargin, {10, 20, 40, 50}},
      {kWidth | UIViewAutoresizingFlexibleRightMargin, {10, 20, 40 + 100 * 40 / 90.0, 50}},
      {UIViewAutoresizingFlexibleTopMargin | UIViewAutoresizingFlexibleBottomMargin,
       {10, 20 + 100 * 20 / 50.0, 40, 50}},
  };
  for (const auto& c : cases) {
    const auto parent = std::make_shared<UIView>(CGRect{0, 0, 100, 100});
    const auto child = std::make_shared<UIView>(CGRect{10, 20, 40, 50});
    child->setAutoresizingMask(c.mask);
    parent->addSubview(child);
    parent->setFrame({0, 0, 200, 200});
    EXPECT_EQ(child->frame(), c.expected) << "mask " << c.mask;
  }
}

TEST_F(UIViewTest, PointsConvertThroughScrolledAndNestedViews) {
  const auto root = std::make_shared<UIView>(CGRect{5, 5, 300, 300});
  const auto a = std::make_shared<UIView>(CGRect{10, 10, 200, 200});
  const auto b = std::make_shared<UIView>(CGRect{20, 30, 50, 50});
  const auto other = std::make_shared<UIView>(CGRect{100, 0, 50, 50});
  root->addSubview(a);
  root->addSubview(other);
  a->addSubview(b);
  a->setBounds({0, 15, 200, 200});
  EXPECT_EQ(b->convertPointToView({1, 1}, a.get()), (CGPoint{21, 31}));
  EXPECT_EQ(b->convertPointToView({1, 1}, nullptr), (CGPoint{31, 26}));
  EXPECT_EQ(b->convertPointToView({1, 1}, other.get()), (CGPoint{-69, 26}));
  EXPECT_EQ(root->convertPointToView({31, 26}, b.get()), (CGPoint{1, 1}));
}

TEST_F(UIViewTest, OneFirstResponderAWindow) {
  const auto window = std::make_shared<UIWindow>(CGRect{0, 0, 100, 100});
  const auto a = view("a"), b = view("b"), stray = view("stray");
  EXPECT_FALSE(stray->becomeFirstResponder()) << "it is in no window";
  window->addSubview(a);
  window->addSubview(b);
  EXPECT_TRUE(a->becomeFirstResponder());
  EXPECT_TRUE(b->becomeFirstResponder());
  EXPECT_FALSE(a->isFirstResponder());
  b->refusesToResign = true;
  EXPECT_FALSE(a->becomeFirstResponder());
  EXPECT_TRUE(b->isFirstResponder());
  EXPECT_FALSE(std::make_shared<UIView>()->becomeFirstResponder());
  b->removeFromSuperview();
  EXPECT_EQ(window->firstResponder(), nullptr) << "gone with the view, though it refused";
}

TEST_F(UIViewTest, PeersComeAndGoWithTheScreen) {
  headless::setRecordsPeers(true);
  auto window = std::make_shared<UIWindow>(CGRect{0, 0, 100, 100});
  const auto label = std::make_shared<UILabel>();
  const auto box = std::make_shared<UIView>();
  box->addSubview(label);
  window->addSubview(box);
  EXPECT_EQ(headless::peerCount(), 0u) << "the window is not on a screen";
  window->makeKeyAndVisible();
  EXPECT_THAT(headless::takePeerRecords(), ElementsAre("+UIWindow", "+UIView", "+UILabel"));
  label->setText("x");
  label->setText("x");
  EXPECT_THAT(headless::takePeerRecords(), ElementsAre("UIView changed", "UILabel changed"))
      << "the superview may have to place it anew";
  box->removeFromSuperview();
  EXPECT_THAT(headless::takePeerRecords(), testing::IsSupersetOf({"-UILabel", "-UIView"}));
  window->addSubview(box);
  EXPECT_EQ(headless::peerCount(), 3u);
  window.reset();
  EXPECT_EQ(headless::peerCount(), 0u);
  EXPECT_EQ(label->window(), nullptr);
}

TEST_F(UIViewTest, TreesAreFreedHoweverDeep) {
  std::weak_ptr<UIView> top, bottom;
  {
    auto root = std::make_shared<UIView>();
    bottom = root;
    for (int i = 0; i < 100'000; ++i) {
      const auto above = std::make_shared<UIView>();
      above->addSubview(root);
      root = above;
    }
    top = root;
  }
  EXPECT_TRUE(top.expired());
  EXPECT_TRUE(bottom.expired());
}

}  // namespace
}  // namespace tasklane
