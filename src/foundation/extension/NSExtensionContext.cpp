#include "foundation/extension/NSExtensionContext.h"

#include <utility>

#include "foundation/base/NSLog.h"

namespace tasklane {

NSExtensionContext::NSExtensionContext(std::vector<std::shared_ptr<NSExtensionItem>> inputItems)
    : inputItems_(std::move(inputItems)) {}

void NSExtensionContext::completeRequestReturningItems() { end(State::Completed); }

void NSExtensionContext::cancelRequestWithError(const NSError& error) {
  if (state_ == State::Running && error.kind != NSError::Kind::Cancelled)
    NSLog("The share was cancelled: " + error.description);
  end(State::Cancelled);
}

void NSExtensionContext::setEndHandler(std::function<void(State)> handler) {
  endHandler_ = std::move(handler);
  callEndHandler();
}

void NSExtensionContext::end(State state) {
  if (state_ != State::Running) return;
  state_ = state;
  callEndHandler();
}

void NSExtensionContext::callEndHandler() {
  if (state_ == State::Running || !endHandler_) return;
  // Given up before it is called: it may drop this object, or end the request again.
  const auto handler = std::exchange(endHandler_, nullptr);
  handler(state_);
}

}  // namespace tasklane
