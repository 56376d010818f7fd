#include <QCoreApplication>
#include <QImage>
#include <QPainter>
#include <cmath>

#include "uikit/base/Backend.h"
#include "uikit/qt/Drawing.h"
#include "uikit/qt/Settings.h"
#include "uikit/qt/UpdateQueue.h"
#include "uikit/qt/WindowPeer.h"
#include "uikit/views/UIWindow.h"

namespace tasklane::backend {

namespace {

bool showsHidden = false;

/// Shows a window to nobody for as long as it is drawn, unless it is on the screen already.
class HiddenShowing {
 public:
  explicit HiddenShowing(UIWindow& window) : window_(window), wasVisible_(window.isVisible()) {
    if (wasVisible_) return;
    showsHidden = true;
    window_.makeKeyAndVisible();
    showsHidden = false;
  }
  ~HiddenShowing() {
    if (wasVisible_) return;
    window_.close();
    // Widgets are given back at the next turn of a loop that may never run.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
  }

 private:
  UIWindow& window_;
  bool wasVisible_;
};

}  // namespace

void showWindow(UIWindow& window) {
  if (auto* peer = qt::WindowPeer::of(window))
    peer->show(showsHidden ? qt::WindowPeer::Visibility::Hidden
                           : qt::WindowPeer::Visibility::Shown);
}

void hideWindow(UIWindow& window) {
  if (auto* peer = qt::WindowPeer::of(window)) peer->hide();
}

namespace {

Result<QImage> pictureOf(UIWindow& window, CGFloat scale) {
  const HiddenShowing showing(window);
  qt::UpdateQueue::shared().flush();
  const auto* peer = qt::WindowPeer::of(window);
  if (!peer || !peer->widget())
    return NSError{NSError::Kind::Unsupported, "cannot draw the window: it could not be shown"};
  QWidget* widget = peer->widget();
  const CGSize size = window.frame().size;
  QImage image(static_cast<int>(std::ceil(size.width * scale - 1e-6)),
               static_cast<int>(std::ceil(size.height * scale - 1e-6)),
               QImage::Format_ARGB32_Premultiplied);
  if (image.isNull())
    return NSError{NSError::Kind::Unsupported, "cannot draw a window without a size"};
  image.setDevicePixelRatio(scale);
  image.fill(Qt::transparent);
  widget->render(&image, {}, {}, QWidget::DrawChildren);
  return image;
}

}  // namespace

Result<void> snapshotWindow(UIWindow& window, const std::string& path, CGFloat scale) {
  const qt::ScaleForPicture scaled(scale);
  const auto picture = pictureOf(window, scale);
  if (!picture) return picture.error();
  if (!picture.value().save(qt::toQString(path), "PNG"))
    return NSError{NSError::Kind::Io, "cannot write the picture " + path};
  return {};
}

void rehearseWindow(UIWindow& window) { (void)pictureOf(window, mainScreenScale()); }

}  // namespace tasklane::backend
