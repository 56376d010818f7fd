#pragma once

#include <memory>

#include "foundation/events/NSNotificationCenter.h"
#include "uikit/controls/UIImageView.h"

namespace tasklane::detail {

/// A chevron, 21 by 23 points, in the palette's disclosure colour; it follows every change of the
/// appearance by itself and points the way that text runs. Main thread.
class TasklaneAppearanceTintableDisclosureIndicatorView : public UIView {
 public:
  static std::shared_ptr<TasklaneAppearanceTintableDisclosureIndicatorView>
  disclosureIndicatorView();
  /// The chevron as a template image: the platform's own, else a drawn one; found once a process.
  static std::shared_ptr<UIImage> disclosureIndicatorImage();
  /// The chevron of the platform's cells; null when none is found in one.
  static std::shared_ptr<UIImage> disclosureIndicatorSystemImage();
  static std::shared_ptr<UIImage> disclosureIndicatorFallbackImage();
  /// The first image of at most 20 by 20 points in an image view of the tree, every view before its
  /// subviews; null when there is none.
  static std::shared_ptr<UIImage> findDisclosureImageStartingAtView(
      const std::shared_ptr<UIView>& view);

  explicit TasklaneAppearanceTintableDisclosureIndicatorView(const std::shared_ptr<UIImage>& image);

 private:
  void updateDisclosureTintColor();
  std::shared_ptr<UIImageView> imageView_;
  NSNotificationCenter::Token appearanceObservation_;
};

}  // namespace tasklane::detail
