#include "uikit/controls/UIImageView.h"

namespace tasklane {

UIImageView::UIImageView(CGRect frame) : UIView(frame) { setUserInteractionEnabled(false); }

UIImageView::UIImageView(const std::shared_ptr<UIImage>& image)
    : UIImageView(CGRect{{0, 0}, image ? image->size() : CGSize{}}) {
  image_ = image;
}

void UIImageView::setImage(const std::shared_ptr<UIImage>& image) {
  if (image_ == image) return;
  image_ = image;
  invalidateIntrinsicContentSize();
  peerNeedsUpdate();
}

CGSize UIImageView::sizeThatFits(CGSize size) {
  return image_ ? image_->size() : UIView::sizeThatFits(size);
}

CGSize UIImageView::intrinsicContentSize() {
  return image_ ? image_->size() : UIView::intrinsicContentSize();
}

}  // namespace tasklane
