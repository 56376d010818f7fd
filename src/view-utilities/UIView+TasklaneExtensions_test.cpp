#include "view-utilities/UIView+TasklaneExtensions.h"

#include <gtest/gtest.h>

#include "uikit/controls/UILabel.h"
#include "uikit/controls/UITextView.h"
#include "uikit/views/UIWindow.h"

namespace tasklane {
namespace {

template <class View = UIView>
std::shared_ptr<View> subviewOf(UIView& view) {
  const auto subview = std::make_shared<View>();
  view.addSubview(subview);
  return subview;
}

TEST(TasklaneExtensions, FindsTheFirstResponderDepthFirst) {
  class Claiming : public UIView {
   public:
    bool isFirstResponder() const override { return claims; }
    bool claims = false;
  };
  EXPECT_EQ(findFirstResponderStartingAtView(nullptr), nullptr);
  const auto root = std::make_shared<UIView>();
  const auto first = subviewOf(*root), second = subviewOf(*root);
  const auto deep = subviewOf<Claiming>(*subviewOf(*first));
  const auto shallow = subviewOf<Claiming>(*second);
  EXPECT_EQ(findFirstResponderStartingAtView(root), nullptr);
  shallow->claims = true;
  EXPECT_EQ(findFirstResponderStartingAtView(root), shallow);
  deep->claims = true;
  EXPECT_EQ(findFirstResponderStartingAtView(root), deep);
  EXPECT_EQ(findFirstResponderStartingAtView(second), shallow);
}

TEST(TasklaneExtensions, StopsWhenTheTreeChangesDuringTheSearch) {
  class Leaving : public UIView {
   public:
    bool isFirstResponder() const override {
      const_cast<Leaving*>(this)->removeFromSuperview();
      return false;
    }
  };
  const auto root = std::make_shared<UIView>();
  subviewOf<Leaving>(*root);
  EXPECT_DEATH(findFirstResponderStartingAtView(root), "the subviews stay as they are");
}

TEST(TasklaneExtensions, PinsASubviewToAllEdges) {
  const auto root = std::make_shared<UIView>(CGRect(0, 0, 200, 100));
  root->setLayoutMargins({1, 2, 3, 4});
  const auto identifiers = [](const NSLayoutConstraints& constraints) {
    std::vector<std::string> names;
    for (const auto& constraint : constraints) names.push_back(constraint->identifier());
    std::sort(names.begin(), names.end());
    return names;
  };
  const std::vector<std::string> all{
      "com.kestrelworks.tasklane.bottom", "com.kestrelworks.tasklane.leading",
      "com.kestrelworks.tasklane.top", "com.kestrelworks.tasklane.trailing"};
  const struct {
    bool horizontal, vertical;
    CGRect frame;
  } cases[] = {{false, false, {0, 0, 200, 100}},
               {true, false, {2, 0, 194, 100}},
               {false, true, {0, 1, 200, 96}},
               {true, true, {2, 1, 194, 96}}};
  for (const auto& [horizontal, vertical, frame] : cases) {
    const auto subview = subviewOf(*root);
    const auto constraints = constraintsToHugSubview(*subview, subview, horizontal, vertical);
    EXPECT_EQ(identifiers(constraints), all);
    EXPECT_FALSE(subview->translatesAutoresizingMaskIntoConstraints());
    for (const auto& constraint : constraints) EXPECT_FALSE(constraint->isActive());
    addConstraintsToHugSubview(*root, subview, horizontal, vertical);
    root->layoutIfNeeded();
    EXPECT_EQ(subview->frame(), frame) << horizontal << vertical;
    const auto active = root->constraints();
    EXPECT_EQ(identifiers(active), all);
    // Without its constraints the view can be placed by hand again.
    for (const auto& constraint : active) constraint->setActive(false);
    subview->setTranslatesAutoresizingMaskIntoConstraints(true);
    subview->setFrame({5, 5, 5, 5});
    root->layoutIfNeeded();
    EXPECT_EQ(subview->frame(), CGRect(5, 5, 5, 5));
  }
  const auto subview = subviewOf(*root);
  addHuggingConstraintsForSubview(*root, subview);
  root->layoutIfNeeded();
  EXPECT_EQ(subview->frame(), root->bounds());
  const auto inset = subviewOf(*root);
  addStandardSpacingConstraintsForSubview(*root, inset);
  root->setFrame({0, 0, 100, 50});
  root->layoutIfNeeded();
  EXPECT_EQ(inset->frame(), CGRect(2, 1, 94, 46));
  EXPECT_EQ(standardSpacingConstraintsForSubview(*root, inset).size(), 4u);
  EXPECT_EQ(huggingConstraintsForSubview(*root, inset).size(), 4u);
}

TEST(TasklaneExtensions, SearchesUpTheTree) {
  const auto root = std::make_shared<UIView>(), elsewhere = std::make_shared<UIView>();
  const auto cell = std::make_shared<UITableViewCell>(UITableViewCellStyle::Default, "row");
  root->addSubview(cell);
  const auto grid = subviewOf<UICollectionViewCell>(*root);
  const auto inner = subviewOf(*cell->contentView());
  EXPECT_EQ(enclosingTableViewCell(inner), cell);
  EXPECT_EQ(enclosingTableViewCell(cell), cell);
  EXPECT_EQ(enclosingTableViewCell(root), nullptr);
  EXPECT_EQ(enclosingCollectionViewCell(subviewOf(*grid)), grid);
  EXPECT_EQ(enclosingCollectionViewCell(inner), nullptr);

  EXPECT_EQ(commonAncestorWithView(inner, grid), root);
  EXPECT_EQ(commonAncestorWithView(inner, inner), inner);
  EXPECT_EQ(commonAncestorWithView(cell, inner), cell);
  EXPECT_EQ(commonAncestorWithView(inner, cell), cell);
  EXPECT_EQ(commonAncestorWithView(inner, elsewhere), nullptr);
  EXPECT_EQ(commonAncestorWithView(inner, nullptr), nullptr);
}

TEST(TasklaneExtensions, CollectsViewsParentsFirstInTheirOrder) {
  class SpecialLabel : public UILabel {};
  const auto root = std::make_shared<UILabel>();
  const auto branch = subviewOf(*root);
  const auto special = subviewOf<SpecialLabel>(*branch);
  const auto last = subviewOf<UILabel>(*root);
  using Labels = std::vector<std::shared_ptr<UILabel>>;
  EXPECT_EQ(subviewsOfClass<UILabel>(root), (Labels{root, special, last}));
  EXPECT_EQ(subviewsOfClass<SpecialLabel>(root).size(), 1u);
  EXPECT_EQ(subviewsMatchingPredicate(root, [&](const auto& view) { return view != special; }),
            (std::vector<std::shared_ptr<UIView>>{root, branch, last}));
}

}  // namespace
}  // namespace tasklane
