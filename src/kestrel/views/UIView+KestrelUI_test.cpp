#include "kestrel/views/UIView+KestrelUI.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tasklane {
namespace {

TEST(ApplyToViewTree, GoesWhereTheVisitorSends) {
  const auto views = [] {
    std::vector<std::shared_ptr<UIView>> made(5);
    for (auto& view : made) view = std::make_shared<UIView>();
    return made;
  }();
  views[0]->addSubview(views[1]);
  views[1]->addSubview(views[2]);
  views[0]->addSubview(views[3]);
  views[3]->addSubview(views[4]);
  const struct {
    int at;
    KUIViewVisit answer;
    std::vector<int> visited;
  } cases[] = {{4, KUIViewVisit::EnterSubviews, {0, 1, 2, 3, 4}},
               {0, KUIViewVisit::SkipSubviews, {0}},
               {1, KUIViewVisit::SkipSubviews, {0, 1, 3, 4}},
               {2, KUIViewVisit::Stop, {0, 1, 2}}};
  for (const auto& [at, answer, expected] : cases) {
    std::vector<int> visited;
    applyToViewTree(views[0], [&, at = at, answer = answer](const std::shared_ptr<UIView>& view) {
      visited.push_back(
          static_cast<int>(std::find(views.begin(), views.end(), view) - views.begin()));
      return visited.back() == at ? answer : KUIViewVisit::EnterSubviews;
    });
    EXPECT_EQ(visited, expected);
  }
  applyToViewTree(nullptr, [](const auto&) {
    ADD_FAILURE() << "there is nothing to visit";
    return KUIViewVisit::Stop;
  });
}

class Container : public UIView {};

TEST(ContainingViewOfClass, IsTheNearestOneTheViewItselfCounted) {
  const auto outer = std::make_shared<Container>(), inner = std::make_shared<Container>();
  const auto leaf = std::make_shared<UIView>();
  outer->addSubview(inner);
  inner->addSubview(leaf);
  EXPECT_EQ(containingViewOfClass<Container>(leaf), inner);
  EXPECT_EQ(containingViewOfClass<UIView>(leaf), leaf);
  EXPECT_EQ(containingViewOfClass<Container>(nullptr), nullptr);
}

}  // namespace
}  // namespace tasklane
