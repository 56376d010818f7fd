#include "uikit/qt/WindowPeer.h"

#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QGuiApplication>
#include <QImage>
#include <QKeyEvent>
#include <QPainter>
#include <QScreen>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "uikit/qt/Drawing.h"
#include "uikit/qt/Keyboard.h"
#include "uikit/qt/Pasteboard.h"
#include "uikit/qt/UpdateQueue.h"

namespace tasklane::qt {

namespace {
// Below this a sheet has no use; small screens are wider.
constexpr QSize kMinimumSize(280, 200);
// Room for the frame that the window manager adds.
constexpr int kFrameRoom = 40;

/// At a fractional scale a size comes back from the desktop rounded.
bool isAbout(const QSize& a, const QSize& b) {
  return std::abs(a.width() - b.width()) <= 1 && std::abs(a.height() - b.height()) <= 1;
}

/// Draws to nowhere what the first frame will show: glyphs are rasterised while the window manager
/// frames the window, which takes it longer, instead of after it. Other desktops ask for the frame
/// at once.
void drawAhead(QWidget& widget) {
  if (QGuiApplication::platformName() != QLatin1String("xcb")) return;
  const double scale = widget.devicePixelRatioF();
  QImage image(widget.size() * scale, QImage::Format_RGB32);
  image.setDevicePixelRatio(scale);
  widget.render(&image, {}, {}, QWidget::DrawChildren);
}
}  // namespace

class WindowWidget : public QWidget, public ViewWidget {
 public:
  explicit WindowWidget(WindowPeer* peer) : QWidget(nullptr, Qt::Dialog), ViewWidget(peer) {
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    setAttribute(Qt::WA_NoSystemBackground);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAttribute(Qt::WA_QuitOnClose, false);
    setMinimumSize(kMinimumSize);
    setAcceptDrops(true);
  }

 protected:
  void dragEnterEvent(QDragEnterEvent* event) override {
    if (view()) offerDrop(*event, *view());
  }
  void dragMoveEvent(QDragMoveEvent* event) override {
    if (view()) offerDrop(*event, *view());
  }
  void dropEvent(QDropEvent* event) override {
    if (view()) takeDrop(*event, *view());
  }

  void paintEvent(QPaintEvent*) override {
    if (!view()) return;
    QPainter painter(this);
    painter.fillRect(rect(), Qt::white);
    paintBackground(painter, *view(), rect());
  }

  bool event(QEvent* event) override {
    // What has changed since the last turn of the loop belongs into this frame.
    if (event->type() == QEvent::UpdateRequest) UpdateQueue::shared().flush();
    return QWidget::event(event);
  }

  void resizeEvent(QResizeEvent*) override {
    if (peer()) static_cast<WindowPeer*>(peer())->desktopDidResize();
  }

  void closeEvent(QCloseEvent* event) override {
    event->ignore();
    auto window = sharedFrom(static_cast<UIWindow*>(view()));
    if (!window) return;
    if (window->closeHandler())
      std::function<void()>(window->closeHandler())();
    else
      window->close();
  }

  void keyPressEvent(QKeyEvent* event) override {
    if (!view() || !handleWindowKey(*event, *view())) event->ignore();
  }

  bool focusNextPrevChild(bool next) override {
    if (!view()) return false;
    const auto order = tabOrder(*view());
    if (order.empty()) return false;
    const auto at = std::find(order.begin(), order.end(), focusWidget());
    const auto count = static_cast<std::ptrdiff_t>(order.size());
    std::ptrdiff_t index = next ? 0 : count - 1;
    if (at != order.end()) index = (at - order.begin() + (next ? 1 : count - 1)) % count;
    order[static_cast<std::size_t>(index)]->setFocus(next ? Qt::TabFocusReason
                                                          : Qt::BacktabFocusReason);
    return true;
  }
};

WindowPeer::WindowPeer(UIWindow& window) : ViewPeer(window), window_(&window) {
  setWidget(new WindowWidget(this));
}

WindowPeer::~WindowPeer() { UpdateQueue::shared().removeWindow(window_); }

WindowPeer* WindowPeer::of(UIWindow& window) { return static_cast<WindowPeer*>(window.peer()); }

CGSize WindowPeer::fittedToScreen(CGSize size) const {
  if (widget()->testAttribute(Qt::WA_DontShowOnScreen) || !widget()->screen()) return size;
  const QSize room = widget()->screen()->availableSize();
  return {
      std::min(size.width, double(std::max(kMinimumSize.width(), room.width()))),
      std::min(size.height, double(std::max(kMinimumSize.height(), room.height() - kFrameRoom)))};
}

void WindowPeer::show(Visibility visibility) {
  QWidget* widget = this->widget();
  widget->setAttribute(Qt::WA_DontShowOnScreen, visibility == Visibility::Hidden);
  if (visibility == Visibility::Hidden) widget->setMinimumSize(0, 0);
  auto& queue = UpdateQueue::shared();
  queue.addWindow(window_);
  viewDidChange();
  // The first frame is the finished one.
  queue.flush();
  widget->show();
  if (visibility == Visibility::Shown) {
    widget->raise();
    widget->activateWindow();
    drawAhead(*widget);
  }
}

void WindowPeer::hide() {
  UpdateQueue::shared().removeWindow(window_);
  if (widget()) widget()->hide();
}

void WindowPeer::place() {
  const CGSize size = sizeWasGiven_ ? CGSize{double(widget()->width()), double(widget()->height())}
                                    : fittedToScreen(view().frame().size);
  const QSize whole(static_cast<int>(std::ceil(size.width - 1e-4)),
                    static_cast<int>(std::ceil(size.height - 1e-4)));
  if (whole.isEmpty()) return;
  if (widget()->size() != whole) {
    askedBefore_ = std::exchange(asked_, whole);
    applying_ = true;
    widget()->resize(whole);
    applying_ = false;
  }
  if (size != view().frame().size) view().setFrame({view().frame().origin, size});
}

void WindowPeer::apply() {
  const UIWindow& window = *window_;
  widget()->setWindowTitle(toQString(window.title()));
  widget()->update();
}

void WindowPeer::desktopDidResize() {
  if (applying_) return;
  // The answer to what was asked for may come when something else has been asked for since.
  const QSize now = widget()->size();
  sizeWasGiven_ = !isAbout(now, asked_) && !isAbout(now, askedBefore_);
  const CGSize size{double(widget()->width()), double(widget()->height())};
  if (size != view().frame().size) view().setFrame({view().frame().origin, size});
  UpdateQueue::shared().flush();
}

}  // namespace tasklane::qt
