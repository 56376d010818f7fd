#pragma once

#include <memory>

#include "uikit/drawing/UIImage.h"
#include "uikit/views/UIView.h"

namespace tasklane {

/// Shows an image by its content mode; a template image in the tint colour.
class UIImageView : public UIView {
 public:
  explicit UIImageView(CGRect frame = {});
  explicit UIImageView(const std::shared_ptr<UIImage>& image);

  const std::shared_ptr<UIImage>& image() const { return image_; }
  void setImage(const std::shared_ptr<UIImage>& image);

  CGSize sizeThatFits(CGSize size) override;
  CGSize intrinsicContentSize() override;

 private:
  std::shared_ptr<UIImage> image_;
};

}  // namespace tasklane
