#include "uikit/qt/ImagePeer.h"

#include <QPainter>
#include <QPainterPath>

#include "uikit/qt/Drawing.h"

namespace tasklane::qt {

namespace {

QRectF placedByContentMode(const QSizeF& size, const QRectF& bounds, UIViewContentMode mode) {
  QSizeF placed = size;
  switch (mode) {
    case UIViewContentMode::ScaleToFill:
      return bounds;
    case UIViewContentMode::ScaleAspectFit:
      placed.scale(bounds.size(), Qt::KeepAspectRatio);
      break;
    case UIViewContentMode::ScaleAspectFill:
      placed.scale(bounds.size(), Qt::KeepAspectRatioByExpanding);
      break;
    case UIViewContentMode::Center:
      break;
  }
  return {bounds.center() - QPointF(placed.width() / 2, placed.height() / 2), placed};
}

class ImageWidget : public PlainWidget {
 public:
  using PlainWidget::PlainWidget;

 protected:
  void paintEvent(QPaintEvent*) override {
    const auto* imageView = static_cast<UIImageView*>(view());
    if (!imageView) return;
    QPainter painter(this);
    const QRectF bounds = peer()->exactRect();
    paintBackground(painter, *imageView, bounds);
    const auto& image = imageView->image();
    if (!image || !image->pixels()) return;
    const QSizeF size(image->size().width, image->size().height);
    const QRectF target =
        snappedToPixels(painter, placedByContentMode(size, bounds, imageView->contentMode()));
    if (imageView->cornerRadius() > 0) {
      QPainterPath corners;
      corners.addRoundedRect(bounds, imageView->cornerRadius(), imageView->cornerRadius());
      painter.setRenderHint(QPainter::Antialiasing);
      painter.setClipPath(corners);
    }
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    painter.setOpacity(effectiveAlpha(*imageView));
    painter.drawImage(target, picture(*imageView));
  }

 private:
  const QImage& picture(const UIImageView& imageView) {
    const auto& image = imageView.image();
    const bool isTemplate = image->renderingMode() == UIImageRenderingMode::AlwaysTemplate;
    const QRgb tint = isTemplate ? imageView.tintColor().argb() : 0;
    if (image->pixels() != pixels_ || isTemplate != isTemplate_ || tint != tint_) {
      pixels_ = image->pixels();
      isTemplate_ = isTemplate;
      tint_ = tint;
      picture_ = toQImage(pixels_);
      if (isTemplate) picture_ = tinted(picture_, QColor::fromRgba(tint));
    }
    return picture_;
  }

  CGImageRef pixels_;
  QImage picture_;
  QRgb tint_ = 0;
  bool isTemplate_ = false;
};

}  // namespace

QImage toQImage(const CGImageRef& pixels) {
  auto keep = std::make_unique<CGImageRef>(pixels);
  const auto* bytes = reinterpret_cast<const uchar*>(pixels->argb.data());
  return QImage(
      bytes, pixels->width, pixels->height, pixels->width * 4, QImage::Format_ARGB32_Premultiplied,
      [](void* held) { std::unique_ptr<CGImageRef>(static_cast<CGImageRef*>(held)); },
      keep.release());
}

QImage tinted(const QImage& image, const QColor& color) {
  QImage result = image.copy();
  QPainter painter(&result);
  painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
  painter.fillRect(result.rect(), color);
  return result;
}

ImagePeer::ImagePeer(UIImageView& imageView) : ViewPeer(imageView) {
  setWidget(new ImageWidget(this));
}

}  // namespace tasklane::qt
