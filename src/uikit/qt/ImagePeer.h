#pragma once

#include <QImage>

#include "uikit/controls/UIImageView.h"
#include "uikit/qt/ViewPeer.h"

namespace tasklane::qt {

/// A picture's pixels, shared with it, not copied.
QImage toQImage(const CGImageRef& pixels);
/// The picture's shape filled with one colour.
QImage tinted(const QImage& image, const QColor& color);

/// A picture, drawn by the view's content mode.
class ImagePeer : public ViewPeer {
 public:
  explicit ImagePeer(UIImageView& imageView);
};

}  // namespace tasklane::qt
