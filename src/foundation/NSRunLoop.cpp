#include "foundation/NSRunLoop.h"

#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <map>
#include <utility>

#include "foundation/CFNotificationCenter.h"
#include "foundation/DescriptorLookout.h"
#include "foundation/NSLog.h"
#include "foundation/NSOperationQueue.h"
#include "foundation/SharedFutex.h"

namespace tasklane {
namespace {

using SteadyClock = std::chrono::steady_clock;

// What the event of each kind carries; sources are numbered from kFirstSource and never reused, so
// that an event already fetched for a source that has ended meets nothing.
constexpr std::uint64_t kMainQueue = 0;
constexpr std::uint64_t kTimers = 1;
constexpr std::uint64_t kFirstSource = 2;

constexpr std::chrono::milliseconds kLongestWait = std::chrono::hours(1);
constexpr auto kForever = std::chrono::milliseconds::max();

void watch(int set, int fileDescriptor, std::uint64_t identifier) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.u64 = identifier;
  if (epoll_ctl(set, EPOLL_CTL_ADD, fileDescriptor, &event) != 0) {
    NSLog(stringWithFormat("the run loop cannot watch descriptor %@: %@",
                           {std::to_string(fileDescriptor), std::strerror(errno)}));
  }
}

CFNotificationCenter& center() { return CFNotificationCenterGetDarwinNotifyCenter(); }

}  // namespace

struct NSRunLoop::State {
  State()
      : set(epoll_create1(EPOLL_CLOEXEC)),
        timer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
    if (set < 0 || timer < 0) {
      NSLog(stringWithFormat("cannot make the run loop: %@", {std::strerror(errno)}));
    }
    watchOwn();
  }

  void watchOwn() const;
  void unwatchOwn() const;
  void armTimer() const;
  void fireTimers();
  void dispatchSource(std::uint64_t identifier);
  void dispatch(std::chrono::milliseconds wait);
  bool waitAsleep(std::chrono::milliseconds limit);
  bool startSleeping();
  void stopSleeping();

  const int set;
  const int timer;
  std::uint64_t nextIdentifier = kFirstSource;
  std::map<std::uint64_t, Source*> sources;
  std::map<std::pair<SteadyClock::time_point, std::uint64_t>, Source*> timers;  // soonest first
  std::function<void(std::chrono::milliseconds)> waiter;
  bool stopped = false;

  // How to wait: on the set, or asleep on posts while the lookout waits on the set.
  bool mayWaitAsleep = true;
  bool waitsAsleep = false;
  std::unique_ptr<DescriptorLookout> lookout;
};

class NSRunLoop::Source : public std::enable_shared_from_this<Source> {
 public:
  Source(State& state, std::function<void()> callback)
      : state_(state), identifier_(state.nextIdentifier++), callback_(std::move(callback)) {}

  ~Source() {
    if (fileDescriptor_ >= 0) {
      state_.sources.erase(identifier_);
      // Fails harmlessly when the owner has closed the descriptor already.
      epoll_ctl(state_.set, EPOLL_CTL_DEL, fileDescriptor_, nullptr);
    }
    cancelTimer();
  }

  Source(const Source&) = delete;
  Source& operator=(const Source&) = delete;

  void watchDescriptor(int fileDescriptor) {
    fileDescriptor_ = fileDescriptor;
    state_.sources[identifier_] = this;
    watch(state_.set, fileDescriptor, identifier_);
  }

  void startTimer(SteadyClock::time_point due) {
    due_ = due;
    state_.timers[{due, identifier_}] = this;
    state_.armTimer();
  }

  void cancelTimer() {
    if (state_.timers.erase({due_, identifier_}) > 0) state_.armTimer();
  }

  /// The callback may end the source.
  void call() {
    const auto self = shared_from_this();
    callback_();
  }

 private:
  State& state_;
  std::uint64_t identifier_;
  std::function<void()> callback_;
  int fileDescriptor_ = -1;
  SteadyClock::time_point due_;
};

void NSRunLoop::State::watchOwn() const {
  watch(set, timer, kTimers);
  watch(set, NSOperationQueue::mainQueue().fileDescriptor(), kMainQueue);
}

/// Timers and blocks end a sleep directly, so that the lookout need not be troubled with them.
void NSRunLoop::State::unwatchOwn() const {
  epoll_ctl(set, EPOLL_CTL_DEL, timer, nullptr);
  epoll_ctl(set, EPOLL_CTL_DEL, NSOperationQueue::mainQueue().fileDescriptor(), nullptr);
}

void NSRunLoop::State::armTimer() const {
  if (waitsAsleep) return;
  itimerspec due{};
  if (!timers.empty()) {
    const auto delay = std::max(timers.begin()->first.first - SteadyClock::now(),
                                SteadyClock::duration(std::chrono::nanoseconds(1)));
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(delay);
    due.it_value.tv_sec = seconds.count();
    due.it_value.tv_nsec = std::chrono::nanoseconds(delay - seconds).count();
  }
  timerfd_settime(timer, 0, &due, nullptr);
}

void NSRunLoop::State::fireTimers() {
  // Timers that callbacks start, even with no delay, are due later than this moment.
  const auto now = SteadyClock::now();
  while (!timers.empty() && timers.begin()->first.first <= now) {
    Source* const source = timers.begin()->second;
    timers.erase(timers.begin());
    source->call();
  }
  armTimer();
}

void NSRunLoop::State::dispatchSource(std::uint64_t identifier) {
  const auto found = sources.find(identifier);
  if (found != sources.end()) found->second->call();
}

void NSRunLoop::State::dispatch(std::chrono::milliseconds wait) {
  const bool slept = wait.count() > 0 && waitAsleep(wait);
  std::array<epoll_event, 32> events;
  const auto look = [&](std::chrono::milliseconds limit) {
    return epoll_wait(set, events.data(), static_cast<int>(events.size()),
                      limit == kForever ? -1 : static_cast<int>(limit.count()));
  };
  int count = slept ? 0 : look(wait);
  center().deliverAllPending();
  if (slept) count = look(std::chrono::milliseconds(0));
  for (int i = 0; i < count; ++i) {
    const std::uint64_t identifier = events[static_cast<std::size_t>(i)].data.u64;
    if (identifier == kMainQueue) {
      NSOperationQueue::mainQueue().runPending();
    } else if (identifier == kTimers) {
      fireTimers();
    } else {
      dispatchSource(identifier);
    }
  }
  if (!waitsAsleep) return;
  NSOperationQueue::mainQueue().runPending();
  if (!timers.empty()) fireTimers();
}

/// False, at once, when the descriptors have to be waited on.
bool NSRunLoop::State::waitAsleep(std::chrono::milliseconds limit) {
  if (!center().canSleep() || !startSleeping()) {
    stopSleeping();
    return false;
  }
  // Blocks that blocks have added behind others have woken nobody.
  if (!NSOperationQueue::mainQueue().empty()) return true;
  auto until = limit == kForever ? SharedFutex::kNever : SteadyClock::now() + limit;
  if (!timers.empty()) until = std::min(until, timers.begin()->first.first);
  lookout->resume();
  center().sleep(until);
  return true;
}

bool NSRunLoop::State::startSleeping() {
  if (waitsAsleep || !mayWaitAsleep) return waitsAsleep;
  if (!lookout) lookout = DescriptorLookout::start(set, wakeUp);
  waitsAsleep = mayWaitAsleep = lookout != nullptr;
  if (!waitsAsleep) return false;
  unwatchOwn();
  center().setWaiting(CFNotificationCenter::Waiting::Sleep);
  return true;
}

void NSRunLoop::State::stopSleeping() {
  if (!std::exchange(waitsAsleep, false)) return;
  watchOwn();
  armTimer();
  center().setWaiting(CFNotificationCenter::Waiting::Descriptor);
}

NSRunLoop::NSRunLoop() : state_(std::make_unique<State>()) {}

NSRunLoop& NSRunLoop::mainRunLoop() {
  // Never destroyed: sources held by other objects of the whole process end after it otherwise.
  static NSRunLoop* const loop = std::unique_ptr<NSRunLoop>(new NSRunLoop).release();
  return *loop;
}

std::shared_ptr<NSRunLoop::Source> NSRunLoop::addDescriptor(int fileDescriptor,
                                                            std::function<void()> onReadable) {
  auto source = std::make_shared<Source>(*state_, std::move(onReadable));
  source->watchDescriptor(fileDescriptor);
  return source;
}

std::shared_ptr<NSRunLoop::Source> NSRunLoop::addTimer(std::chrono::milliseconds delay,
                                                       std::function<void()> onFire) {
  auto source = std::make_shared<Source>(*state_, std::move(onFire));
  source->startTimer(SteadyClock::now() + delay);
  return source;
}

int NSRunLoop::fileDescriptor() {
  state_->mayWaitAsleep = false;
  state_->stopSleeping();
  return state_->set;
}

void NSRunLoop::dispatch() { state_->dispatch(std::chrono::milliseconds(0)); }

void NSRunLoop::run() {
  state_->stopped = false;
  runUntil([] { return false; }, kForever);
}

void NSRunLoop::wakeUp() { center().endSleep(); }

void NSRunLoop::stop() { state_->stopped = true; }

bool NSRunLoop::runUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
  state_->stopped = false;
  const auto start = SteadyClock::now();
  for (;;) {
    if (condition()) return true;
    const auto passed =
        std::chrono::duration_cast<std::chrono::milliseconds>(SteadyClock::now() - start);
    if (std::exchange(state_->stopped, false) || passed >= limit) return false;
    // A millisecond more than is left, because what has passed is rounded down.
    const auto wait = std::min(limit - passed, kLongestWait);
    if (const auto waiter = state_->waiter) {
      waiter(wait);
      dispatch();
    } else {
      state_->dispatch(limit == kForever ? kForever : wait);
    }
  }
}

void NSRunLoop::setWaiter(std::function<void(std::chrono::milliseconds)> waiter) {
  state_->waiter = std::move(waiter);
}

}  // namespace tasklane
