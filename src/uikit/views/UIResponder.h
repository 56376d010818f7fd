#pragma once

#include <memory>

#include "foundation/base/NSObject.h"

namespace tasklane {

/// What can be the first to hear of the keyboard. At most one object is the first responder of its
/// window.
class UIResponder : public NSObject {
 public:
  virtual std::shared_ptr<UIResponder> nextResponder() const { return nullptr; }
  virtual bool canBecomeFirstResponder() const { return false; }
  /// Whether it is the first responder now (true at once when it was already). It must be in a
  /// window.
  virtual bool becomeFirstResponder() { return false; }
  virtual bool resignFirstResponder() { return true; }
  virtual bool isFirstResponder() const { return false; }
};

/// Adopted by what takes typed text (text views, search fields).
class UITextInput {
 public:
  virtual ~UITextInput() = default;
};

}  // namespace tasklane
