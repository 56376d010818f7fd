#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/base/NSError.h"
#include "foundation/base/NSObject.h"
#include "foundation/extension/NSItemProvider.h"

namespace tasklane {

/// One thing that is shared: an optional title, an optional text, and attachments in order. Of the
/// attributed strings only the plain text exists here.
class NSExtensionItem : public NSObject {
 public:
  std::optional<std::string> attributedTitle;
  std::optional<std::string> attributedContentText;
  std::vector<std::shared_ptr<NSItemProvider>> attachments;
};

/// The request that an extension serves, from its input to its one end. Main thread.
class NSExtensionContext : public NSObject {
 public:
  enum class State { Running, Completed, Cancelled };
  using InputItems = std::vector<std::shared_ptr<NSExtensionItem>>;

  explicit NSExtensionContext(InputItems inputItems);
  const InputItems& inputItems() const { return inputItems_; }

  /// A request whose input is not known yet; giveInput() follows, unless the request ends before.
  static std::shared_ptr<NSExtensionContext> makeAwaitingInput();
  bool awaitsInput() const { return awaitsInput_; }
  void giveInput(InputItems items);
  /// Called once, when the input that is awaited comes.
  void setInputHandler(std::function<void(const InputItems& items)> handler) {
    inputHandler_ = std::move(handler);
  }

  /// Ends the request; only the first of the two calls counts. The reason of a cancellation goes to
  /// the console, unless it is that the person cancelled.
  void completeRequestReturningItems();
  void cancelRequestWithError(const NSError& error);

  State state() const { return state_; }
  /// Called once, when the request has ended, or at once when it has ended already.
  void setEndHandler(std::function<void(State)> handler);

 private:
  void end(State state);
  void callEndHandler();

  InputItems inputItems_;
  bool awaitsInput_ = false;
  std::function<void(const InputItems& items)> inputHandler_;
  std::function<void(State)> endHandler_;
  State state_ = State::Running;
};

/// What a principal class of an extension answers.
class NSExtensionRequestHandling {
 public:
  virtual ~NSExtensionRequestHandling() = default;
  virtual void beginRequestWithExtensionContext(
      const std::shared_ptr<NSExtensionContext>& context) = 0;
};

}  // namespace tasklane
