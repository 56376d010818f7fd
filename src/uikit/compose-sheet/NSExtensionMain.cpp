#include "uikit/compose-sheet/NSExtensionMain.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <initializer_list>
#include <thread>
#include <utility>
#include <vector>

#include "foundation/base/NSClassFromString.h"
#include "foundation/base/NSLog.h"
#include "foundation/events/Interruption.h"
#include "foundation/events/NSOperationQueue.h"
#include "foundation/events/NSRunLoop.h"
#include "foundation/extension/NSBundle.h"
#include "foundation/extension/NSItemProvider.h"
#include "foundation/files/CoordinationLock.h"
#include "foundation/property-lists/PropertyListLookup.h"
#include "uikit/base/Backend.h"
#include "uikit/base/UIScreen.h"
#include "uikit/compose-sheet/SLComposeServiceViewController.h"
#include "uikit/views/UIWindow.h"

namespace tasklane {
namespace {

constexpr int kCompleted = 0, kCancelled = 1, kNoPrincipalClass = 70, kDisplayLost = 70,
              kNotSaved = 74, kBusy = 75;
constexpr std::chrono::minutes kLongestLoading{1};
constexpr std::chrono::seconds kLongestCancelling{2};

std::string principalClassName() {
  return textAt(NSBundle::mainBundle()->infoDictionary().valueForKey("NSExtension"),
                "NSExtensionPrincipalClass");
}

CGRect frameFor(UIViewController& root) {
  CGSize size = root.preferredContentSize();
  if (size == CGSize{}) size = {400, 480};  // a screen that does not say
  const CGSize screen = UIScreen::mainScreen().bounds().size;
  size.width = std::min(size.width, screen.width);
  size.height = std::min(size.height, screen.height);
  return {{(screen.width - size.width) / 2, (screen.height - size.height) / 2}, size};
}

/// The extension's principal object and the window that shows it, for one request.
class ExtensionWindow {
 public:
  /// Without a known principal class there is no window, and the console says so.
  explicit ExtensionWindow(const std::shared_ptr<NSExtensionContext>& context) : context_(context) {
    const std::string name = principalClassName();
    const auto principal = makeObjectOfClassNamed(name);
    const auto handler = std::dynamic_pointer_cast<NSExtensionRequestHandling>(principal);
    root_ = std::dynamic_pointer_cast<UIViewController>(principal);
    if (!handler || !root_) {
      NSLog(NSBundle::mainBundle()->bundlePath() +
            ": the Info.plist names no class of this program that handles a request with a screen "
            "(NSExtension, NSExtensionPrincipalClass: \"" +
            name + "\")");
      return;
    }
    handler->beginRequestWithExtensionContext(context);
    root_->view();  // its loading settles the title
    makeWindow();
  }
  ~ExtensionWindow() {
    if (window_) window_->setCloseHandler({});
  }
  ExtensionWindow(const ExtensionWindow&) = delete;
  ExtensionWindow& operator=(const ExtensionWindow&) = delete;

  const std::shared_ptr<UIWindow>& window() const { return window_; }

  /// Null for a controller of another kind.
  SLComposeServiceViewController* sheet() const {
    return dynamic_cast<SLComposeServiceViewController*>(root_.get());
  }

  /// The person closes the window.
  void close() {
    if (sheet()) return sheet()->cancel();
    cancelRequest();
  }

  /// There is no more time.
  void cancelRequest() {
    if (sheet()) return sheet()->abandon();
    context_->cancelRequestWithError({NSError::Kind::Cancelled, "The window was closed."});
  }

 private:
  void makeWindow() {
    window_ = std::make_shared<UIWindow>();
    window_->setRootViewController(root_);
    window_->setTitle(root_->title());
    const std::weak_ptr<UIWindow> weakWindow = window_;
    root_->setPreferredContentSizeHandler([weakWindow, controller = root_.get()] {
      const auto shown = weakWindow.lock();
      if (!shown) return;
      const CGRect frame = frameFor(*controller);
      shown->setFrame(shown->isVisible() ? CGRect{shown->frame().origin, frame.size} : frame);
    });
    window_->setFrame(frameFor(*root_));
    window_->setCloseHandler([this] { close(); });
  }

  std::shared_ptr<NSExtensionContext> context_;
  std::shared_ptr<UIViewController> root_;
  std::shared_ptr<UIWindow> window_;
};

/// The one that NSExtensionMain() is running; main thread.
ExtensionWindow* g_running = nullptr;
std::atomic<bool> g_displayIsLost = false;
const std::thread::id g_mainThread = std::this_thread::get_id();

/// Cancels the request, once, as soon as any of the descriptors is readable.
class CancelBells {
 public:
  CancelBells(ExtensionWindow& extension, std::initializer_list<int> descriptors) {
    for (const int descriptor : descriptors) {
      if (descriptor < 0) continue;
      bells_.push_back(NSRunLoop::mainRunLoop().addDescriptor(descriptor, [this, &extension] {
        bells_.clear();
        extension.cancelRequest();
      }));
    }
  }
  CancelBells(const CancelBells&) = delete;
  CancelBells& operator=(const CancelBells&) = delete;

 private:
  std::vector<std::shared_ptr<NSRunLoop::Source>> bells_;
};

}  // namespace

int NSExtensionMain(const std::shared_ptr<NSExtensionContext>& context, int hangUp) {
  ExtensionWindow extension(context);
  if (!extension.window()) return kNoPrincipalClass;
  Interruption::startNoting();
  const CancelBells bells(extension, {hangUp, Interruption::descriptor()});
  context->setEndHandler([](NSExtensionContext::State) { NSRunLoop::mainRunLoop().stop(); });
  if (context->state() == NSExtensionContext::State::Running) {
    g_running = &extension;
    CoordinationLock::setWaitingHook([&extension] {
      const bool isPost = extension.sheet() && extension.sheet()->lockIsAwaited();
      backend::serveWindows(isPost ? backend::Serve::Person : backend::Serve::OnlyPainting);
    });
    if (extension.sheet()) extension.sheet()->sheetWillOpen();
    extension.window()->makeKeyAndVisible();
    NSRunLoop::mainRunLoop().run();
    extension.window()->close();
    CoordinationLock::setWaitingHook({});
    g_running = nullptr;
  }
  context->setEndHandler({});
  if (context->state() == NSExtensionContext::State::Completed) return kCompleted;
  if (g_displayIsLost) return kDisplayLost;
  const auto error = extension.sheet() ? extension.sheet()->postError() : std::nullopt;
  if (!error) return kCancelled;
  const bool mayGoLater =
      error->kind == NSError::Kind::Busy || error->kind == NSError::Kind::Interrupted;
  return mayGoLater ? kBusy : kNotSaved;
}

void NSExtensionDisplayLost() {
  const bool isFirst = !g_displayIsLost.exchange(true);
  if (isFirst) NSLog("The display is gone, and the sheet with it.");
  if (std::this_thread::get_id() != g_mainThread) {
    Interruption::request();
    std::this_thread::sleep_for(kLongestCancelling);
  } else if (g_running) {
    std::exchange(g_running, nullptr)->cancelRequest();
  }
  std::_Exit(kDisplayLost);
}

Result<void> NSExtensionSnapshot(const std::shared_ptr<NSExtensionContext>& context,
                                 const std::string& path, CGFloat scale) {
  // A sheet chooses its images and hairlines when it is made.
  backend::overrideMainScreenScale(scale);
  ExtensionWindow extension(context);
  if (!extension.window()) {
    return NSError{NSError::Kind::Unsupported, "the extension's principal class is not known"};
  }
  if (extension.sheet()) extension.sheet()->sheetWillOpen();
  NSRunLoop::mainRunLoop().runUntil(
      [] {
        return NSItemProvider::outstandingLoads() == 0 && NSOperationQueue::mainQueue().empty();
      },
      kLongestLoading);
  auto outcome = backend::snapshotWindow(*extension.window(), path, scale);
  extension.cancelRequest();
  return outcome;
}

void NSExtensionRehearse() {
  ExtensionWindow extension(
      std::make_shared<NSExtensionContext>(std::vector<std::shared_ptr<NSExtensionItem>>{}));
  if (!extension.window()) return;
  backend::rehearseWindow(*extension.window());
  extension.cancelRequest();
}

}  // namespace tasklane
