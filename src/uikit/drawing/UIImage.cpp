#include "uikit/drawing/UIImage.h"

#include <utility>

namespace tasklane {

UIImage::UIImage(CGImageRef pixels, CGFloat scale, UIImageRenderingMode mode)
    : pixels_(std::move(pixels)), scale_(scale), mode_(mode) {}

std::shared_ptr<UIImage> UIImage::imageWithRenderingMode(UIImageRenderingMode mode) const {
  return std::make_shared<UIImage>(pixels_, scale_, mode);
}

CGSize UIImage::size() const {
  return pixels_ ? CGSize{pixels_->width / scale_, pixels_->height / scale_} : CGSize{};
}

}  // namespace tasklane
