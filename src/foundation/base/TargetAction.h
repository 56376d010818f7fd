#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "foundation/base/NSObject.h"

namespace tasklane {

/// The operation that is performed on a target, with the sender as its only argument.
template <class Sender>
using Action = std::function<void(Sender& sender)>;

/// A weakly held receiver and an operation on it. It is performed at once; when the target is gone
/// or either is missing, nothing happens.
template <class Sender>
class TargetAction {
 public:
  void setTarget(const std::shared_ptr<NSObject>& target) { target_ = target; }
  std::shared_ptr<NSObject> target() const { return target_.lock(); }
  void setAction(Action<Sender> action) { action_ = std::move(action); }
  const Action<Sender>& action() const { return action_; }

  void perform(Sender& sender) const {
    const auto target = target_.lock();
    const auto action = action_;  // the action may replace itself
    if (target && action) action(sender);
  }

 private:
  std::weak_ptr<NSObject> target_;
  Action<Sender> action_;
};

}  // namespace tasklane
