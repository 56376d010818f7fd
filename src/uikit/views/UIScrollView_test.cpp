#include "uikit/views/UIScrollView.h"

#include <gtest/gtest.h>

namespace tasklane {
namespace {

class CountingScrollView : public UIScrollView {
 public:
  using UIScrollView::UIScrollView;
  int scrolls = 0;

 protected:
  void didScroll() override { ++scrolls; }
};

TEST(UIScrollViewTest, PersonStaysWithinContentProgramNeedNot) {
  struct Case {
    CGSize content;
    CGPoint wanted, expected;
  };
  for (const auto& c : {
           Case{{100, 300}, {0, 50}, {0, 50}}, Case{{100, 300}, {40, 999}, {0, 200}},
           Case{{100, 300}, {-5, -5}, {0, 0}},
           Case{{50, 50}, {30, 30}, {0, 0}},  // smaller than the view
       }) {
    const auto view = std::make_shared<UIScrollView>(CGRect{0, 0, 100, 100});
    view->setContentSize(c.content);
    view->userDidScrollToOffset(c.wanted);
    EXPECT_EQ(view->contentOffset(), c.expected);
    view->setContentOffset(c.wanted);
    EXPECT_EQ(view->contentOffset(), c.wanted);
  }
}

TEST(UIScrollViewTest, ScrollsNoFurtherThanARectNeeds) {
  struct Case {
    CGRect rect;
    CGFloat from, expected;
  };
  for (const auto& c : {
           Case{{0, 120, 10, 20}, 100, 100},  // in sight
           Case{{0, 80, 10, 20}, 100, 80},    // above
           Case{{0, 190, 10, 20}, 100, 110},  // cut at the bottom
           Case{{0, 900, 10, 200}, 0, 900},   // too large: its beginning
           Case{{0, 990, 10, 50}, 0, 900},    // partly beyond the content
       }) {
    const auto view = std::make_shared<UIScrollView>(CGRect{0, 0, 100, 100});
    view->setContentSize({100, 1000});
    view->setContentOffset({0, c.from});
    view->scrollRectToVisible(c.rect, false);
    EXPECT_EQ(view->contentOffset().y, c.expected) << c.rect.origin.y;
  }
}

TEST(UIScrollViewTest, EveryWayOfScrollingIsToldOnce) {
  const auto view = std::make_shared<CountingScrollView>(CGRect{0, 0, 100, 100});
  view->setContentSize({100, 1000});
  view->setContentOffset({0, 10});
  view->setContentOffset({0, 10});
  view->setBounds({0, 20, 100, 100});
  view->userDidScrollToOffset({0, 30});
  EXPECT_EQ(view->scrolls, 3);
  view->setScrollEnabled(false);
  view->userDidScrollToOffset({0, 40});
  EXPECT_EQ(view->scrolls, 3);
  EXPECT_EQ(view->frame(), (CGRect{0, 0, 100, 100}));
}

TEST(UIScrollViewTest, ContentComesBackWhenTheViewGrowsOrTheContentShrinks) {
  const auto view = std::make_shared<UIScrollView>(CGRect{0, 0, 100, 100});
  view->setContentSize({100, 300});
  view->userDidScrollToOffset({0, 200});
  view->setFrame({0, 0, 100, 150});
  EXPECT_EQ(view->contentOffset().y, 150);
  view->setContentSize({100, 200});
  EXPECT_EQ(view->contentOffset().y, 50);
  view->setFrame({0, 0, 100, 999});
  EXPECT_EQ(view->contentOffset().y, 0);
  view->setContentOffset({0, 30});
  view->setFrame({0, 0, 100, 500});
  EXPECT_EQ(view->contentOffset().y, 30) << "a program's own";
}

}  // namespace
}  // namespace tasklane
