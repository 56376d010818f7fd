#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

namespace tasklane {

/// Names the notify center that carries posts between the processes of one user. There is no
/// daemon: each name in use has one small mapped file, in a folder found from the user's id alone,
/// that holds the whole name and a 64-bit counter of posts. A post adds one and enters the system
/// only when a listener waits; a listener delivers as many calls as the counter has moved, so no
/// post is lost or merged. Names are compared whole.
///
/// A program whose main thread has nothing but the run loop to wait in sleeps on a word of the file
/// itself, the quickest way to be woken; where another loop watches the run loop's descriptor the
/// file is watched with inotify. Programs of both kinds may listen to one name.
///
/// A file that was removed, replaced or damaged is made anew, with a console line where it was
/// damaged, and listeners go over to the new one. Of a damaged file nobody knows what it had
/// counted: it is delivered as one call. Where the system has no watches left the counters are
/// looked at ten times a second. A child that was forked without starting a program of its own may
/// post but not listen, because it shares its parent's watches.
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

  /// For the run loop. How this process waits for posts: the descriptor is one that the run loop
  /// watches. Starts with the descriptor; neither way misses what is posted while it is exchanged.
  enum class Waiting { Descriptor, Sleep };
  void setWaiting(Waiting waiting);

  /// For the run loop, when it waits by sleeping: sleeps until a name that is listened to has
  /// something to deliver, endSleep() is called or the moment comes; may end early for no reason.
  /// It must be able to: something must be listened to, and no more names than the system allows.
  bool canSleep() const;
  void sleep(std::chrono::steady_clock::time_point until);

  /// Ends the sleep that is under way, or else the next one. Any thread.
  void endSleep();

  /// The folder that holds the counters. It belongs to the user alone (0700); one that belongs to
  /// somebody else is refused.
  static std::string folder();

  /// For tests, before the first use: counters of their own.
  static void setFolder(const std::string& folder);

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
