#include <malloc.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <ctime>
#include <utility>

#include "Command.h"
#include "DeliveryCommands.h"
#include "ShareCommand.h"
#include "common/OutOfMemory.h"
#include "common/Standby.h"
#include "delivery/ContendedFile.h"
#include "delivery/DeliveryLock.h"
#include "delivery/FolderLookout.h"
#include "foundation/base/FileDescriptor.h"
#include "foundation/base/FileSystem.h"
#include "foundation/base/NSLog.h"
#include "foundation/events/Interruption.h"
#include "foundation/events/NSNotificationCenter.h"
#include "foundation/events/NSRunLoop.h"
#include "foundation/property-lists/PropertyListLookup.h"
#include "shared-store/TLXExternalAction.h"

namespace tasklane {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kFirstPause{1000};
constexpr milliseconds kLongestPause = std::chrono::minutes(10);
/// Programs that write a list often write it several times in a row.
constexpr milliseconds kListSettles{20};
constexpr milliseconds kOthersDeliver{50}, kOthersDeliverLong{1000};
/// A sheet's process that waits, started, leaves after an hour.
constexpr milliseconds kUntilNextStandby = std::chrono::hours(1) + std::chrono::minutes(1);
/// Longer than what was delivered has to be looked after.
constexpr milliseconds kBriefly = Deliverer::kLookedAfter + std::chrono::seconds(2);

/// Readable at the next midnight, when the system's clock was set, and after sleep.
class DayWatch {
 public:
  DayWatch() : timer_(::timerfd_create(CLOCK_REALTIME, TFD_CLOEXEC | TFD_NONBLOCK)) { start(); }

  int fileDescriptor() const { return timer_.get(); }

  void start() {
    std::uint64_t ignored = 0;
    [[maybe_unused]] const ssize_t count = ::read(timer_.get(), &ignored, sizeof ignored);
    std::time_t now = std::time(nullptr);
    std::tm day{};
    ::localtime_r(&now, &day);
    ++day.tm_mday;
    day.tm_hour = day.tm_min = day.tm_sec = 0;
    day.tm_isdst = -1;
    itimerspec due{};
    due.it_value.tv_sec = std::mktime(&day);
    ::timerfd_settime(timer_.get(), TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &due, nullptr);
  }

 private:
  FileDescriptor timer_;
};

/// Everything it knows is on disk; what is here are only the things that wake it.
class Agent {
 public:
  explicit Agent(Stay stay)
      : stay_(stay), configurationStamp_(configurationStamp()), deliverer_(makeDeliverer()) {}

  /// Returns when it is asked to end, and when it has stayed long enough.
  void run() {
    auto& loop = NSRunLoop::mainRunLoop();
    const auto queueChanged = NSNotificationCenter::defaultCenter().addObserver(
        TLXPlistPresenterDidChangeNotification, TLXExternalAction::presenter(),
        [this](const NSNotification&) { deliverSoon(); });
    const auto stop = loop.addDescriptor(Interruption::descriptor(), [&] { loop.stop(); });
    const auto newDay = loop.addDescriptor(day_.fileDescriptor(), [this] {
      day_.start();
      // The clock is set after sleep too, when the list may be in reach again.
      pause_ = kFirstPause;
      deliver();
    });
    const int settings = settings_.watch({parentOfPath(DeliveryConfiguration::path())});
    std::shared_ptr<NSRunLoop::Source> newSettings;
    if (settings >= 0)
      newSettings = loop.addDescriptor(settings, [this] {
        settings_.watch({parentOfPath(DeliveryConfiguration::path())});
        settleThenLook();
      });
    stayOn();
    if (stay_ == Stay::ForGood) keepSheetWaiting();
    deliver();
    if (!Interruption::happened()) loop.run();
  }

  /// Whether more is queued than it has left there.
  bool isWanted() const { return !Interruption::happened() && queueLength(Fresh::Yes) > waiting_; }

 private:
  enum class Fresh { No, Yes };
  static std::size_t queueLength(Fresh fresh) {
    const auto& presenter = TLXExternalAction::presenter();
    if (fresh == Fresh::Yes) presenter->refreshPlist();
    const auto* entries = arrayAt(presenter->plist().get(), "actions");
    return entries ? entries->size() : 0;
  }

  static std::string configurationStamp() {
    const auto stamp = ContendedFile(DeliveryConfiguration::path()).stamp();
    return stamp ? stamp.value().value_or("") : "";
  }

  /// Items go to another list as soon as the person has said so.
  void readChangedConfiguration() {
    if (std::exchange(configurationStamp_, configurationStamp()) == configurationStamp_) return;
    try {
      auto deliverer = makeDeliverer();
      listSource_ = nullptr;
      watched_ = -1;
      deliverer_ = std::move(deliverer);
    } catch (const Failure& failure) {
      NSLog("tasklane: " + failure.sentence + " The former settings hold on.");
    }
  }

  /// So that the first sheet of a login is there as fast as the others, which have it started.
  void keepSheetWaiting() {
    const char* x11 = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    const std::string program = sheetProgram();
    if (((x11 && *x11) || (wayland && *wayland)) && ::access(program.c_str(), X_OK) == 0)
      standby::startProcess(program, standby::currentEnvironment());
    standby_ = NSRunLoop::mainRunLoop().addTimer(kUntilNextStandby, [this] { keepSheetWaiting(); });
  }

  /// What waits for a list that is away does not keep it.
  void stayOn() {
    if (stay_ == Stay::Briefly)
      leave_ = NSRunLoop::mainRunLoop().addTimer(kBriefly, [] { NSRunLoop::mainRunLoop().stop(); });
  }

  /// One delivery for all notifications that arrive at once.
  void deliverSoon() {
    stayOn();
    if (queueLength(Fresh::No) > 0 && !soon_)
      soon_ = NSRunLoop::mainRunLoop().addTimer(milliseconds(0), [this] { deliver(); });
  }

  /// Also looks whether what was delivered lately is still there.
  void deliver() {
    soon_ = settled_ = nullptr;
    readChangedConfiguration();
    watchList();
    const auto summary = deliverer_->deliver();
    if (summary) waiting_ = summary.value().waiting;
    const bool isBusy = !summary && summary.error().kind == NSError::Kind::Busy;
    if (isBusy) {
      again_ = NSRunLoop::mainRunLoop().addTimer(othersPause_, [this] { deliver(); });
      othersPause_ = std::min(othersPause_ * 2, kOthersDeliverLong);
      return;
    }
    othersPause_ = kOthersDeliver;
    if (!summary || waiting_ > 0) {
      again_ = NSRunLoop::mainRunLoop().addTimer(pause_, [this] { deliver(); });
      pause_ = std::min(pause_ * 2, kLongestPause);
    } else {
      again_ = nullptr;
      pause_ = kFirstPause;
    }
    if (!summary) NSLog("tasklane: not delivered: " + summary.error().description);
    publish();
  }

  void publish() {
    const auto published = deliverer_->publish();
    // A long list takes memory that is of no use until the next change.
    if (published && published.value()) ::malloc_trim(0);
    const std::string problem = published ? "" : published.error().description;
    const bool isBusy = !published && published.error().kind == NSError::Kind::Busy;
    if (!isBusy && std::exchange(publishingProblem_, problem) != problem && !problem.empty())
      NSLog("tasklane: the list could not be published: " + problem);
    if (isBusy) look_ = NSRunLoop::mainRunLoop().addTimer(kOthersDeliver, [this] { deliver(); });
  }

  /// The list has changed, so it is there: what waits for it is tried at once.
  void settleThenLook() {
    stayOn();
    if (!settled_)
      settled_ = NSRunLoop::mainRunLoop().addTimer(kListSettles, [this] { deliver(); });
  }

  /// Before a look at the list, never after one: what changes from here on calls for another.
  void watchList() {
    const ListWatch watch = deliverer_->destination().watch();
    if (watch.fileDescriptor != watched_) {
      watched_ = watch.fileDescriptor;
      listSource_ = nullptr;
      if (watched_ >= 0)
        listSource_ = NSRunLoop::mainRunLoop().addDescriptor(watched_, [this] {
          watchList();
          settleThenLook();
        });
    }
    look_ = nullptr;
    if (watch.pause) look_ = NSRunLoop::mainRunLoop().addTimer(*watch.pause, [this] { deliver(); });
  }

  const Stay stay_;
  std::string configurationStamp_;  // before it is read
  std::unique_ptr<Deliverer> deliverer_;
  FolderLookout settings_;
  DayWatch day_;
  std::size_t waiting_ = 0;
  milliseconds pause_ = kFirstPause, othersPause_ = kOthersDeliver;
  std::string publishingProblem_;
  int watched_ = -1;
  std::shared_ptr<NSRunLoop::Source> soon_, again_, settled_, listSource_, look_, leave_, standby_;
};

}  // namespace

void runAgent(Stay stay) {
  requireContainer();
  Interruption::startNoting();
  OutOfMemory::changeHasSteps();
  const auto of = stay == Stay::Briefly ? DeliveryLock::Of::Background : DeliveryLock::Of::Agent;
  for (bool isWanted = true; isWanted;) {
    Agent agent(stay);
    {
      // Who saves something while it is held sees that somebody is there.
      const auto lock = DeliveryLock::take(of);
      if (!lock && stay == Stay::Briefly) return;
      if (!lock) fail("No agent was started", lock.error());
      agent.run();
    }
    isWanted = stay == Stay::Briefly && agent.isWanted();
  }
}

}  // namespace tasklane
