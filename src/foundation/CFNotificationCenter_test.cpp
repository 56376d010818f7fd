#include "foundation/CFNotificationCenter.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "foundation/NSRunLoop.h"

namespace tasklane {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds kLimit{10'000};
constexpr auto kBehavior = CFNotificationSuspensionBehavior::DeliverImmediately;

/// Counters of the test program's own, gone at its end.
class OwnCounters : public ::testing::Environment {
 public:
  void SetUp() override {
    std::string pattern = "/dev/shm/notification-test-XXXXXX";
    folder_ = mkdtemp(pattern.data());
    CFNotificationCenter::setFolder(folder_);
  }
  void TearDown() override { fs::remove_all(folder_); }

 private:
  std::string folder_;
};
[[maybe_unused]] const auto* const kOwnCounters =
    ::testing::AddGlobalTestEnvironment(std::make_unique<OwnCounters>().release());

CFNotificationCenter& center() { return CFNotificationCenterGetDarwinNotifyCenter(); }

/// Counts what it hears under one name, and may do something each time.
class Listener {
 public:
  explicit Listener(std::string name, std::function<void()> then = {})
      : name_(std::move(name)), then_(std::move(then)) {
    center().addObserver(this, &Listener::heard, name_, kBehavior);
  }
  ~Listener() { stop(); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  void stop() { center().removeObserver(this, name_); }
  int count() const { return count_; }
  bool waitFor(int count) const {
    return NSRunLoop::mainRunLoop().runUntil([&] { return count_ >= count; }, kLimit);
  }

 private:
  static void heard(CFNotificationCenter&, void* observer, const std::string& name, const void*,
                    const void*) {
    auto& listener = *static_cast<Listener*>(observer);
    EXPECT_EQ(name, listener.name_);
    ++listener.count_;
    if (listener.then_) listener.then_();
  }

  std::string name_;
  std::function<void()> then_;
  int count_ = 0;
};

TEST(CFNotificationCenterTest, CallsEveryListenerOncePerPost) {
  center().postNotification("a|Name");
  Listener first("a|Name");
  Listener otherCase("a|name");
  center().postNotification("a|Name");
  Listener second("a|Name");
  center().postNotification("a|Name");
  EXPECT_EQ(first.count(), 0) << "delivery belongs to the run loop";
  ASSERT_TRUE(first.waitFor(2));
  EXPECT_EQ(second.count(), 1) << "what was posted before is not heard";
  EXPECT_EQ(otherCase.count(), 0);
}

TEST(CFNotificationCenterTest, DeliversPendingAtOnceAndOnlyOnce) {
  Listener listener("pending");
  center().postNotification("pending");
  center().postNotification("pending");
  center().deliverPending("pending");
  EXPECT_EQ(listener.count(), 2);
  center().postNotification("pending");
  ASSERT_TRUE(listener.waitFor(3));
  EXPECT_EQ(listener.count(), 3);
}

TEST(CFNotificationCenterTest, CallbacksMayAddRemovePostAndDeliver) {
  std::unique_ptr<Listener> added;
  Listener last("reentrant");
  Listener first("reentrant", [&] {
    if (!added) added = std::make_unique<Listener>("reentrant");
    center().deliverPending("reentrant");
    if (first.count() < 5) center().postNotification("reentrant");
    if (first.count() == 3) last.stop();
  });
  center().postNotification("reentrant");
  ASSERT_TRUE(first.waitFor(5));
  EXPECT_EQ(added->count(), 4);
  EXPECT_LE(last.count(), 3);
}

}  // namespace
}  // namespace tasklane
