#include "foundation/extension/NSExtensionContext.h"

#include <utility>

#include "foundation/base/NSLog.h"

namespace tasklane {

NSExtensionContext::NSExtensionContext(InputItems inputItems)
    : inputItems_(std::move(inputItems)) {}

std::shared_ptr<NSExtensionContext> NSExtensionContext::makeAwaitingInput() {
  auto context = std::make_shared<NSExtensionContext>(InputItems{});
  context->awaitsInput_ = true;
  return context;
}

void NSExtensionContext::giveInput(InputItems items) {
  inputItems_ = std::move(items);
  awaitsInput_ = false;
  if (const auto handler = std::exchange(inputHandler_, nullptr)) handler(inputItems_);
}

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
