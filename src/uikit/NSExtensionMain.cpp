#include "uikit/NSExtensionMain.h"

#include <algorithm>

#include "foundation/NSBundle.h"
#include "foundation/NSClassFromString.h"
#include "foundation/NSLog.h"
#include "foundation/NSRunLoop.h"
#include "uikit/SLComposeServiceViewController.h"
#include "uikit/UIScreen.h"
#include "uikit/UIWindow.h"

namespace tasklane {
namespace {

constexpr int kCompleted = 0, kCancelled = 1, kNoPrincipalClass = 70;

std::string principalClassName() {
  const PropertyList* extension =
      NSBundle::mainBundle()->infoDictionary().valueForKey("NSExtension");
  const PropertyList* name =
      extension ? extension->valueForKey("NSExtensionPrincipalClass") : nullptr;
  const std::string* text = name ? name->string() : nullptr;
  return text ? *text : "";
}

CGRect frameFor(UIViewController& root) {
  CGSize size = root.preferredContentSize();
  if (size == CGSize{}) size = {400, 480};  // a screen that does not say
  const CGSize screen = UIScreen::mainScreen().bounds().size;
  size.width = std::min(size.width, screen.width);
  size.height = std::min(size.height, screen.height);
  return {{(screen.width - size.width) / 2, (screen.height - size.height) / 2}, size};
}

void cancelRequest(UIViewController& root, NSExtensionContext& context) {
  if (auto* sheet = dynamic_cast<SLComposeServiceViewController*>(&root)) return sheet->cancel();
  context.cancelRequestWithError({NSError::Kind::Cancelled, "The window was closed."});
}

}  // namespace

int NSExtensionMain(const std::shared_ptr<NSExtensionContext>& context) {
  const std::string name = principalClassName();
  const auto principal = makeObjectOfClassNamed(name);
  const auto handler = std::dynamic_pointer_cast<NSExtensionRequestHandling>(principal);
  const auto root = std::dynamic_pointer_cast<UIViewController>(principal);
  if (!handler || !root) {
    NSLog(NSBundle::mainBundle()->bundlePath() +
          ": the Info.plist names no class of this program that handles a request with a screen "
          "(NSExtension, NSExtensionPrincipalClass: \"" +
          name + "\")");
    return kNoPrincipalClass;
  }
  handler->beginRequestWithExtensionContext(context);
  root->view();  // its loading settles the title
  const auto window = std::make_shared<UIWindow>();
  window->setRootViewController(root);
  window->setTitle(root->title());
  const std::weak_ptr<UIWindow> weakWindow = window;
  root->setPreferredContentSizeHandler([weakWindow, controller = root.get()] {
    const auto shown = weakWindow.lock();
    if (!shown) return;
    const CGRect frame = frameFor(*controller);
    shown->setFrame(shown->isVisible() ? CGRect{shown->frame().origin, frame.size} : frame);
  });
  window->setFrame(frameFor(*root));
  window->setCloseHandler([root, context] { cancelRequest(*root, *context); });
  context->setEndHandler([](NSExtensionContext::State) { NSRunLoop::mainRunLoop().stop(); });
  if (context->state() == NSExtensionContext::State::Running) {
    window->makeKeyAndVisible();
    NSRunLoop::mainRunLoop().run();
    window->close();
  }
  window->setCloseHandler({});
  context->setEndHandler({});
  return context->state() == NSExtensionContext::State::Completed ? kCompleted : kCancelled;
}

}  // namespace tasklane
