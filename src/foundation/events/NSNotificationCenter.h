#pragma once

#include <functional>
#include <memory>
#include <string>

#include "foundation/base/NSObject.h"

namespace tasklane {

/// A named event inside this process, with the object that it is about (possibly none).
struct NSNotification {
  std::string name;
  std::shared_ptr<NSObject> object;
};

/// Tells whoever asked, at once and on the posting thread, in the order of their asking. Main
/// thread. An observer added or removed while a post runs takes effect with the next post, except
/// that one that was removed is not called any more.
class NSNotificationCenter {
 public:
  using Handler = std::function<void(const NSNotification&)>;

  /// One observation; it ends when the token is destroyed or reset.
  class Observation;
  using Token = std::shared_ptr<Observation>;

  static NSNotificationCenter& defaultCenter();

  /// With an object only its notifications are heard, without one those of any sender.
  [[nodiscard]] Token addObserver(const std::string& name, const std::shared_ptr<NSObject>& object,
                                  Handler handler);
  void postNotificationName(const std::string& name, const std::shared_ptr<NSObject>& object);

 private:
  NSNotificationCenter() = default;
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace tasklane
