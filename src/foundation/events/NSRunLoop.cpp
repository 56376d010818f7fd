#include "foundation/events/NSRunLoop.h"

#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <map>
#include <system_error>
#include <utility>

#include "foundation/base/NSLog.h"
#include "foundation/events/CFNotificationCenter.h"
#include "foundation/events/NSOperationQueue.h"

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

bool watch(int set, int fileDescriptor, std::uint64_t identifier) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.u64 = identifier;
  if (epoll_ctl(set, EPOLL_CTL_ADD, fileDescriptor, &event) == 0) return true;
  NSLog(stringWithFormat("the run loop cannot watch descriptor %@: %@",
                         {std::to_string(fileDescriptor), std::strerror(errno)}));
  return false;
}

/// A run that is under way.
struct Run {
  explicit Run(Run*& innermostOfAll)
      : innermost(innermostOfAll), outer(std::exchange(innermostOfAll, this)) {}
  ~Run() { innermost = outer; }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  Run*& innermost;
  Run* const outer;
  bool stopped = false;
};

CFNotificationCenter& center() { return CFNotificationCenterGetDarwinNotifyCenter(); }

}  // namespace

struct NSRunLoop::State {
  State()
      : set(epoll_create1(EPOLL_CLOEXEC)),
        timer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
    // A loop that lacks one of them would wait for ever for what only that one tells.
    if (set < 0 || timer < 0 || !watch(set, timer, kTimers) ||
        !watch(set, NSOperationQueue::mainQueue().fileDescriptor(), kMainQueue))
      throw std::system_error(errno, std::generic_category(), "cannot make the run loop");
  }

  void armTimer() const;
  void fireTimers();
  void dispatchSource(std::uint64_t identifier);
  void dispatch(std::chrono::milliseconds wait);

  const int set;
  const int timer;
  std::uint64_t nextIdentifier = kFirstSource;
  std::map<std::uint64_t, Source*> sources;
  std::map<std::pair<SteadyClock::time_point, std::uint64_t>, Source*> timers;  // soonest first
  std::function<void(std::chrono::milliseconds)> waiter;
  std::uint64_t dispatches = 0;
  Run* innermost = nullptr;
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

void NSRunLoop::State::armTimer() const {
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
  if (wait.count() > 0) center().prepareToWait();
  std::array<epoll_event, 32> events;
  const int count = epoll_wait(set, events.data(), static_cast<int>(events.size()),
                               wait == kForever ? -1 : static_cast<int>(wait.count()));
  // A loop that a callback runs does what was found here; it is asked for anew afterwards.
  const std::uint64_t own = ++dispatches;
  center().deliverAllPending();
  for (int i = 0; i < count && dispatches == own; ++i) {
    const std::uint64_t identifier = events[static_cast<std::size_t>(i)].data.u64;
    if (identifier == kMainQueue) {
      NSOperationQueue::mainQueue().runPending();
    } else if (identifier == kTimers) {
      fireTimers();
    } else {
      dispatchSource(identifier);
    }
  }
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
  center().prepareToWait();
  return state_->set;
}

void NSRunLoop::dispatch() { state_->dispatch(std::chrono::milliseconds(0)); }

void NSRunLoop::run() {
  runUntil([] { return false; }, kForever);
}

void NSRunLoop::stop() {
  if (state_->innermost) state_->innermost->stopped = true;
}

bool NSRunLoop::runUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
  Run run(state_->innermost);
  const auto start = SteadyClock::now();
  for (;;) {
    if (condition()) return true;
    const auto passed =
        std::chrono::duration_cast<std::chrono::milliseconds>(SteadyClock::now() - start);
    if (run.stopped || passed >= limit) return false;
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
