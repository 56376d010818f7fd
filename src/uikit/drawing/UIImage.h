#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "foundation/base/NSObject.h"
#include "foundation/images/EncodedImage.h"
#include "uikit/base/CGGeometry.h"

namespace tasklane {

enum class UIImageRenderingMode { Automatic = 0, AlwaysOriginal = 1, AlwaysTemplate = 2 };

/// The pixels behind an image: premultiplied 0xAARRGGBB, row by row, top first. Shared, immutable.
struct CGImage {
  int width = 0;
  int height = 0;
  std::vector<std::uint32_t> argb;
};
using CGImageRef = std::shared_ptr<const CGImage>;

/// A picture for the screen. Immutable; a template image is drawn in the tint colour of its view,
/// only its alpha counts.
class UIImage : public NSObject {
 public:
  UIImage(CGImageRef pixels, CGFloat scale,
          UIImageRenderingMode mode = UIImageRenderingMode::Automatic);

  /// The application's image resource of that file name (with or without ".png"), in the variant
  /// (@2x, @3x) that suits the screen; the same object while it is cached. Null when there is none.
  static std::shared_ptr<UIImage> imageNamed(const std::string& name);
  static std::shared_ptr<UIImage> imageWithEncodedImage(const EncodedImage& image, int maximumSide,
                                                        CGFloat scale);

  std::shared_ptr<UIImage> imageWithRenderingMode(UIImageRenderingMode mode) const;
  UIImageRenderingMode renderingMode() const { return mode_; }
  /// In points.
  CGSize size() const;
  CGFloat scale() const { return scale_; }
  const CGImageRef& pixels() const { return pixels_; }

 private:
  CGImageRef pixels_;
  CGFloat scale_;
  UIImageRenderingMode mode_;
};

/// Starts drawing into a new transparent (or, when opaque, black) picture of a size in points;
/// drawing ends with UIGraphicsEndImageContext. Contexts nest. Scale 0 is the main screen's.
void UIGraphicsBeginImageContextWithOptions(CGSize size, bool opaque, CGFloat scale);
std::shared_ptr<UIImage> UIGraphicsGetImageFromCurrentImageContext();
void UIGraphicsEndImageContext();

}  // namespace tasklane
