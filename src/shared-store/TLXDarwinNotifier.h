#pragma once

#include <functional>
#include <memory>
#include <string>

#include "foundation/base/NSObject.h"
#include "foundation/events/CFNotificationCenter.h"

namespace tasklane {

/// A named signal without a payload between the processes of one user: one process posts, every
/// process that listens under the same name is told, the poster's own included. The receiver learns
/// only that something under the name changed and must look for itself.
///
/// Two notifiers meet when they are of the same class and were made from the same identifier.
/// Making, destroying and listening belong to the main thread; any thread may post.
class TLXDarwinNotifier : public NSObject {
 public:
  using ListenerBlock = std::function<void()>;

  /// With an empty listener the notifier only posts; otherwise it listens for as long as it lives.
  /// Notifier is this class or a subclass, whose name then is a part of the signal's name.
  template <class Notifier = TLXDarwinNotifier>
  static std::shared_ptr<Notifier> makeWithIdentifier(const std::string& identifier,
                                                      ListenerBlock listenerBlock) {
    auto notifier = std::make_shared<Notifier>();
    notifier->startWithIdentifier(identifier, std::move(listenerBlock));
    return notifier;
  }

  /// Use makeWithIdentifier(): a notifier that was not started has no name and posts nothing.
  TLXDarwinNotifier() = default;
  ~TLXDarwinNotifier() override;

  /// The whole name under which it posts and listens.
  const std::string& notificationName() const { return identifier_; }
  void postNotification();

 private:
  friend void _notificationCallback(CFNotificationCenter& center, void* observer,
                                    const std::string& name, const void* object,
                                    const void* userInfo);
  // The name holds the run-time class, which no constructor of a base class knows.
  void startWithIdentifier(const std::string& identifier, ListenerBlock listenerBlock);
  void _notificationReceived();

  std::string identifier_;
  ListenerBlock listenerBlock_;
};

/// What the notify center calls; the observer is the notifier.
void _notificationCallback(CFNotificationCenter& center, void* observer, const std::string& name,
                           const void* object, const void* userInfo);

}  // namespace tasklane
