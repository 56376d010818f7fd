#include "uikit/NSLayoutConstraint.h"

#include <gmock/gmock.h>

#include "uikit/UILabel.h"
#include "uikit/headless/Headless.h"

namespace tasklane {
namespace {

using Attribute = NSLayoutAttribute;
using Relation = NSLayoutRelation;

class NSLayoutConstraintTest : public testing::Test {
 protected:
  NSLayoutConstraintTest() { headless::reset(); }
  ~NSLayoutConstraintTest() override { headless::reset(); }

  static std::shared_ptr<UIView> add(const std::shared_ptr<UIView>& parent,
                                     std::shared_ptr<UIView> child) {
    child->setTranslatesAutoresizingMaskIntoConstraints(false);
    parent->addSubview(child);
    return child;
  }
  static std::shared_ptr<NSLayoutConstraint> pin(const std::shared_ptr<UIView>& first,
                                                 Attribute firstAttribute, Relation relation,
                                                 const std::shared_ptr<UIView>& second,
                                                 Attribute secondAttribute, CGFloat constant = 0,
                                                 CGFloat multiplier = 1) {
    auto constraint = std::make_shared<NSLayoutConstraint>(first, firstAttribute, relation, second,
                                                           secondAttribute, multiplier, constant);
    constraint->setActive(true);
    return constraint;
  }
  static auto equal(const std::shared_ptr<UIView>& first, Attribute firstAttribute,
                    const std::shared_ptr<UIView>& second, Attribute secondAttribute,
                    CGFloat constant = 0, CGFloat multiplier = 1) {
    return pin(first, firstAttribute, Relation::Equal, second, secondAttribute, constant,
               multiplier);
  }
  static auto fixed(const std::shared_ptr<UIView>& view, Attribute attribute, CGFloat length) {
    return equal(view, attribute, nullptr, Attribute::NotAnAttribute, length);
  }
  static std::shared_ptr<UILabel> label(const std::string& text) {
    const auto result = std::make_shared<UILabel>();
    result->setFont(UIFont::systemFontOfSize(10));  // 5 points a character, 12 a line
    result->setText(text);
    return result;
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
    const auto child = add(root, std::make_shared<UIView>());
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
  const auto child = add(root, std::make_shared<UIView>());
  for (const char* unknown : {"H:|-8-[x]", "|[x]|", "H:[x]|", "H:|[y]|", "V:|[x", ""}) {
    EXPECT_DEATH(NSLayoutConstraint::constraintsWithVisualFormat(unknown, {{"x", child}}), "format")
        << unknown;
  }
}

TEST_F(NSLayoutConstraintTest, FirstAttributesAreThePlatforms) {
  const auto child = add(root, std::make_shared<UIView>());
  std::vector<Attribute> firsts;
  for (const char* format : {"H:|[x]|", "V:|[x]|", "H:|-[x]-|", "V:|-[x]-|"}) {
    for (const auto& made :
         NSLayoutConstraint::constraintsWithVisualFormat(format, {{"x", child}})) {
      firsts.push_back(made->firstAttribute());
    }
  }
  EXPECT_THAT(firsts,
              testing::ElementsAre(Attribute::Leading, Attribute::Trailing, Attribute::Top,
                                   Attribute::Bottom, Attribute::Leading, Attribute::TrailingMargin,
                                   Attribute::Top, Attribute::BottomMargin));
}

TEST_F(NSLayoutConstraintTest, DeactivatingFreesTheView) {
  const auto child = add(root, std::make_shared<UIView>());
  const auto x = equal(child, Attribute::Left, root, Attribute::Left, 7);
  const auto width = fixed(child, Attribute::Width, 30);
  root->layoutIfNeeded();
  EXPECT_EQ(child->frame(), (CGRect{7, 0, 30, 0}));
  x->setConstant(9);
  root->layoutIfNeeded();
  EXPECT_EQ(child->frame().origin.x, 9);
  NSLayoutConstraint::deactivateConstraints({x, width});
  child->setFrame({50, 50, 50, 50});
  root->setNeedsLayout();
  root->layoutIfNeeded();
  EXPECT_EQ(child->frame(), (CGRect{50, 50, 50, 50}));
}

TEST_F(NSLayoutConstraintTest, SiblingsNaturalSizesAndInequalities) {
  const auto title = add(root, label("1234")), value = add(root, label("12345678"));
  equal(title, Attribute::Leading, root, Attribute::LeadingMargin);
  equal(title, Attribute::CenterY, root, Attribute::CenterY);
  equal(value, Attribute::Leading, title, Attribute::Trailing, 6);
  equal(value, Attribute::LastBaseline, title, Attribute::LastBaseline);
  pin(value, Attribute::Trailing, Relation::LessThanOrEqual, root, Attribute::TrailingMargin);

  root->layoutIfNeeded();
  EXPECT_EQ(title->frame(), (CGRect{8, 44, 20, 12}));
  EXPECT_EQ(value->frame(), (CGRect{34, 44, 40, 12}));

  root->setFrame({0, 0, 60, 100});
  root->layoutIfNeeded();
  EXPECT_EQ(value->frame().maxX(), 52) << "the inequality holds at its edge";
  EXPECT_EQ(value->frame().minX() - title->frame().maxX(), 6);

  root->setFrame({0, 0, 200, 100});
  headless::setLayoutDirection(UIUserInterfaceLayoutDirection::RightToLeft);
  root->layoutIfNeeded();
  EXPECT_EQ(title->frame().maxX(), 192);
  EXPECT_EQ(value->frame().maxX(), 166);
}

TEST_F(NSLayoutConstraintTest, MultipliersAspectAndCentre) {
  const auto child = add(root, std::make_shared<UIView>());
  equal(child, Attribute::Width, root, Attribute::Width, 0, 0.5);
  equal(child, Attribute::Height, child, Attribute::Width, 0, 0.25);
  equal(child, Attribute::CenterX, root, Attribute::CenterX);
  equal(child, Attribute::Bottom, root, Attribute::Bottom, -5);
  root->layoutIfNeeded();
  EXPECT_EQ(child->frame(), (CGRect{50, 70, 100, 25}));
}

TEST_F(NSLayoutConstraintTest, EarlierOfContradictingConstraintsCounts) {
  const auto child = add(root, std::make_shared<UIView>());
  fixed(child, Attribute::Width, 30);
  fixed(child, Attribute::Width, 40);
  pin(child, Attribute::Width, Relation::GreaterThanOrEqual, nullptr, Attribute::NotAnAttribute,
      50);
  root->layoutIfNeeded();
  EXPECT_EQ(child->frame().size.width, 30);
}

TEST_F(NSLayoutConstraintTest, ViewThatTranslatesItsMaskKeepsItsFrame) {
  const auto fixedView = std::make_shared<UIView>(CGRect{20, 0, 30, 10});
  root->addSubview(fixedView);
  const auto child = add(root, std::make_shared<UIView>());
  equal(child, Attribute::Left, fixedView, Attribute::Right, 5);
  root->layoutIfNeeded();
  EXPECT_EQ(fixedView->frame(), (CGRect{20, 0, 30, 10}));
  EXPECT_EQ(child->frame().origin.x, 55);
}

TEST_F(NSLayoutConstraintTest, FittingSizeIsAsSmallAsAllContentsAllow) {
  const auto box = add(root, std::make_shared<UIView>());
  const auto shorter = add(box, label("1234")), longer = add(box, label("12345678"));
  for (const auto& view : {shorter, longer}) {
    equal(view, Attribute::Leading, box, Attribute::LeadingMargin);
    equal(box, Attribute::TrailingMargin, view, Attribute::Trailing);
  }
  equal(shorter, Attribute::Top, box, Attribute::Top, 4);
  equal(longer, Attribute::Top, shorter, Attribute::Bottom, 2);
  equal(box, Attribute::Bottom, longer, Attribute::Bottom, 4);
  EXPECT_EQ(box->systemLayoutSizeFittingSize(UILayoutFittingCompressedSize), (CGSize{56, 34}));

  // A box inside a view takes its content's size there, and follows the content.
  equal(box, Attribute::Leading, root, Attribute::Leading);
  equal(box, Attribute::Top, root, Attribute::Top);
  root->layoutIfNeeded();
  EXPECT_EQ(box->frame().size, (CGSize{56, 34}));
  std::static_pointer_cast<UILabel>(longer)->setText("12");
  root->layoutIfNeeded();
  EXPECT_EQ(box->frame().size, (CGSize{36, 34}));
}

TEST_F(NSLayoutConstraintTest, WrappingContentTakesTheHeightOfItsWidth) {
  const auto text = add(root, label("1234 1234 1234"));
  std::static_pointer_cast<UILabel>(text)->setNumberOfLines(0);
  for (const char* format : {"H:|-[x]-|", "V:|-[x]-|"}) {
    NSLayoutConstraint::activateConstraints(
        NSLayoutConstraint::constraintsWithVisualFormat(format, {{"x", text}}));
  }
  EXPECT_EQ(root->systemLayoutSizeFittingSize({66, 0}), (CGSize{66, 40}));
  EXPECT_EQ(root->systemLayoutSizeFittingSize({36, 0}), (CGSize{36, 52}));
}

TEST_F(NSLayoutConstraintTest, FreesItsViewsAndKnowsItsLimits) {
  std::weak_ptr<UIView> freed;
  auto outer = std::make_shared<UIView>();
  std::shared_ptr<NSLayoutConstraint> constraint;
  {
    const auto inner = add(outer, std::make_shared<UIView>());
    constraint = equal(inner, Attribute::Left, outer, Attribute::Left);
    freed = inner;
    const auto deep = add(inner, std::make_shared<UIView>());
    EXPECT_DEATH(equal(deep, Attribute::Left, outer, Attribute::Left), "neither superview");
  }
  EXPECT_TRUE(constraint->isActive());
  outer.reset();
  EXPECT_TRUE(freed.expired());
  EXPECT_FALSE(constraint->isActive());
  constraint->setActive(false);
}

}  // namespace
}  // namespace tasklane
