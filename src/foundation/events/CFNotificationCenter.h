#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace tasklane {

/// Names the notify center that carries posts between the processes of one user. There is no
/// daemon: each name in use has one small mapped file, in a folder found from the user's id alone,
/// that holds the whole name and a 64-bit counter of posts. A post adds one and enters the system
/// only when a listener sleeps, whose pipe it then writes to; a listener delivers as many calls as
/// the counter has moved, so no post is lost or merged. Names are compared whole.
///
/// A listener watches the folder, and a poster looks once a second whether the file that it has
/// mapped still stands there: what was removed, replaced or damaged is made anew, with a console
/// line where it was damaged, and everybody goes over to the new one. Where it is not known how
/// often a name was posted meanwhile, and where a counter has moved further than any process sleeps
/// (2^20), there is one call, so that the observer looks for itself.
///
/// Where the system grants no pipe or no watch, the counters are looked at ten times a second; so
/// is whether a name that could not be listened to can be by now. A child that was forked without
/// starting a program of its own may post but not listen, because it shares its parent's pipe.
class CFNotificationCenter;
using CFNotificationCallback = void (*)(CFNotificationCenter& center, void* observer,
                                        const std::string& name, const void* object,
                                        const void* userInfo);

enum class CFNotificationSuspensionBehavior {
  Drop = 1,
  Coalesce = 2,
  Hold = 3,
  DeliverImmediately = 4
};

/// Carries bare names between all processes of one user: no sender, no contents. A post to which
/// nobody listens enters no system call; none is lost or merged.
class CFNotificationCenter {
 public:
  /// Listeners are called on the main thread, from the run loop (see NSRunLoop); posts may come
  /// from any thread. Adding and removing belong to the main thread.
  void addObserver(void* observer, CFNotificationCallback callback, const std::string& name,
                   CFNotificationSuspensionBehavior behavior);
  /// After this returns the observer is not called any more, not even for posts already counted.
  void removeObserver(void* observer, const std::string& name);
  void postNotification(const std::string& name);

  /// Calls the listeners of a name now for everything posted so far, without waiting. Main thread.
  void deliverPending(const std::string& name);

  /// The same for every name that this process listens to. The run loop calls it whenever it
  /// dispatches, so that a post whose sender was killed before it could wake anybody is heard then.
  void deliverAllPending();

  /// For the run loop, before anybody waits for its descriptors: from now on posts end that wait. A
  /// process that never waits needs no pipe.
  void prepareToWait();

  /// The folder that holds the counters (see NotifyFolder).
  std::string folder() const;

 private:
  CFNotificationCenter();
  struct State;
  std::unique_ptr<State> state_;
  friend CFNotificationCenter& CFNotificationCenterGetDarwinNotifyCenter();
};

CFNotificationCenter& CFNotificationCenterGetDarwinNotifyCenter();
void CFNotificationCenterAddObserver(CFNotificationCenter& center, void* observer,
                                     CFNotificationCallback callback, const std::string& name,
                                     CFNotificationSuspensionBehavior behavior);
void CFNotificationCenterRemoveObserver(CFNotificationCenter& center, void* observer,
                                        const std::string& name);
void CFNotificationCenterPostNotification(CFNotificationCenter& center, const std::string& name);

}  // namespace tasklane
