#include <gmock/gmock.h>

#include "foundation/events/NSRunLoop.h"
#include "uikit/headless/Headless.h"
#include "uikit/views/UIScrollView.h"
#include "uikit/views/UIWindow.h"

namespace tasklane {
namespace {

using testing::ElementsAre;

class UIViewAnimationTest : public testing::Test {
 protected:
  UIViewAnimationTest() {
    headless::reset();
    headless::setAnimationsEnabled(true);
    window->addSubview(view);
    window->makeKeyAndVisible();
  }
  ~UIViewAnimationTest() override {
    window->close();
    headless::reset();
  }
  static bool waitFor(const std::function<bool()>& condition) {
    return NSRunLoop::mainRunLoop().runUntil(condition, std::chrono::seconds(60));
  }
  void moveTo(CGFloat x, double duration, std::function<void()> completion) {
    UIView::animateWithDuration(
        duration,
        [&] {
          view->setFrame({x, 0, 10, 10});
        },
        std::move(completion));
  }
  /// Until one that is begun now, and so ends after those before it, has ended.
  static void waitForAnotherAnimation() {
    const auto otherWindow = std::make_shared<UIWindow>();
    const auto other = std::make_shared<UIView>();
    otherWindow->addSubview(other);
    otherWindow->makeKeyAndVisible();
    bool ended = false;
    UIView::animateWithDuration(
        0.06, [&] { other->setAlpha(0); }, [&] { ended = true; });
    EXPECT_TRUE(waitFor([&] { return ended; }));
  }

  const std::shared_ptr<UIWindow> window = std::make_shared<UIWindow>(CGRect{0, 0, 300, 300});
  std::shared_ptr<UIView> view = std::make_shared<UIView>(CGRect{0, 0, 10, 10});
};

TEST_F(UIViewAnimationTest, ScreenFollowsWhileTheViewIsThereAtOnce) {
  int completions = 0;
  UIView::animateWithDuration(
      0.08,
      [&] {
        view->setFrame({100, 0, 10, 10});
        view->setAlpha(0);
      },
      [&] { ++completions; });
  EXPECT_EQ(view->frame().origin.x, 100);
  EXPECT_EQ(view->presentationFrame().origin.x, 0);
  CGFloat last = 0;
  bool grows = true, sawBetween = false;
  EXPECT_TRUE(waitFor([&] {
    const CGFloat now = view->presentationFrame().origin.x;
    grows = grows && now >= last;
    sawBetween = sawBetween || (now > 0 && now < 100 && view->presentationAlpha() < 1);
    last = now;
    return completions == 1;
  }));
  EXPECT_TRUE(grows && sawBetween);
  EXPECT_EQ(view->presentationFrame().origin.x, 100);
  EXPECT_EQ(view->presentationAlpha(), 0);
}

TEST_F(UIViewAnimationTest, RunsAtOnceWhereNobodyWouldSeeIt) {
  const auto stray = std::make_shared<UIView>();
  const auto runsAtOnce = [](UIView& moved) {
    bool done = false;
    UIView::animateWithDuration(
        1,
        [&] {
          moved.setFrame({0, 0, 10, 10});
        },
        [&] { done = true; });
    return done && moved.presentationFrame() == moved.frame();
  };
  EXPECT_TRUE(runsAtOnce(*stray));
  view->setFrame({0, 0, 10, 10});
  EXPECT_TRUE(runsAtOnce(*view)) << "nothing moves";
  headless::setAnimationsEnabled(false);
  view->setFrame({});
  EXPECT_TRUE(runsAtOnce(*view));
}

TEST_F(UIViewAnimationTest, LaterAnimationTakesOverFromWhereTheViewIsSeen) {
  std::vector<std::string> order;
  moveTo(100, 0.06, [&] { order.push_back("first"); });
  ASSERT_TRUE(waitFor([&] { return view->presentationFrame().origin.x > 0; }));
  const CGFloat seen = view->presentationFrame().origin.x;
  moveTo(0, 0.12, [&] { order.push_back("second"); });
  EXPECT_EQ(view->presentationFrame().origin.x, seen);
  ASSERT_TRUE(waitFor([&] { return order.size() == 2; }));
  EXPECT_THAT(order, ElementsAre("first", "second"));
  EXPECT_EQ(view->presentationFrame().origin.x, 0);
}

TEST_F(UIViewAnimationTest, CompletionRunsOnceWhateverBecomesOfTheView) {
  struct Case {
    const char* name;
    std::function<void()> fate;
  };
  const Case cases[] = {
      {"removed", [&] { view->removeFromSuperview(); }},
      {"destroyed",
       [&] {
         view->removeFromSuperview();
         view = std::make_shared<UIView>();
       }},
      {"moved again",
       [&] {
         view->setFrame({2, 2, 10, 10});
       }},
      {"window closed", [&] { window->close(); }},
  };
  for (const auto& c : cases) {
    window->addSubview(view);
    window->makeKeyAndVisible();
    view->setFrame({0, 0, 10, 10});
    int completions = 0;
    moveTo(100, 0.05, [&] { ++completions; });
    c.fate();
    EXPECT_TRUE(waitFor([&] { return completions > 0; })) << c.name;
    EXPECT_EQ(view->presentationFrame(), view->frame()) << c.name;
    bool later = false;
    const auto timer =
        NSRunLoop::mainRunLoop().addTimer(std::chrono::milliseconds(80), [&] { later = true; });
    waitFor([&] { return later; });
    EXPECT_EQ(completions, 1) << c.name;
  }
}

TEST_F(UIViewAnimationTest, CompletionMayAnimateAgain) {
  std::vector<CGFloat> stations;
  std::function<void()> next = [&] {
    stations.push_back(view->presentationFrame().origin.x);
    if (stations.size() == 3) return;
    moveTo(view->frame().origin.x + 10, 0.03, next);
  };
  next();
  EXPECT_TRUE(waitFor([&] { return stations.size() == 3; }));
  EXPECT_THAT(stations, ElementsAre(0, 10, 20));
}

TEST_F(UIViewAnimationTest, ContentOffsetMovesItselfAndGivesWayToAPerson) {
  const auto scroll = std::make_shared<UIScrollView>(CGRect{0, 0, 100, 100});
  scroll->setContentSize({100, 1000});
  window->addSubview(scroll);
  scroll->setContentOffset({0, 400}, true);
  EXPECT_EQ(scroll->contentOffset().y, 0);
  EXPECT_TRUE(waitFor([&] { return scroll->contentOffset().y > 0; }));
  EXPECT_LT(scroll->contentOffset().y, 400);
  EXPECT_TRUE(waitFor([&] { return scroll->contentOffset().y == 400; }));

  scroll->setContentOffset({0, 0}, true);
  EXPECT_TRUE(waitFor([&] { return scroll->contentOffset().y < 400; }));
  scroll->userDidScrollToOffset({0, 777});
  waitForAnotherAnimation();
  EXPECT_EQ(scroll->contentOffset().y, 777);
}

}  // namespace
}  // namespace tasklane
