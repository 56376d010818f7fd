#include "uikit/base/Backend.h"

#include <fontconfig/fontconfig.h>

#include <QAccessible>
#include <QApplication>
#include <QScreen>
#include <QSocketNotifier>
#include <QStyle>
#include <QTimer>
#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <string>
#include <thread>

#include "foundation/base/NSLog.h"
#include "foundation/events/NSNotificationCenter.h"
#include "foundation/events/NSRunLoop.h"
#include "uikit/base/UIApplication.h"
#include "uikit/qt/Accessible.h"
#include "uikit/qt/ButtonPeer.h"
#include "uikit/qt/DesktopSettings.h"
#include "uikit/qt/Drawing.h"
#include "uikit/qt/ImagePeer.h"
#include "uikit/qt/LabelPeer.h"
#include "uikit/qt/PressGuard.h"
#include "uikit/qt/ScrollPeer.h"
#include "uikit/qt/SearchBarPeer.h"
#include "uikit/qt/Style.h"
#include "uikit/qt/TablePeer.h"
#include "uikit/qt/Text.h"
#include "uikit/qt/TextViewPeer.h"
#include "uikit/qt/WindowPeer.h"
#include "uikit/views/UIWindow.h"

namespace tasklane::backend {

namespace {

struct Running {
  std::unique_ptr<QApplication> application;
  std::unique_ptr<QSocketNotifier> loopNotifier;
};

Running& running() {
  // Windows and peers may be gone later than any static; the toolkit stays until the process ends.
  static auto* state = std::make_unique<Running>().release();
  return *state;
}

void setDefault(const char* variable, const char* value) { setenv(variable, value, 0); }

bool isSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value && *value;
}

/// Settings that spare start-up what a sheet never uses; a person's own are left alone.
void prepareEnvironment() {
  setDefault("QT_XCB_GL_INTEGRATION", "none");
  if (!isSet("DISPLAY") && !isSet("WAYLAND_DISPLAY")) setDefault("QT_QPA_PLATFORM", "offscreen");
}

/// Reading the system's fonts takes as long as reaching the display, and needs nothing of it.
class FontsInTheBackground {
 public:
  FontsInTheBackground() {
    // Qt sets the locale when it starts. It is set here before, because it must not change while
    // the other thread parses numbers by it.
    std::setlocale(LC_ALL, "");
    reader_ = std::thread(FcInit);
  }
  ~FontsInTheBackground() { reader_.join(); }
  FontsInTheBackground(const FontsInTheBackground&) = delete;
  FontsInTheBackground& operator=(const FontsInTheBackground&) = delete;

 private:
  std::thread reader_;
};

/// The toolkit ends the process when its display cannot be reached or is gone. Its last words tell
/// that it is about to; what a program wants to do first is called from there.
class LastWords {
 public:
  static void heed(void (*displayUnreachable)(), void (*displayLost)()) {
    displayUnreachable_ = displayUnreachable;
    displayLost_ = displayLost;
    qInstallMessageHandler(handle);
  }
  static void displayIsReached() { displayUnreachable_ = nullptr; }

 private:
  static void handle(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (type == QtFatalMsg && displayUnreachable_) displayUnreachable_();
    const bool isLost = message.contains(QLatin1String("connection broke")) ||
                        message.contains(QLatin1String("connection experienced a fatal error"));
    if (isLost && displayLost_) displayLost_();
    NSLog(qFormatLogMessage(type, context, message).toStdString());
  }

  static inline void (*displayUnreachable_)() = nullptr;
  static inline void (*displayLost_)() = nullptr;
};

void waitForEvents(std::chrono::milliseconds limit) {
  QTimer alarm;
  alarm.setSingleShot(true);
  alarm.setTimerType(Qt::PreciseTimer);
  alarm.start(limit);
  QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
  QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void joinRunLoop(Running& state) {
  NSRunLoop& loop = NSRunLoop::mainRunLoop();
  state.loopNotifier =
      std::make_unique<QSocketNotifier>(loop.fileDescriptor(), QSocketNotifier::Read);
  QObject::connect(state.loopNotifier.get(), &QSocketNotifier::activated, state.application.get(),
                   [] { NSRunLoop::mainRunLoop().dispatch(); });
  loop.setWaiter(waitForEvents);
}

}  // namespace

void start(int& argc, char** argv, const std::string& applicationName, void (*displayUnreachable)(),
           void (*displayLost)()) {
  Running& state = running();
  if (state.application) return;
  prepareEnvironment();
  QApplication::setStyle(new qt::SheetStyle);
  const QString name = qt::toQString(applicationName);
  QCoreApplication::setApplicationName(name);
  QGuiApplication::setDesktopFileName(name);
  {
    const FontsInTheBackground fonts;
    LastWords::heed(displayUnreachable, displayLost);
    state.application = std::make_unique<QApplication>(argc, argv);
    LastWords::displayIsReached();
  }
  // Qt has taken over the person's locale, in which C functions read 1.5 as 1.
  std::setlocale(LC_NUMERIC, "C");
  QGuiApplication::setQuitOnLastWindowClosed(false);
  // Widgets measure their font when they are made: one that is not shown costs a millisecond.
  QApplication::setFont(qt::toQFont(UIFont::preferredFontForTextStyle(UIFontTextStyleBody)));
  QGuiApplication::setLayoutDirection(
      layoutDirection() == UIUserInterfaceLayoutDirection::RightToLeft ? Qt::RightToLeft
                                                                       : Qt::LeftToRight);
  qt::installAccessibility();
  qt::PressGuard::shared();
  QObject::connect(state.application.get(), &QGuiApplication::applicationStateChanged,
                   [](Qt::ApplicationState to) {
                     if (to != Qt::ApplicationActive)
                       NSNotificationCenter::defaultCenter().postNotificationName(
                           UIApplicationWillResignActiveNotification, nullptr);
                   });
  joinRunLoop(state);
  if (!isSet("TASKLANE_ANIMATIONS")) qt::DesktopSettings::shared();
}

void serveWindows(Serve serve) {
  constexpr int kMilliseconds = 5;
  // The toolkit's loop over GLib's does not heed ExcludeSocketNotifiers.
  const auto& notifier = running().loopNotifier;
  const bool wasEnabled = notifier->isEnabled();
  notifier->setEnabled(false);
  QCoreApplication::processEvents(
      serve == Serve::OnlyPainting ? QEventLoop::ExcludeUserInputEvents : QEventLoop::AllEvents,
      kMilliseconds);
  notifier->setEnabled(wasEnabled);
}

CGSize sizeOfText(std::string_view text, const UIFont& font, CGFloat maximumWidth,
                  int numberOfLines) {
  const QSizeF size = qt::BrokenText(qt::toQString(text), qt::toQFont(font), maximumWidth,
                                     numberOfLines, Qt::LeftToRight)
                          .size();
  return {std::min(size.width(), maximumWidth), size.height()};
}

CGFloat lineHeightOfFont(const UIFont& font) { return qt::lineHeight(qt::toQFont(font)); }

bool isAssistiveProgramConnected() { return QAccessible::isActive(); }

void announce(const std::string& text) { qt::announceText(text); }

void screenDidChange() {
  qt::PressGuard::shared().screenDidChange();
  qt::announceText({});
}

std::unique_ptr<UIViewPeer> makePeer(UIView& view) {
  if (auto* window = dynamic_cast<UIWindow*>(&view))
    return std::make_unique<qt::WindowPeer>(*window);
  if (auto* label = dynamic_cast<UILabel*>(&view)) return std::make_unique<qt::LabelPeer>(*label);
  if (auto* cell = dynamic_cast<UITableViewCell*>(&view))
    return std::make_unique<qt::CellPeer>(*cell);
  if (auto* image = dynamic_cast<UIImageView*>(&view))
    return std::make_unique<qt::ImagePeer>(*image);
  if (auto* button = dynamic_cast<UIButton*>(&view))
    return std::make_unique<qt::ButtonPeer>(*button);
  if (auto* text = dynamic_cast<UITextView*>(&view))
    return std::make_unique<qt::TextViewPeer>(*text);
  if (auto* table = dynamic_cast<UITableView*>(&view))
    return std::make_unique<qt::TablePeer>(*table);
  if (auto* scroll = dynamic_cast<UIScrollView*>(&view))
    return std::make_unique<qt::ScrollPeer>(*scroll);
  if (auto* search = dynamic_cast<UISearchBar*>(&view))
    return std::make_unique<qt::SearchBarPeer>(*search);
  return std::make_unique<qt::PlainPeer>(view);
}

}  // namespace tasklane::backend
