#include "appearance/TasklaneAppearanceTintableDisclosureIndicatorView.h"

#include "appearance/TasklaneAppearance.h"
#include "uikit/base/Backend.h"
#include "uikit/drawing/UIBezierPath.h"
#include "uikit/tables/UITableViewCell.h"

namespace tasklane::detail {

using Indicator = TasklaneAppearanceTintableDisclosureIndicatorView;

namespace {

constexpr CGRect kFrame{0, 0, 21, 23};
constexpr CGPoint kImageOrigin{13, 5};

bool isRightToLeft() {
  return backend::layoutDirection() == UIUserInterfaceLayoutDirection::RightToLeft;
}

}  // namespace

std::shared_ptr<Indicator> Indicator::disclosureIndicatorView() {
  return std::make_shared<Indicator>(disclosureIndicatorImage());
}

std::shared_ptr<UIImage> Indicator::disclosureIndicatorImage() {
  static std::shared_ptr<UIImage> kept;
  if (!kept) kept = disclosureIndicatorSystemImage();
  if (!kept) kept = disclosureIndicatorFallbackImage();
  return kept;
}

std::shared_ptr<UIImage> Indicator::disclosureIndicatorSystemImage() {
  const auto cell = std::make_shared<UITableViewCell>(UITableViewCellStyle::Default, std::string());
  cell->setFrame({0, 0, 320, 44});
  cell->setAccessoryType(UITableViewCellAccessoryType::DisclosureIndicator);
  cell->layoutIfNeeded();
  const auto image = findDisclosureImageStartingAtView(cell);
  return image ? image->imageWithRenderingMode(UIImageRenderingMode::AlwaysTemplate) : nullptr;
}

std::shared_ptr<UIImage> Indicator::disclosureIndicatorFallbackImage() {
  UIGraphicsBeginImageContextWithOptions({8, 13}, false, 0);
  const CGRect stroked = CGRect(0, 0, 8, 13).insetBy({1, 1, 1, 1});
  const CGFloat tip = isRightToLeft() ? stroked.minX() : stroked.maxX();
  const CGFloat back = isRightToLeft() ? stroked.maxX() : stroked.minX();
  UIBezierPath chevron;
  chevron.setLineWidth(2);
  chevron.moveToPoint({back, stroked.minY()});
  chevron.addLineToPoint({tip, stroked.midY()});
  chevron.addLineToPoint({back, stroked.maxY()});
  chevron.stroke(UIColor::greenColor());  // any colour: only a template's alpha counts
  const auto image = UIGraphicsGetImageFromCurrentImageContext();
  UIGraphicsEndImageContext();
  return image->imageWithRenderingMode(UIImageRenderingMode::AlwaysTemplate);
}

std::shared_ptr<UIImage> Indicator::findDisclosureImageStartingAtView(
    const std::shared_ptr<UIView>& view) {
  if (const auto* imageView = dynamic_cast<const UIImageView*>(view.get())) {
    const auto& image = imageView->image();
    if (image && image->size().width <= 20 && image->size().height <= 20) return image;
  }
  for (const auto& subview : view->subviews())
    if (auto found = findDisclosureImageStartingAtView(subview)) return found;
  return nullptr;
}

Indicator::TasklaneAppearanceTintableDisclosureIndicatorView(const std::shared_ptr<UIImage>& image)
    : UIView(kFrame), imageView_(std::make_shared<UIImageView>(image)) {
  if (image) {
    // From right to left everything stands as in a mirror; the image points that way already.
    const CGFloat x =
        isRightToLeft() ? kFrame.maxX() - kImageOrigin.x - image->size().width : kImageOrigin.x;
    imageView_->setFrame({{x, kImageOrigin.y}, image->size()});
  }
  addSubview(imageView_);
  appearanceObservation_ = NSNotificationCenter::defaultCenter().addObserver(
      KAAppearanceValuesDidChangeNotification, nullptr,
      [this](const NSNotification&) { updateDisclosureTintColor(); });
  updateDisclosureTintColor();
}

void Indicator::updateDisclosureTintColor() {
  setTintColor(TasklaneAppearance::currentAppearance().StandardDisclosureIndicatorColor());
}

}  // namespace tasklane::detail
