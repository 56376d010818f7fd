#include "foundation/CFNotificationCenter.h"

#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "foundation/FileDescriptor.h"
#include "foundation/NSLog.h"
#include "foundation/NSRunLoop.h"
#include "foundation/NotifyCounter.h"

namespace tasklane {
namespace {

constexpr std::uint32_t kTouched = IN_ACCESS;
constexpr std::uint32_t kHarmed = IN_MODIFY | IN_ATTRIB | IN_MOVE_SELF | IN_DELETE_SELF;
constexpr int kMostAttempts = 100;
constexpr std::chrono::milliseconds kPollInterval{100};
/// No process sleeps through so many posts: a counter that has moved further holds garbage.
constexpr std::uint64_t kMostPlausiblePosts = std::uint64_t{1} << 28;

using CounterPointer = std::shared_ptr<NotifyCounter>;

struct Observer {
  void* observer;
  CFNotificationCallback callback;
  std::uint64_t seen;  // of the posts that the counter has counted
  bool removed = false;
};

/// A name that this process listens to.
struct Listening {
  std::string name;
  CounterPointer counter;
  int watch = -1;
  bool lost = false;  // there is no counter any more, and none could be made
  std::vector<std::shared_ptr<Observer>> observers;

  /// Whether there is nothing to deliver.
  bool settled() const {
    const std::uint64_t count = counter->count();
    return counter->usable() &&
           std::all_of(observers.begin(), observers.end(),
                       [&](const auto& observer) { return observer->seen == count; });
  }
};

/// Tells this process's own wish to wake its main thread from that of the others that sleep on the
/// same word; two that have it in common wake each other in vain.
std::uint32_t ownBit() {
  static const std::uint32_t bit = NotifyCounter::kPostBit << (1 + getpid() % 31);
  return bit;
}

Result<void> ensureFolder(const std::string& folder) {
  struct stat status {};
  if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) {
    return NSError::fromErrno(errno, "cannot make the folder " + folder);
  }
  if (lstat(folder.c_str(), &status) != 0) {
    return NSError::fromErrno(errno, "cannot look at the folder " + folder);
  }
  if (!S_ISDIR(status.st_mode) || status.st_uid != geteuid()) {
    return NSError{NSError::Kind::NotPermitted,
                   folder + " is not a folder of this user; remove it to hear notifications"};
  }
  if ((status.st_mode & 077) != 0 && chmod(folder.c_str(), 0700) != 0) {
    return NSError::fromErrno(errno, "cannot protect the folder " + folder);
  }
  return {};
}

}  // namespace

struct CFNotificationCenter::State {
  CounterPointer counterFor(const std::string& name);
  void startWatching();
  void startPolling();
  bool watch(Listening& listening);
  void unwatch(Listening& listening);
  void deliver(Listening& listening, bool checkPlace);
  void callEach(Listening& listening, std::uint64_t upTo);
  void moveToSuccessor(Listening& listening);
  void attend(Listening& listening, bool checkPlace);
  void rearm(const Listening& listening) const;
  void readEvents();
  std::uint32_t watched() const;
  void setWaiting(Waiting way);
  bool canSleep() const;
  void sleep(std::chrono::steady_clock::time_point until);
  void endSleep();
  std::shared_ptr<Listening> find(const std::string& name) const;

  std::string folder = "/dev/shm/tasklane-notify-" + std::to_string(geteuid());

  std::mutex mutex;  // guards the three below; all else belongs to the main thread
  std::map<std::string, CounterPointer> counters;
  std::string lastProblem;
  CounterPointer sleptOn;  // whose bell ends the sleep

  std::atomic<bool> asleep = false;
  std::atomic<bool> wakeUp = false;  // the sleep is to end, or not to begin

  CFNotificationCenter* center = nullptr;
  FileDescriptor inotify;
  std::shared_ptr<NSRunLoop::Source> source;
  std::shared_ptr<NSRunLoop::Source> pollTimer;
  std::map<std::string, std::shared_ptr<Listening>> listenings;
  Waiting waiting = Waiting::Descriptor;
  std::vector<SharedFutex::Awaited> awaited;
  std::size_t mostNames = SharedFutex::kMostWords;  // that can be slept on at once
};

/// The counter of a name, opened when this process meets the name for the first time or when the
/// one it knew is out of use. None, with a console line, when there can be none.
CounterPointer CFNotificationCenter::State::counterFor(const std::string& name) {
  const std::lock_guard lock(mutex);
  CounterPointer& known = counters[name];
  if (known && known->usable()) return known;
  known = nullptr;
  const auto ensured = ensureFolder(folder);
  auto opened = ensured ? NotifyCounter::open(folder, name) : ensured.error();
  if (opened) {
    known = std::move(opened).value();
  } else if (lastProblem != opened.error().description) {
    lastProblem = opened.error().description;
    NSLog(stringWithFormat("no notifications named %@: %@", {name, lastProblem}));
  }
  return known;
}

void CFNotificationCenter::State::startWatching() {
  if (source) return;
  inotify = FileDescriptor(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
  if (inotify) {
    source = NSRunLoop::mainRunLoop().addDescriptor(inotify.get(), [this] { readEvents(); });
  } else {
    startPolling();
  }
}

/// The system grants a user a limited number of watches; without one the counters are looked at
/// from time to time.
void CFNotificationCenter::State::startPolling() {
  if (!pollTimer) {
    NSLog(stringWithFormat("cannot watch notification files: %@; looking at them from time to time",
                           {std::strerror(errno)}));
  }
  pollTimer = NSRunLoop::mainRunLoop().addTimer(kPollInterval, [this] {
    startPolling();
    for (const auto& [name, listening] : std::map(listenings)) deliver(*listening, true);
  });
}

/// Watches the file of the name's counter, whichever that is by now.
bool CFNotificationCenter::State::watch(Listening& listening) {
  startWatching();
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    const CounterPointer counter = counterFor(listening.name);
    if (!counter) return false;
    const char* const path = counter->path().c_str();
    listening.watch = inotify ? inotify_add_watch(inotify.get(), path, watched()) : -1;
    if (inotify && listening.watch < 0 && errno != ENOENT) startPolling();
    if (counter->inPlace()) {
      listening.counter = counter;
      listening.lost = false;
      if (waiting == Waiting::Descriptor) counter->armWatcher();
      return true;
    }
    unwatch(listening);
    counter->retire();
  }
  return false;
}

/// Who sleeps is not to be woken a second time by the same post.
std::uint32_t CFNotificationCenter::State::watched() const {
  return waiting == Waiting::Descriptor ? kTouched | kHarmed : kHarmed;
}

void CFNotificationCenter::State::unwatch(Listening& listening) {
  if (listening.watch >= 0) inotify_rm_watch(inotify.get(), listening.watch);
  listening.watch = -1;
}

void CFNotificationCenter::State::callEach(Listening& listening, std::uint64_t upTo) {
  const auto callOne = [&](const std::shared_ptr<Observer>& observer) {
    while (!observer->removed && observer->seen < upTo) {
      ++observer->seen;  // before the call, which may deliver the rest itself
      observer->callback(*center, observer->observer, listening.name, nullptr, nullptr);
    }
  };
  // Callbacks may add and remove observers.
  if (listening.observers.size() == 1) {
    callOne(std::shared_ptr(listening.observers.front()));
  } else {
    const auto observers = listening.observers;
    for (const auto& observer : observers) callOne(observer);
  }
}

void CFNotificationCenter::State::deliver(Listening& listening, bool checkPlace) {
  NotifyCounter& counter = *listening.counter;
  if (!counter.usable() || (checkPlace && !counter.inPlace())) {
    moveToSuccessor(listening);
    return;
  }
  const std::uint64_t count = counter.count();
  const bool plausible = std::all_of(
      listening.observers.begin(), listening.observers.end(), [&](const auto& observer) {
        return observer->seen <= count && count - observer->seen < kMostPlausiblePosts;
      });
  if (plausible) {
    callEach(listening, count);
  } else {
    counter.spoil();
    moveToSuccessor(listening);
  }
}

/// The file was replaced or removed. What it has counted is delivered, then its successor is heard
/// from its very first post. Of a damaged one nobody knows what it had counted: it is one call, so
/// that the observers look for themselves.
void CFNotificationCenter::State::moveToSuccessor(Listening& listening) {
  const CounterPointer old = listening.counter;
  if (listening.lost) {
    // Delivered when it was lost.
  } else if (old->whole()) {
    old->retire();
    callEach(listening, old->count());
  } else {
    for (const auto& observer : listening.observers) observer->seen = 0;
    callEach(listening, 1);
  }
  // A callback may have ended the listening, or have moved it already.
  if (listening.observers.empty() || listening.counter != old) return;
  unwatch(listening);
  listening.lost = !watch(listening);
  if (listening.lost) return;
  for (const auto& observer : listening.observers) observer->seen = 0;
  callEach(listening, listening.counter->count());
}

/// After an event on a file: delivers, and makes sure that the next post is heard as well.
void CFNotificationCenter::State::attend(Listening& listening, bool checkPlace) {
  deliver(listening, checkPlace);
  if (!listening.observers.empty()) rearm(listening);
}

void CFNotificationCenter::State::rearm(const Listening& listening) const {
  if (waiting != Waiting::Descriptor || listening.lost) return;
  listening.counter->armWatcher();
  // Posted meanwhile, perhaps by the observers themselves: the run loop comes back to it.
  if (!listening.settled()) listening.counter->wakeWatchers();
}

void CFNotificationCenter::State::setWaiting(Waiting way) {
  if (std::exchange(waiting, way) == way) return;
  for (const auto& [name, listening] : listenings) {
    if (listening->watch < 0) continue;
    // A file that has left its path is found out by its own event, or by the next look.
    const char* const path = listening->counter->path().c_str();
    if (listening->counter->inPlace()) inotify_add_watch(inotify.get(), path, watched());
    rearm(*listening);
  }
}

bool CFNotificationCenter::State::canSleep() const {
  const auto names = std::count_if(listenings.begin(), listenings.end(),
                                   [](const auto& entry) { return !entry.second->lost; });
  return names > 0 && static_cast<std::size_t>(names) <= mostNames;
}

void CFNotificationCenter::State::sleep(std::chrono::steady_clock::time_point until) {
  awaited.clear();
  bool settled = true;
  CounterPointer last;
  for (const auto& [name, listening] : listenings) {
    if (listening->lost) continue;
    last = listening->counter;
    awaited.push_back(last->armSleeper());
    settled = settled && listening->settled();
  }
  if (sleptOn != last) {
    const std::lock_guard lock(mutex);
    sleptOn = last;
  }
  asleep = true;
  if (settled && !wakeUp &&
      !SharedFutex::sleep(awaited, until, NotifyCounter::kPostBit | ownBit())) {
    mostNames = awaited.size() - 1;
  }
  asleep = false;
  wakeUp = false;
}

void CFNotificationCenter::State::endSleep() {
  wakeUp = true;
  if (!asleep) return;
  const std::lock_guard lock(mutex);
  sleptOn->restoreLength();
  sleptOn->wakeSleepers(ownBit());
}

void CFNotificationCenter::State::readEvents() {
  alignas(inotify_event) char buffer[16 * 1024];
  std::map<int, std::uint32_t> events;
  bool overflow = false;
  for (;;) {
    const ssize_t length = read(inotify.get(), buffer, sizeof buffer);
    if (length <= 0) break;
    for (const char* at = buffer; at < buffer + length;) {
      const auto* const event = reinterpret_cast<const inotify_event*>(at);
      events[event->wd] |= event->mask;
      overflow = overflow || (event->mask & IN_Q_OVERFLOW) != 0;
      at += sizeof(inotify_event) + event->len;
    }
    if (static_cast<std::size_t>(length) < sizeof buffer / 2) break;
  }
  const auto all = listenings;  // observers may come and go while they are called
  for (const auto& [name, listening] : all) {
    const auto event = events.find(listening->watch);
    if (event == events.end() && !overflow) continue;
    if (listening->observers.empty()) continue;
    attend(*listening, overflow || (event->second & ~kTouched) != 0);
  }
}

std::shared_ptr<Listening> CFNotificationCenter::State::find(const std::string& name) const {
  const auto found = listenings.find(name);
  return found == listenings.end() ? nullptr : found->second;
}

CFNotificationCenter::CFNotificationCenter() : state_(std::make_unique<State>()) {
  state_->center = this;
}

void CFNotificationCenter::addObserver(void* observer, CFNotificationCallback callback,
                                       const std::string& name, CFNotificationSuspensionBehavior) {
  auto listening = state_->find(name);
  if (!listening) {
    listening = std::make_shared<Listening>();
    listening->name = name;
    if (!state_->watch(*listening)) return;
    state_->listenings[name] = listening;
  }
  listening->observers.push_back(
      std::make_shared<Observer>(Observer{observer, callback, listening->counter->count()}));
}

void CFNotificationCenter::removeObserver(void* observer, const std::string& name) {
  const auto listening = state_->find(name);
  if (!listening) return;
  std::erase_if(listening->observers, [&](const auto& entry) {
    if (entry->observer != observer) return false;
    entry->removed = true;
    return true;
  });
  if (!listening->observers.empty()) return;
  state_->unwatch(*listening);
  state_->listenings.erase(name);
}

void CFNotificationCenter::postNotification(const std::string& name) {
  // The usual case, a name that this thread has posted last, is a comparison and a count.
  thread_local std::pair<std::string, CounterPointer> last;
  if (last.second && last.first == name && last.second->post()) return;
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    const CounterPointer counter = state_->counterFor(name);
    if (!counter) return;
    if (!counter->post()) continue;
    last = {name, counter};
    return;
  }
}

void CFNotificationCenter::deliverPending(const std::string& name) {
  if (const auto listening = state_->find(name)) state_->deliver(*listening, true);
}

void CFNotificationCenter::deliverAllPending() {
  // Callbacks may end listenings and begin others. Each name is looked at once, so that a callback
  // that posts does not keep the loop here.
  auto& listenings = state_->listenings;
  for (auto next = listenings.begin(); next != listenings.end();) {
    if (next->second->settled()) {
      ++next;
      continue;
    }
    const auto listening = next->second;
    state_->deliver(*listening, false);
    next = listenings.upper_bound(listening->name);
  }
}

void CFNotificationCenter::setWaiting(Waiting waiting) { state_->setWaiting(waiting); }

bool CFNotificationCenter::canSleep() const { return state_->canSleep(); }

void CFNotificationCenter::sleep(std::chrono::steady_clock::time_point until) {
  state_->sleep(until);
}

void CFNotificationCenter::endSleep() { state_->endSleep(); }

std::string CFNotificationCenter::folder() {
  return CFNotificationCenterGetDarwinNotifyCenter().state_->folder;
}

void CFNotificationCenter::setFolder(const std::string& folder) {
  CFNotificationCenterGetDarwinNotifyCenter().state_->folder = folder;
}

CFNotificationCenter& CFNotificationCenterGetDarwinNotifyCenter() {
  // Never destroyed: observers that live as long as the process still remove themselves at its end.
  static CFNotificationCenter* const center =
      std::unique_ptr<CFNotificationCenter>(new CFNotificationCenter).release();
  return *center;
}

void CFNotificationCenterAddObserver(CFNotificationCenter& center, void* observer,
                                     CFNotificationCallback callback, const std::string& name,
                                     CFNotificationSuspensionBehavior behavior) {
  center.addObserver(observer, callback, name, behavior);
}

void CFNotificationCenterRemoveObserver(CFNotificationCenter& center, void* observer,
                                        const std::string& name) {
  center.removeObserver(observer, name);
}

void CFNotificationCenterPostNotification(CFNotificationCenter& center, const std::string& name) {
  center.postNotification(name);
}

}  // namespace tasklane
