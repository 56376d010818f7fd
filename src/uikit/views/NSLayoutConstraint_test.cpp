#include "uikit/views/NSLayoutConstraint.h"

#include <gmock/gmock.h>

#include "uikit/controls/UILabel.h"
#include "uikit/headless/Headless.h"

namespace tasklane {
namespace {

using A = NSLayoutAttribute;
using Relation = NSLayoutRelation;

class NSLayoutConstraintTest : public testing::Test {
 protected:
  NSLayoutConstraintTest() { headless::reset(); }
  ~NSLayoutConstraintTest() override { headless::reset(); }

  static std::shared_ptr<UIView> add(const std::shared_ptr<UIView>& parent,
                                     std::shared_ptr<UIView> child = std::make_shared<UIView>()) {
    child->setTranslatesAutoresizingMaskIntoConstraints(false);
    parent->addSubview(child);
    return child;
  }
  static std::shared_ptr<NSLayoutConstraint> activate(const std::shared_ptr<UIView>& first,
                                                      A firstAttribute,
                                                      const std::shared_ptr<UIView>& second,
                                                      A secondAttribute, CGFloat constant = 0,
                                                      Relation relation = Relation::Equal,
                                                      CGFloat multiplier = 1) {
    auto constraint = std::make_shared<NSLayoutConstraint>(first, firstAttribute, relation, second,
                                                           secondAttribute, multiplier, constant);
    constraint->setActive(true);
    return constraint;
  }
  static void hug(const std::shared_ptr<UIView>& view, bool atMargins) {
    for (const char* format :
         {atMargins ? "H:|-[x]-|" : "H:|[x]|", atMargins ? "V:|-[x]-|" : "V:|[x]|"})
      NSLayoutConstraint::activateConstraints(
          NSLayoutConstraint::constraintsWithVisualFormat(format, {{"x", view}}));
  }

  const std::shared_ptr<UIView> root = std::make_shared<UIView>(CGRect{0, 0, 200, 100});
};

TEST_F(NSLayoutConstraintTest, VisualFormatsPinToEdgesAndMargins) {
  root->setLayoutMargins({1, 2, 3, 4});
  struct Case {
    const char *horizontal, *vertical;
    UIUserInterfaceLayoutDirection direction;
    CGRect expected;
  };
  constexpr auto kLeft = UIUserInterfaceLayoutDirection::LeftToRight;
  constexpr auto kRight = UIUserInterfaceLayoutDirection::RightToLeft;
  for (const auto& c : {Case{"H:|[x]|", "V:|[x]|", kLeft, {0, 0, 200, 100}},
                        Case{"H:|-[x]-|", "V:|-[x]-|", kLeft, {2, 1, 194, 96}},
                        Case{"H:|-[x]-|", "V:|[x]|", kRight, {2, 0, 194, 100}}}) {
    headless::setLayoutDirection(c.direction);
    const auto child = add(root);
    for (const char* format : {c.horizontal, c.vertical}) {
      const auto made = NSLayoutConstraint::constraintsWithVisualFormat(format, {{"x", child}});
      ASSERT_EQ(made.size(), 2u);
      EXPECT_FALSE(made[0]->isActive());
      NSLayoutConstraint::activateConstraints(made);
    }
    root->layoutIfNeeded();
    EXPECT_EQ(child->frame(), c.expected) << c.horizontal;
    child->removeFromSuperview();
    EXPECT_TRUE(root->constraints().empty()) << "they end with the view's leaving";
  }
  const auto child = add(root);
  for (const char* unknown : {"H:|-8-[x]", "|[x]|", "H:[x]|", "H:|[y]|", "V:|[x", ""}) {
    EXPECT_DEATH(NSLayoutConstraint::constraintsWithVisualFormat(unknown, {{"x", child}}), "format")
        << unknown;
  }
}

TEST_F(NSLayoutConstraintTest, FirstAttributesAreThePlatforms) {
  const auto child = add(root);
  std::vector<A> firsts;
  for (const char* format : {"H:|[x]|", "V:|[x]|", "H:|-[x]-|", "V:|-[x]-|"}) {
    for (const auto& made :
         NSLayoutConstraint::constraintsWithVisualFormat(format, {{"x", child}})) {
      firsts.push_back(made->firstAttribute());
    }
  }
  EXPECT_THAT(firsts, testing::ElementsAre(A::Leading, A::Trailing, A::Top, A::Bottom, A::Leading,
                                           A::TrailingMargin, A::Top, A::BottomMargin));
}

TEST_F(NSLayoutConstraintTest, PinsPlaceAViewAndLeaveWhatTheyDoNotSpeakOf) {
  struct Case {
    bool superviewFirst;
    A first, second;
    CGFloat constant;
    CGRect expected, mirrored;
  };
  root->setLayoutMargins({1, 2, 3, 4});
  for (const auto& c : {
           Case{false, A::Left, A::Left, 7, {7, 6, 30, 10}, {7, 6, 30, 10}},
           Case{false, A::Leading, A::LeadingMargin, 7, {9, 6, 30, 10}, {159, 6, 30, 10}},
           Case{true, A::TrailingMargin, A::Trailing, 7, {159, 6, 30, 10}, {9, 6, 30, 10}},
           Case{false, A::Leading, A::Trailing, -50, {150, 6, 30, 10}, {20, 6, 30, 10}},
           Case{true, A::BottomMargin, A::BottomMargin, 0, {5, 95, 30, 10}, {5, 95, 30, 10}},
           Case{false, A::Top, A::TopMargin, 2, {5, 3, 30, 10}, {5, 3, 30, 10}},
       }) {
    for (const bool mirrors : {false, true}) {
      headless::setLayoutDirection(mirrors ? UIUserInterfaceLayoutDirection::RightToLeft
                                           : UIUserInterfaceLayoutDirection::LeftToRight);
      const auto child = add(root, std::make_shared<UIView>(CGRect{5, 6, 30, 10}));
      activate(c.superviewFirst ? root : child, c.first, c.superviewFirst ? child : root, c.second,
               c.constant);
      for (int pass = 0; pass < 2; ++pass) {
        root->setNeedsLayout();
        root->layoutIfNeeded();
        EXPECT_EQ(child->frame(), mirrors ? c.mirrored : c.expected)
            << int(c.first) << " " << int(c.second) << " pass " << pass;
      }
      child->removeFromSuperview();
    }
  }
}

TEST_F(NSLayoutConstraintTest, ChangesAndDeactivationShowInTheNextLayout) {
  const auto child = add(root);
  const auto far = activate(child, A::Left, root, A::Left, 300);
  const auto left = activate(child, A::Left, root, A::Left, 7);
  activate(child, A::Left, root, A::Left, 70);
  activate(child, A::Right, root, A::Right, -10);
  root->layoutIfNeeded();
  EXPECT_EQ(child->frame().size.width, 0) << "never below nothing";
  far->setActive(false);
  root->layoutIfNeeded();
  EXPECT_EQ(child->frame(), (CGRect{7, 0, 183, 0})) << "of two for one edge the earlier";
  left->setActive(false);
  root->layoutIfNeeded();
  EXPECT_EQ(child->frame(), (CGRect{70, 0, 120, 0}));
  child->setTranslatesAutoresizingMaskIntoConstraints(true);
  child->setFrame({50, 50, 50, 50});
  root->layoutIfNeeded();
  EXPECT_EQ(child->frame(), (CGRect{50, 50, 50, 50})) << "it keeps its frame";
}

TEST_F(NSLayoutConstraintTest, NestedPinsAreLaidOutAtOnce) {
  class Counting : public UIView {
   public:
    void layoutSubviews() override {
      ++passes;
      UIView::layoutSubviews();
    }
    CGSize systemLayoutSizeFittingSize(CGSize target) override {
      ++fits;
      return UIView::systemLayoutSizeFittingSize(target);
    }
    int passes = 0, fits = 0;
  };
  std::vector<std::shared_ptr<Counting>> nest;
  for (std::shared_ptr<UIView> around = root; nest.size() < 100; around = nest.back()) {
    nest.push_back(std::make_shared<Counting>());
    add(around, nest.back());
    nest.back()->setLayoutMargins({});
    hug(nest.back(), nest.size() == 50);
  }
  root->setLayoutMargins({});
  nest[48]->setLayoutMargins({1, 2, 3, 4});
  root->layoutIfNeeded();
  EXPECT_EQ(nest[48]->frame(), root->bounds());
  EXPECT_EQ(nest[49]->frame(), (CGRect{2, 1, 194, 96}));
  EXPECT_EQ(nest[99]->frame(), (CGRect{0, 0, 194, 96}));
  EXPECT_EQ(root->systemLayoutSizeFittingSize(UILayoutFittingCompressedSize), (CGSize{6, 4}));
  for (const auto& view : nest) {
    EXPECT_EQ(view->passes, 1);
    EXPECT_EQ(view->fits, 1);
  }
}

TEST_F(NSLayoutConstraintTest, FittingSizeHasRoomForWhatIsPinned) {
  const auto text = std::make_shared<UILabel>();
  text->setFont(UIFont::systemFontOfSize(10));  // 5 points a character, 12 a line
  text->setText("1234 1234 1234");
  text->setNumberOfLines(0);
  hug(add(root, text), true);
  EXPECT_EQ(root->systemLayoutSizeFittingSize(UILayoutFittingCompressedSize), (CGSize{86, 28}));
  EXPECT_EQ(root->systemLayoutSizeFittingSize({66, 0}), (CGSize{66, 40}));
  EXPECT_EQ(root->systemLayoutSizeFittingSize({36, 0}), (CGSize{36, 52}));
}

TEST_F(NSLayoutConstraintTest, WhatIsNoPinIsRefusedWithTheReason) {
  const auto child = add(root), sibling = add(root), deep = add(child);
  EXPECT_DEATH(activate(deep, A::Left, root, A::Left), "not superview and subview");
  EXPECT_DEATH(activate(child, A::Left, sibling, A::Left), "not superview and subview");
  EXPECT_DEATH(activate(child, A::Width, nullptr, A::NotAnAttribute, 30), "no two views");
  EXPECT_DEATH(activate(child, A::Width, root, A::Width), "not edges");
  EXPECT_DEATH(activate(child, A::Left, root, A::Top), "of one direction");
  EXPECT_DEATH(activate(child, A::Left, root, A::Left, 0, Relation::LessThanOrEqual),
               "no equality");
  EXPECT_DEATH(activate(child, A::Left, root, A::Right, 0, Relation::Equal, 0.5), "multiplier");
}

TEST_F(NSLayoutConstraintTest, FreesItsViews) {
  auto outer = std::make_shared<UIView>();
  std::weak_ptr<UIView> freed = add(outer);
  const auto constraint = activate(freed.lock(), A::Left, outer, A::Left);
  EXPECT_TRUE(constraint->isActive());
  outer.reset();
  EXPECT_TRUE(freed.expired());
  EXPECT_FALSE(constraint->isActive());
  constraint->setActive(false);
  EXPECT_DEATH(constraint->setActive(true), "no two views");
}

}  // namespace
}  // namespace tasklane
