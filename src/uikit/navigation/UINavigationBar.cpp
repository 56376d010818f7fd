#include "uikit/navigation/UINavigationBar.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "uikit/base/Backend.h"
#include "uikit/base/SystemText.h"
#include "uikit/base/UIScreen.h"
#include "uikit/controls/UIButton.h"
#include "uikit/controls/UILabel.h"

namespace tasklane {
namespace {

constexpr CGFloat kMargin = 15;
constexpr CGFloat kGap = 10;
/// What texts are by default. Larger ones give way.
constexpr CGFloat kUsualPoints = 17;

UIFont fontOfButton(const std::shared_ptr<UIBarButtonItem>& item) {
  const bool done = item && item->style() == UIBarButtonItemStyle::Done;
  return UIFont::preferredFontForTextStyle(done ? UIFontTextStyle::Headline
                                                : UIFontTextStyle::Body);
}

CGFloat widthOf(const std::string& text, const UIFont& font) {
  return std::ceil(backend::sizeOfText(text, font, CGFLOAT_MAX, 1).width);
}

UIFont resized(const UIFont& font, CGFloat factor) {
  if (factor == 1) return font;
  return UIFont::systemFontOfSize(std::floor(font.pointSize() * factor), font.weight());
}

struct BarColors {
  UIColor background, title, hairline;
};

BarColors colorsOfStyle(UIBarStyle style) {
  if (style == UIBarStyle::Default) {
    return {UIColor{0.973, 0.973, 0.976, 1}, UIColor::blackColor(), UIColor{0.76, 0.76, 0.78, 1}};
  }
  return {UIColor{0.11, 0.11, 0.118, 1}, UIColor::whiteColor(), UIColor{0.28, 0.28, 0.3, 1}};
}

}  // namespace

UINavigationBar::UINavigationBar(CGRect frame)
    : UIView(frame),
      titleLabel_(std::make_shared<UILabel>()),
      leftButton_(std::make_shared<UIButton>()),
      rightButton_(std::make_shared<UIButton>()),
      hairline_(std::make_shared<UIView>()) {
  titleLabel_->setTextAlignment(NSTextAlignment::Center);
  titleLabel_->setFont(UIFont::preferredFontForTextStyle(UIFontTextStyle::Headline));
  titleLabel_->setAccessibilityTraits(UIAccessibilityTraitHeader);
  leftButton_->setPressHandler([this] { pressLeft(); });
  rightButton_->setPressHandler([this] { pressRight(); });
  leftButton_->setHidden(true);
  rightButton_->setHidden(true);
  for (const auto& view : std::initializer_list<std::shared_ptr<UIView>>{
           hairline_, leftButton_, titleLabel_, rightButton_}) {
    addSubview(view);
  }
  applyColors();
}

UINavigationBar::~UINavigationBar() {
  leftButton_->setPressHandler({});
  rightButton_->setPressHandler({});
}

void UINavigationBar::setBarStyle(UIBarStyle style) {
  if (style == barStyle_) return;
  barStyle_ = style;
  applyColors();
}

void UINavigationBar::applyColors() {
  const BarColors colors = colorsOfStyle(barStyle_);
  setBackgroundColor(colors.background);
  titleLabel_->setTextColor(colors.title);
  hairline_->setBackgroundColor(colors.hairline);
}

std::shared_ptr<UINavigationItem> UINavigationBar::topItem() const {
  return items_.empty() ? nullptr : items_.back();
}

std::shared_ptr<UINavigationItem> UINavigationBar::backItem() const {
  return items_.size() < 2 ? nullptr : items_[items_.size() - 2];
}

void UINavigationBar::setItems(const std::vector<std::shared_ptr<UINavigationItem>>& items,
                               bool animated) {
  (void)animated;  // the screens slide; what the bar says changes at once
  for (const auto& item : items_) item->changeHandler_ = nullptr;
  items_ = items;
  for (const auto& item : items_) item->changeHandler_ = handlerOfChanges();
  itemDidChange();
}

std::function<void()> UINavigationBar::handlerOfChanges() {
  return [weakBar = std::weak_ptr<UINavigationBar>(sharedFrom(this))] {
    if (const auto bar = weakBar.lock()) bar->itemDidChange();
  };
}

void UINavigationBar::itemDidChange() {
  const auto top = topItem();
  const auto back = backItem();
  for (const auto& item : items_) {
    for (const auto& button : {item->left_, item->right_}) {
      if (button) button->changeHandler_ = nullptr;
    }
  }
  const UINavigationItem nothing;
  showTitle(top ? *top : nothing);
  const auto left = top ? top->left_ : nullptr;
  const bool goesBack = !left && back;
  showButton(*rightButton_, top ? top->right_ : nullptr);
  showButton(*leftButton_, left);
  leftButton_->setPointsBack(goesBack);
  if (goesBack) {
    leftButton_->setHidden(false);
    leftButton_->setEnabled(true);
  }
  setNeedsLayout();
}

void UINavigationBar::showTitle(const UINavigationItem& item) {
  titleLabel_->setText(item.title_);
  titleLabel_->setHidden(item.titleView_ != nullptr);
  if (titleView_ == item.titleView_) return;
  if (titleView_ && titleView_->superview().get() == this) titleView_->removeFromSuperview();
  titleView_ = item.titleView_;
  if (titleView_) addSubview(titleView_);
}

void UINavigationBar::showButton(UIButton& button, const std::shared_ptr<UIBarButtonItem>& item) {
  button.setHidden(!item);
  if (!item) return;
  item->changeHandler_ = handlerOfChanges();
  button.setTitle(item->title());
  button.setEnabled(item->isEnabled());
}

void UINavigationBar::pressLeft() {
  const auto top = topItem();
  if (!top) return;
  if (const auto item = top->left_) return item->press();
  const auto handler = backHandler_;
  if (handler) handler();
}

void UINavigationBar::pressRight() {
  const auto top = topItem();
  if (const auto item = top ? top->right_ : nullptr) item->press();
}

/// Places a button at its side and answers how much of the width it takes, with its margin.
CGFloat UINavigationBar::placeButton(UIButton& button, bool atLeadingEdge, CGFloat widest) {
  if (button.isHidden()) return kMargin;
  const CGSize whole = bounds().size;
  const CGFloat width = std::min(button.sizeThatFits({widest, whole.height}).width, widest);
  const bool atLeft = atLeadingEdge == (effectiveUserInterfaceLayoutDirection() ==
                                        UIUserInterfaceLayoutDirection::LeftToRight);
  button.setFrame({atLeft ? kMargin : whole.width - kMargin - width, 0, width, whole.height});
  return kMargin + width + kGap;
}

/// Makes the bar's texts smaller, as far as what is usual, before one of them is cut.
void UINavigationBar::fitTexts() {
  const auto top = topItem();
  const UIFont leftFont = fontOfButton(top ? top->left_ : nullptr);
  const UIFont rightFont = fontOfButton(top ? top->right_ : nullptr);
  const UIFont titleFont = UIFont::preferredFontForTextStyle(UIFontTextStyle::Headline);
  CGFloat room = bounds().size.width - 2 * kMargin, wanted = 0;
  if (!leftButton_->isHidden()) {
    wanted += widthOf(leftButton_->title(), leftFont);
    room -= kGap + (leftButton_->pointsBack() ? UIButton::chevronRoom(leftFont) : 0);
  }
  if (!rightButton_->isHidden()) {
    wanted += widthOf(rightButton_->title(), rightFont);
    room -= kGap;
  }
  wanted += widthOf(titleLabel_->text().value_or(""), titleFont);
  const CGFloat smallest = std::min<CGFloat>(kUsualPoints / leftFont.pointSize(), 1);
  const CGFloat factor = wanted > 0 ? std::clamp<CGFloat>(room / wanted, smallest, 1) : 1;
  leftButton_->setFont(resized(leftFont, factor));
  rightButton_->setFont(resized(rightFont, factor));
  titleLabel_->setFont(resized(titleFont, factor));
}

void UINavigationBar::layoutSubviews() {
  UIView::layoutSubviews();
  const CGSize whole = bounds().size;
  const bool leftToRight =
      effectiveUserInterfaceLayoutDirection() == UIUserInterfaceLayoutDirection::LeftToRight;
  const CGFloat hair = 1 / std::max<CGFloat>(UIScreen::mainScreen().scale(), 1);
  hairline_->setFrame({0, whole.height - hair, whole.width, hair});

  if (leftButton_->pointsBack()) {
    // A long title is not cut but left out.
    const auto back = backItem();
    const std::string title = back ? back->title() : "";
    const UIFont font = fontOfButton(nullptr);
    const bool shows =
        !title.empty() && widthOf(title, font) < whole.width * 0.35 - UIButton::chevronRoom(font);
    const std::string goingBack = detail::systemText("Back");
    leftButton_->setTitle(shows ? title : goingBack);
    leftButton_->setAccessibilityLabel(title.empty() ? goingBack : goingBack + ", " + title);
  } else {
    leftButton_->setAccessibilityLabel({});
  }
  fitTexts();
  // The trailing button is what the screen is there for: it gets its width before the others.
  const CGFloat half = std::max<CGFloat>(whole.width / 2 - kMargin - kGap, 0);
  const CGFloat besideLeading =
      whole.width - 2 * kMargin - kGap - leftButton_->sizeThatFits(whole).width;
  const CGFloat trailing = placeButton(*rightButton_, false, std::max(half, besideLeading));
  const CGFloat leading =
      placeButton(*leftButton_, true, std::max<CGFloat>(whole.width - trailing - kMargin, 0));
  const CGFloat left = leftToRight ? leading : trailing;
  const CGFloat right = leftToRight ? trailing : leading;
  const CGFloat room = std::max<CGFloat>(whole.width - left - right, 0);
  const auto& title = titleView_ ? titleView_ : std::static_pointer_cast<UIView>(titleLabel_);
  const CGSize natural = title->sizeThatFits({room, whole.height});
  const CGFloat width = std::min(natural.width, room);
  const CGFloat height = titleView_ ? std::min(natural.height, whole.height) : whole.height;
  const CGFloat last = std::max(whole.width - right - width, left);
  const CGFloat x = std::clamp(whole.width / 2 - width / 2, left, last);
  title->setFrame({x, (whole.height - height) / 2, width, height});
}

CGSize UINavigationBar::sizeThatFits(CGSize size) { return {size.width, standardHeight()}; }

CGFloat UINavigationBar::standardHeight() {
  constexpr CGFloat kDefault = 44, kAroundText = 16;
  const auto font = UIFont::preferredFontForTextStyle(UIFontTextStyleBody);
  return std::max(kDefault, std::ceil(font.lineHeight()) + kAroundText);
}

}  // namespace tasklane
