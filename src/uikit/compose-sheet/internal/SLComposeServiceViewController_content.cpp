#include "uikit/compose-sheet/internal/SLComposeServiceViewController_content.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "uikit/base/UIScreen.h"

namespace tasklane {
namespace {

constexpr CGFloat kMargin = 15;
constexpr CGFloat kRowHeight = 44;
constexpr CGFloat kTextPadding = 12;
constexpr int kFewestLines = 4, kMostLines = 8;
constexpr double kPlaceAlpha = 0.35, kNoticeAlpha = 0.25;
constexpr const char* kRowIdentifier = "SLComposeSheetConfigurationRow";
constexpr UIColor kSeparator{0.78, 0.78, 0.8, 1};

CGFloat hair() { return 1 / std::max<CGFloat>(UIScreen::mainScreen().scale(), 1); }

}  // namespace

class SLComposeServiceViewController::ContentController::ScrollView : public UIScrollView {
 public:
  void layoutSubviews() override {
    UIScrollView::layoutSubviews();
    if (const auto owner = std::dynamic_pointer_cast<ContentController>(viewController())) {
      owner->layoutContent();
    }
  }
};

SLComposeServiceViewController::ContentController::ContentController()
    : textView_(std::make_shared<UITextView>()),
      notice_(std::make_shared<SLComposeNoticeView>()),
      thumbnails_(std::make_shared<SLComposeThumbnailsView>()),
      hairline_(std::make_shared<UIView>()),
      rows_(std::make_shared<UITableView>(CGRect{}, UITableViewStyle::Plain)) {
  textView_->setFont(UIFont::preferredFontForTextStyle(UIFontTextStyleBody));
  textView_->setTextContainerInset({kTextPadding, kMargin, kTextPadding, kMargin});
  textView_->setBackgroundColor(UIColor::clearColor());
  textView_->setOpaque(false);
  rows_->setBackgroundColor(UIColor::clearColor());
  rows_->setOpaque(false);
  rows_->setScrollEnabled(false);
  rows_->setTabStopsAtRows(true);
  rows_->registerClassForCellReuseIdentifier(
      [](UITableViewCellStyle, const std::string& identifier) {
        return std::make_shared<UITableViewCell>(UITableViewCellStyle::Value1, identifier);
      },
      kRowIdentifier);
  setColors({});
}

void SLComposeServiceViewController::ContentController::loadView() {
  const auto view = std::make_shared<ScrollView>();
  view->addSubview(notice_);
  view->addSubview(textView_);
  view->addSubview(thumbnails_);
  view->addSubview(hairline_);
  view->addSubview(rows_);
  setView(view);
  rows_->setDataSource(sharedFrom(this));
  rows_->setDelegate(sharedFrom(this));
}

void SLComposeServiceViewController::ContentController::viewWillAppear(bool animated) {
  UIViewController::viewWillAppear(animated);
  rows_->reloadData();
}

void SLComposeServiceViewController::ContentController::setColors(const Colors& colors) {
  colors_ = colors;
  textView_->setTextColor(colors.text);
  const UIColor separator = colors.separator.value_or(kSeparator);
  thumbnails_->setColors(colors.secondaryText, separator.colorWithAlphaComponent(kPlaceAlpha));
  notice_->setTextColor(colors.text);
  notice_->setBackgroundColor(separator.colorWithAlphaComponent(kNoticeAlpha));
  hairline_->setBackgroundColor(separator);
  rows_->setSeparatorColor(colors.separator);
  rows_->reloadData();
}

// Notice and thumbnails.

void SLComposeServiceViewController::ContentController::setNotice(
    const std::optional<SLComposeNotice>& notice) {
  notice_->setNotice(notice);
  if (isViewLoaded()) view()->setNeedsLayout();
}

void SLComposeServiceViewController::ContentController::setThumbnails(
    const std::vector<SLComposeThumbnail>& thumbnails) {
  thumbnails_->setThumbnails(thumbnails);
  if (isViewLoaded()) view()->setNeedsLayout();
}

/// Two of them beneath each other are as high as the fewest lines of text.
CGFloat SLComposeServiceViewController::ContentController::sideOfThumbnail() const {
  return std::floor(
      (kFewestLines * textView_->font().lineHeight() - SLComposeThumbnailsView::kGap) / 2);
}

CGFloat SLComposeServiceViewController::ContentController::widthOfThumbnails() const {
  const CGFloat width = thumbnails_->widthForSide(sideOfThumbnail());
  return width > 0 ? width + kMargin : 0;
}

void SLComposeServiceViewController::ContentController::layoutThumbnails(CGFloat y, CGFloat width,
                                                                         bool leftToRight) {
  const CGFloat side = sideOfThumbnail(), area = thumbnails_->widthForSide(side);
  thumbnails_->setFrame({leftToRight ? width - kMargin - area : kMargin, y + kTextPadding, area,
                         2 * side + SLComposeThumbnailsView::kGap});
  thumbnails_->layoutWithSide(side, leftToRight);
}

// Layout.

CGFloat SLComposeServiceViewController::ContentController::heightOfText(CGFloat width) const {
  const CGFloat line = textView_->font().lineHeight();
  const CGFloat natural = textView_->sizeThatFits({width, CGFLOAT_MAX}).height;
  return std::ceil(std::clamp(natural, kFewestLines * line + 2 * kTextPadding,
                              kMostLines * line + 2 * kTextPadding));
}

/// Places the rows under a height and answers where they end.
CGFloat SLComposeServiceViewController::ContentController::layoutRows(CGFloat y, CGFloat width) {
  // Every row is on screen, so that its height is known: grow until no more comes.
  const std::size_t count = items().size();
  CGFloat height = std::max(rows_->frame().size.height, static_cast<CGFloat>(count) * kRowHeight);
  for (std::size_t i = 0; i <= count; ++i) {
    rows_->setFrame({0, y, width, height});
    rows_->layoutIfNeeded();
    const CGFloat content = count > 0 ? rows_->contentSize().height : 0;
    if (content == height) break;
    height = content;
  }
  return y + height;
}

CGFloat SLComposeServiceViewController::ContentController::heightForWidth(CGFloat width) {
  const CGFloat above = notice_->heightForWidth(width, kMargin);
  return layoutRows(above + heightOfText(width - widthOfThumbnails()) + hair(), width);
}

void SLComposeServiceViewController::ContentController::layoutContent() {
  const CGFloat width = view()->bounds().size.width;
  const bool leftToRight = view()->effectiveUserInterfaceLayoutDirection() ==
                           UIUserInterfaceLayoutDirection::LeftToRight;
  const CGFloat above = notice_->heightForWidth(width, kMargin);
  notice_->setFrame({0, 0, width, above});
  notice_->layoutWithMargin(kMargin, leftToRight);
  const CGFloat beside = widthOfThumbnails();
  const CGFloat text = heightOfText(width - beside);
  textView_->setFrame({leftToRight ? 0 : beside, above, width - beside, text});
  layoutThumbnails(above, width, leftToRight);
  hairline_->setFrame({leftToRight ? kMargin : 0, above + text, width - kMargin, hair()});
  const CGFloat end = layoutRows(above + text + hair(), width);
  std::static_pointer_cast<UIScrollView>(view())->setContentSize({width, end});
}

// Rows.

const std::vector<std::shared_ptr<SLComposeSheetConfigurationItem>>&
SLComposeServiceViewController::ContentController::items() {
  static const std::vector<std::shared_ptr<SLComposeSheetConfigurationItem>> none;
  if (items_) return *items_;
  const auto sheet = sheet_.lock();
  if (!sheet) return none;
  items_ = sheet->configurationItems();
  const std::weak_ptr<UITableView> rows = rows_;
  for (const auto& item : *items_) {
    item->setChangeHandler([rows] {
      if (const auto table = rows.lock()) table->reloadData();
    });
  }
  return *items_;
}

std::size_t SLComposeServiceViewController::ContentController::numberOfRowsInSection(UITableView&,
                                                                                     std::size_t) {
  return items().size();
}

std::shared_ptr<UITableViewCell>
SLComposeServiceViewController::ContentController::cellForRowAtIndexPath(UITableView& tableView,
                                                                         NSIndexPath indexPath) {
  const auto cell = tableView.dequeueReusableCellWithIdentifier(kRowIdentifier, indexPath);
  const auto& item = items()[indexPath.row];
  cell->setBackgroundColor(UIColor::clearColor());
  cell->textLabel()->setText(item->title());
  cell->detailTextLabel()->setText(item->remark() ? item->remark() : item->value());
  cell->setAccessoryType(UITableViewCellAccessoryType::DisclosureIndicator);
  cell->setAccessibilityTraits(UIAccessibilityTraitButton);
  if (colors_.text) cell->textLabel()->setTextColor(colors_.text);
  if (colors_.secondaryText) cell->detailTextLabel()->setTextColor(colors_.secondaryText);
  if (colors_.selection) {
    auto background = cell->selectedBackgroundView();
    if (!background) background = std::make_shared<UIView>();
    background->setBackgroundColor(colors_.selection);
    cell->setSelectedBackgroundView(background);
  }
  return cell;
}

void SLComposeServiceViewController::ContentController::didSelectRowAtIndexPath(
    UITableView& tableView, NSIndexPath indexPath) {
  tableView.deselectRowAtIndexPath(indexPath, true);
  const auto item = items()[indexPath.row];
  const auto handler = item->tapHandler();
  if (handler) handler();
}

}  // namespace tasklane
