#include "uikit/base/Backend.h"

#include <gtest/gtest.h>

#include <QEventLoop>
#include <atomic>
#include <chrono>
#include <thread>

#include "foundation/events/CFNotificationCenter.h"
#include "foundation/events/NSOperationQueue.h"
#include "foundation/events/NSRunLoop.h"

namespace tasklane::qt {
namespace {

constexpr std::chrono::milliseconds kLimit{20'000};

/// Threads that wait for each of their blocks and wake-ups, posts, timers, and loops inside blocks,
/// the platform's and the toolkit's own. Nothing else ends a wait, so whatever is forgotten is
/// seen.
TEST(Backend, ForgetsNothingUnderTheToolkitsLoop) {
  constexpr int kEach = 200;
  auto& loop = NSRunLoop::mainRunLoop();
  auto& queue = NSOperationQueue::mainQueue();
  auto& center = CFNotificationCenterGetDarwinNotifyCenter();
  int posts = 0;
  center.addObserver(
      &posts,
      [](CFNotificationCenter&, void* observer, const std::string&, const void*, const void*) {
        ++*static_cast<int*>(observer);
      },
      "backend", CFNotificationSuspensionBehavior::DeliverImmediately);

  std::atomic<int> blocks = 0;
  std::atomic<bool> lookedFor = false;
  std::thread adder([&] {
    for (int i = 0; i < kEach; ++i) {
      queue.addOperationWithBlock([&, i] {
        bool fired = false;
        const auto timer = loop.addTimer(std::chrono::milliseconds(i % 2), [&] { fired = true; });
        if (i % 3 == 0) {
          EXPECT_TRUE(loop.runUntil([&] { return fired; }, kLimit));
        }
        if (i % 3 == 1) {
          QEventLoop inner;
          queue.addOperationWithBlock([&] { inner.quit(); });
          inner.exec();
        }
        center.postNotification("backend");
        ++blocks;
        blocks.notify_one();
      });
      blocks.wait(i);
    }
    lookedFor = true;
    NSOperationQueue::mainQueue().addOperationWithBlock([] {});
  });
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(loop.runUntil([&] { return lookedFor && posts == kEach; }, kLimit));
  EXPECT_LT(std::chrono::steady_clock::now() - start, kLimit);
  adder.join();
  center.removeObserver(&posts, "backend");
}

TEST(Backend, ServingWindowsLeavesWhatWaitsInTheLoop) {
  bool isRun = false;
  NSOperationQueue::mainQueue().addOperationWithBlock([&] { isRun = true; });
  for (const auto serve : {backend::Serve::OnlyPainting, backend::Serve::Person}) {
    for (int i = 0; i < 20; ++i) backend::serveWindows(serve);
    EXPECT_FALSE(isRun);
  }
  EXPECT_TRUE(NSRunLoop::mainRunLoop().runUntil([&] { return isRun; }, kLimit));
}

}  // namespace
}  // namespace tasklane::qt
