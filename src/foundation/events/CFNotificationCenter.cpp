#include "foundation/events/CFNotificationCenter.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "foundation/base/NSLog.h"
#include "foundation/events/NSRunLoop.h"
#include "foundation/events/internal/FolderWatch.h"
#include "foundation/events/internal/NotifyCounter.h"
#include "foundation/events/internal/NotifyFolder.h"
#include "foundation/events/internal/WakePipe.h"

namespace tasklane {
namespace {

constexpr int kMostAttempts = 100;
constexpr std::chrono::milliseconds kPollInterval{100};
constexpr std::uint64_t kMostSinglePosts = std::uint64_t{1} << 20;

using CounterPointer = std::shared_ptr<NotifyCounter>;

struct Observer {
  void* observer;
  CFNotificationCallback callback;
  std::uint64_t seen = 0;  // of the posts that the counter has counted
  std::uint64_t owed = 0;  // calls
  bool removed = false;

  void takeNoteOf(std::uint64_t count) {
    // A count that has gone back is as little to be believed as a wild one.
    const std::uint64_t posts = count - seen;
    owed += posts > kMostSinglePosts ? 1 : posts;
    seen = count;
  }
};

/// A name that this process has met.
struct Known {
  CounterPointer counter;
  std::time_t lookedAt = 0;  // whether the counter still is where others find it
};

/// A name that this process listens to.
struct Listening {
  std::string name;
  CounterPointer counter;  // none: it could not be opened
  std::vector<std::shared_ptr<Observer>> observers;

  /// Whether there is nothing to deliver.
  bool settled() const {
    const std::uint64_t count = counter ? counter->count() : 0;
    return (!counter || counter->usable()) &&
           std::all_of(observers.begin(), observers.end(), [&](const auto& observer) {
             return observer->owed == 0 && (!counter || observer->seen == count);
           });
  }
};

enum class Look { AtTheCounter, AlsoAtItsPlace };

}  // namespace

struct CFNotificationCenter::State {
  CounterPointer counterFor(const std::string& name, std::time_t now);
  bool inPlace(const NotifyCounter& counter);
  void takeNote(Listening& listening, Look look);
  bool moveToSuccessor(Listening& listening);
  void deliver(Listening& listening, Look look);
  void deliverAll(Look look);
  void arm(const Listening& listening) const;
  void armAll() const;
  void startWatching();
  void watchPlaces();
  bool pipeInPlace();
  void takePipe();
  void lookAround();
  void sayOnce(const std::string& problem);
  void hearPipe();
  void hearFolder();
  void pollWhereNeeded();

  CFNotificationCenter* center = nullptr;

  std::mutex mutex;  // guards the three below; all else belongs to the main thread
  NotifyFolder folder = NotifyFolder::ofUser();
  std::map<std::string, Known> counters;
  std::string lastProblem;

  std::map<std::string, std::shared_ptr<Listening>> listenings;
  bool waits = false;
  bool watching = false;
  std::optional<WakePipe> pipe;
  FolderWatch folders;
  std::shared_ptr<NSRunLoop::Source> pipeSource;
  std::shared_ptr<NSRunLoop::Source> folderSource;
  std::shared_ptr<NSRunLoop::Source> pollTimer;
};

/// The counter of a name, opened when this process meets the name for the first time or when the
/// one it knew is out of use. None, with a console line, when there can be none.
CounterPointer CFNotificationCenter::State::counterFor(const std::string& name, std::time_t now) {
  const std::lock_guard lock(mutex);
  Known& known = counters[name];
  if (std::exchange(known.lookedAt, now) != now && known.counter && !inPlace(*known.counter)) {
    known.counter->retire();
  }
  if (known.counter && known.counter->usable()) return known.counter;
  const auto place = folder.find();
  const std::uint64_t before = known.counter ? known.counter->identity() : 0;
  auto opened = place ? NotifyCounter::open(place.value(), name, before) : place.error();
  if (opened) return known.counter = std::move(opened).value();
  if (lastProblem != opened.error().description) {
    lastProblem = opened.error().description;
    NSLog(stringWithFormat("no notifications named %@: %@", {name, lastProblem}));
  }
  return nullptr;
}

/// Whether others find the counter. Call with the mutex held.
bool CFNotificationCenter::State::inPlace(const NotifyCounter& counter) {
  const auto place = folder.find();
  // What cannot be found out in this moment is no reason to leave.
  return !place || (place.value() == counter.folder() && counter.inPlace());
}

/// Books what was posted so far as calls to be made, and goes over to the counter that is in use
/// now, where it is heard from its very first post.
void CFNotificationCenter::State::takeNote(Listening& listening, Look look) {
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    const CounterPointer counter = listening.counter;
    if (counter && look == Look::AlsoAtItsPlace) {
      const std::lock_guard lock(mutex);
      if (!inPlace(*counter)) counter->retire();
    }
    if (counter && counter->usable()) {
      const std::uint64_t count = counter->count();
      for (const auto& observer : listening.observers) observer->takeNoteOf(count);
      return;
    }
    if (!moveToSuccessor(listening)) return;
  }
}

bool CFNotificationCenter::State::moveToSuccessor(Listening& listening) {
  const CounterPointer old = std::exchange(listening.counter, nullptr);
  const bool whole = old && old->whole();
  if (old) old->retire();
  if (whole) {
    const std::uint64_t count = old->count();
    for (const auto& observer : listening.observers) observer->takeNoteOf(count);
  }
  listening.counter = counterFor(listening.name, std::time(nullptr));
  pollWhereNeeded();
  if (!listening.counter) return false;
  arm(listening);
  const bool knowsAll = whole && listening.counter->predecessor() == old->identity();
  for (const auto& observer : listening.observers) {
    observer->seen = old ? 0 : listening.counter->count();
    if (!knowsAll) ++observer->owed;
  }
  return true;
}

void CFNotificationCenter::State::deliver(Listening& listening, Look look) {
  takeNote(listening, look);
  const auto callOne = [&](const std::shared_ptr<Observer>& observer) {
    while (!observer->removed && observer->owed > 0) {
      --observer->owed;  // before the call, which may deliver the rest itself
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

void CFNotificationCenter::State::deliverAll(Look look) {
  // Callbacks may end listenings and begin others. Each name is looked at once, so that a callback
  // that posts does not keep the loop here.
  for (auto next = listenings.begin(); next != listenings.end();) {
    if (look == Look::AtTheCounter && next->second->settled()) {
      ++next;
      continue;
    }
    const auto listening = next->second;
    deliver(*listening, look);
    next = listenings.upper_bound(listening->name);
  }
}

void CFNotificationCenter::State::arm(const Listening& listening) const {
  if (pipe && listening.counter) listening.counter->arm(*pipe);
}

/// Afterwards the next post to any name makes the pipe readable, or it is so already.
void CFNotificationCenter::State::armAll() const {
  bool settled = true;
  for (const auto& [name, listening] : listenings) {
    arm(*listening);
    settled = settled && listening->settled();
  }
  if (pipe && !settled) pipe->wake();
}

/// What waited when the loop began to dispatch is delivered by now.
void CFNotificationCenter::State::hearPipe() {
  pipe->drain();
  armAll();
}

void CFNotificationCenter::State::hearFolder() {
  folders.drain();
  lookAround();
  armAll();
}

/// For all that can have happened behind this process's back.
void CFNotificationCenter::State::lookAround() {
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    if (!pipeInPlace()) takePipe();
    watchPlaces();
    if (!pipe || pipeInPlace()) break;
  }
  deliverAll(Look::AlsoAtItsPlace);
}

void CFNotificationCenter::State::startWatching() {
  if (const auto opened = folders.open(); opened)
    folderSource =
        NSRunLoop::mainRunLoop().addDescriptor(folders.fileDescriptor(), [this] { hearFolder(); });
  else
    sayOnce(opened.error().description);
  takePipe();
  watchPlaces();
  // What became of the files before they were watched; calls belong to the run loop.
  for (const auto& [name, listening] : listenings) takeNote(*listening, Look::AlsoAtItsPlace);
  armAll();
  pollWhereNeeded();
}

bool CFNotificationCenter::State::pipeInPlace() {
  const std::lock_guard lock(mutex);
  (void)folder.find();
  return pipe && pipe->notifyFolder() == folder.last() && pipe->inPlace();
}

void CFNotificationCenter::State::takePipe() {
  pipeSource = nullptr;
  pipe.reset();
  auto taken = [this]() -> Result<WakePipe> {
    const std::lock_guard lock(mutex);
    const auto place = folder.find();
    return place ? WakePipe::take(place.value()) : place.error();
  }();
  if (!taken) return sayOnce(taken.error().description);
  pipe.emplace(std::move(taken).value());
  pipeSource =
      NSRunLoop::mainRunLoop().addDescriptor(pipe->fileDescriptor(), [this] { hearPipe(); });
  armAll();
}

void CFNotificationCenter::State::sayOnce(const std::string& problem) {
  const std::lock_guard lock(mutex);
  if (std::exchange(lastProblem, problem) == problem) return;
  NSLog(problem + "; looking for notifications from time to time");
}

/// The folder, that of the pipes in it, and where a better folder would come.
void CFNotificationCenter::State::watchPlaces() {
  const std::lock_guard lock(mutex);
  (void)folder.find();
  std::vector<FolderWatch::Folder> places = {
      {folder.last(), FolderWatch::kHarmed},
      {WakePipe::folderIn(folder.last()), FolderWatch::kGone}};
  for (const auto& other : folder.wherePreferredOnesAppear())
    places.push_back({other, FolderWatch::kComes});
  folders.watch(places);
}

/// What no descriptor tells is looked at from time to time.
void CFNotificationCenter::State::pollWhereNeeded() {
  if (!watching || pollTimer) return;
  const bool deaf = std::any_of(listenings.begin(), listenings.end(),
                                [](const auto& entry) { return !entry.second->counter; });
  if (pipe && folders.watchesAny() && !deaf) return;
  pollTimer = NSRunLoop::mainRunLoop().addTimer(kPollInterval, [this] {
    pollTimer = nullptr;
    lookAround();
    pollWhereNeeded();
  });
}

CFNotificationCenter::CFNotificationCenter() : state_(std::make_unique<State>()) {
  state_->center = this;
}

void CFNotificationCenter::prepareToWait() {
  state_->waits = true;
  if (!state_->listenings.empty() && !std::exchange(state_->watching, true)) {
    state_->startWatching();
  }
}

void CFNotificationCenter::addObserver(void* observer, CFNotificationCallback callback,
                                       const std::string& name, CFNotificationSuspensionBehavior) {
  auto& listening = state_->listenings[name];
  if (!listening) {
    listening = std::make_shared<Listening>();
    listening->name = name;
    if (state_->waits) prepareToWait();
  }
  state_->takeNote(*listening, Look::AlsoAtItsPlace);
  const std::uint64_t count = listening->counter ? listening->counter->count() : 0;
  listening->observers.push_back(std::make_shared<Observer>(
      Observer{.observer = observer, .callback = callback, .seen = count}));
}

void CFNotificationCenter::removeObserver(void* observer, const std::string& name) {
  const auto found = state_->listenings.find(name);
  if (found == state_->listenings.end()) return;
  const auto listening = found->second;
  std::erase_if(listening->observers, [&](const auto& entry) {
    if (entry->observer != observer) return false;
    entry->removed = true;
    return true;
  });
  if (listening->observers.empty()) state_->listenings.erase(found);
}

void CFNotificationCenter::postNotification(const std::string& name) {
  // The usual case, a name that this thread has posted last, is a comparison and a count.
  struct Last {
    std::string name;
    CounterPointer counter;
    std::time_t lookedAt = 0;
  };
  thread_local Last last;
  const std::time_t now = std::time(nullptr);  // enters no system call
  if (last.counter && last.lookedAt == now && last.name == name && last.counter->post()) return;
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    const CounterPointer counter = state_->counterFor(name, now);
    if (!counter) return;
    if (!counter->post()) continue;
    last = {name, counter, now};
    return;
  }
}

void CFNotificationCenter::deliverPending(const std::string& name) {
  const auto found = state_->listenings.find(name);
  if (found == state_->listenings.end()) return;
  const auto kept = found->second;
  state_->deliver(*kept, Look::AlsoAtItsPlace);
}

void CFNotificationCenter::deliverAllPending() { state_->deliverAll(Look::AtTheCounter); }

std::string CFNotificationCenter::folder() const {
  const std::lock_guard lock(state_->mutex);
  (void)state_->folder.find();
  return state_->folder.last();
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
