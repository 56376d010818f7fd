#include "shared-store/TLXDarwinNotifier.h"

#include <utility>

#include "foundation/base/NSLog.h"

namespace tasklane {

void _notificationCallback(CFNotificationCenter&, void* observer, const std::string&, const void*,
                           const void*) {
  auto* notifier = static_cast<TLXDarwinNotifier*>(observer);
  TASKLANE_ASSERT(notifier != nullptr, "notifier != nil", "iOS/SharingExtensions/TLXDarwinNotifier",
                  29);
  notifier->_notificationReceived();
}

void TLXDarwinNotifier::startWithIdentifier(const std::string& identifier,
                                            ListenerBlock listenerBlock) {
  identifier_ = stringWithFormat("com.kestrelworks.Tasklane|%@|%@", {className(), identifier});
  listenerBlock_ = std::move(listenerBlock);
  if (listenerBlock_)
    CFNotificationCenterAddObserver(CFNotificationCenterGetDarwinNotifyCenter(), this,
                                    _notificationCallback, identifier_,
                                    CFNotificationSuspensionBehavior::DeliverImmediately);
}

TLXDarwinNotifier::~TLXDarwinNotifier() {
  if (listenerBlock_)
    CFNotificationCenterRemoveObserver(CFNotificationCenterGetDarwinNotifyCenter(), this,
                                       identifier_);
}

void TLXDarwinNotifier::postNotification() {
  if (!identifier_.empty())
    CFNotificationCenterPostNotification(CFNotificationCenterGetDarwinNotifyCenter(), identifier_);
}

void TLXDarwinNotifier::_notificationReceived() {
  const auto keptDuringTheCall = shared_from_this();  // the listener may let go of its notifier
  listenerBlock_();
}

}  // namespace tasklane
