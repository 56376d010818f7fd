#include "foundation/events/NSNotificationCenter.h"

#include <algorithm>
#include <map>
#include <utility>
#include <vector>

namespace tasklane {

struct NSNotificationCenter::State {
  // In the order of asking. Ended observations are swept out when the next one is added.
  std::map<std::string, std::vector<std::weak_ptr<Observation>>> observations;
};

class NSNotificationCenter::Observation {
 public:
  Observation(const std::shared_ptr<NSObject>& object, Handler handler)
      : anySender_(!object), object_(object), handler_(std::move(handler)) {}

  void deliver(const NSNotification& notification) const {
    if (anySender_ || (notification.object && object_.lock() == notification.object)) {
      handler_(notification);
    }
  }

 private:
  bool anySender_;
  std::weak_ptr<NSObject> object_;
  Handler handler_;
};

NSNotificationCenter& NSNotificationCenter::defaultCenter() {
  static NSNotificationCenter center;
  return center;
}

NSNotificationCenter::Token NSNotificationCenter::addObserver(
    const std::string& name, const std::shared_ptr<NSObject>& object, Handler handler) {
  if (!state_) state_ = std::make_shared<State>();
  auto token = std::make_shared<Observation>(object, std::move(handler));
  auto& observations = state_->observations[name];
  std::erase_if(observations, [](const auto& observation) { return observation.expired(); });
  observations.push_back(token);
  return token;
}

void NSNotificationCenter::postNotificationName(const std::string& name,
                                                const std::shared_ptr<NSObject>& object) {
  if (!state_) return;
  const auto found = state_->observations.find(name);
  if (found == state_->observations.end()) return;
  const auto observations = found->second;  // handlers may add and remove
  const NSNotification notification{name, object};
  for (const auto& weak : observations) {
    if (const auto observation = weak.lock()) observation->deliver(notification);
  }
}

}  // namespace tasklane
