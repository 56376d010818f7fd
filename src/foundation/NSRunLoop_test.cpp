#include "foundation/NSRunLoop.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <ctime>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "foundation/FileDescriptor.h"
#include "foundation/NSOperationQueue.h"
#include "foundation/NotificationTesting.h"

namespace tasklane {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;

constexpr milliseconds kLimit{10'000};

NSRunLoop& loop() { return NSRunLoop::mainRunLoop(); }

/// The loop waits in other ways as soon as the program listens to posts: to so many names.
class NSRunLoopTest : public ::testing::TestWithParam<int> {
 protected:
  static void SetUpTestSuite() { testing::makeCounterFolder(); }
  static void TearDownTestSuite() { testing::removeCounterFolder(); }
  NSRunLoopTest() {
    for (int i = 0; i < GetParam(); ++i) {
      listeners_.push_back(std::make_unique<testing::Listener>("loop " + std::to_string(i)));
    }
  }

 private:
  std::vector<std::unique_ptr<testing::Listener>> listeners_;
};
INSTANTIATE_TEST_SUITE_P(Names, NSRunLoopTest, ::testing::Values(0, 1, 2));

double processorMilliseconds() {
  timespec used{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) / 1e6;
}

TEST_P(NSRunLoopTest, TakesNoTimeWhileItWaits) {
  int fired = 0;
  const auto before = processorMilliseconds();
  const auto timer = loop().addTimer(milliseconds(100), [&] { ++fired; });
  EXPECT_TRUE(loop().runUntil([&] { return fired == 1; }, kLimit));
  EXPECT_LT(processorMilliseconds() - before, 50);
}

TEST_P(NSRunLoopTest, WakesForEachBlockOfAnotherThread) {
  constexpr int kBlocks = 1000;
  std::atomic<int> run = 0;
  std::thread worker([&] {
    for (int i = 0; i < kBlocks; ++i) {
      NSOperationQueue::mainQueue().addOperationWithBlock([&] {
        ++run;
        run.notify_one();
      });
      run.wait(i);  // so that the loop is on its way to sleep
    }
  });
  EXPECT_TRUE(loop().runUntil([&] { return run == kBlocks; }, kLimit));
  worker.join();
}

TEST_P(NSRunLoopTest, RunsBlocksOfAnyThreadInOrder) {
  std::vector<int> order;
  std::thread worker([&] {
    for (int i = 0; i < 100; ++i) {
      NSOperationQueue::mainQueue().addOperationWithBlock([&order, i] { order.push_back(i); });
    }
  });
  EXPECT_TRUE(loop().runUntil([&] { return order.size() == 100; }, kLimit));
  worker.join();
  EXPECT_TRUE(std::is_sorted(order.begin(), order.end()));

  order.clear();
  NSOperationQueue::mainQueue().addOperationWithBlock([&] {
    order.push_back(1);
    NSOperationQueue::mainQueue().addOperationWithBlock([&] { order.push_back(4); });
    EXPECT_TRUE(loop().runUntil([&] { return order.size() >= 2; }, kLimit))
        << "runs inside a block";
    order.push_back(3);
  });
  NSOperationQueue::mainQueue().addOperationWithBlock([&] { order.push_back(2); });
  NSOperationQueue::mainQueue().runPending();
  EXPECT_THAT(order, ::testing::UnorderedElementsAre(1, 2, 3, 4));
}

/// Nobody is woken for them: the queue was not empty when they came.
TEST_P(NSRunLoopTest, RunsBlocksThatBlocksHaveAddedBehindOthers) {
  auto& queue = NSOperationQueue::mainQueue();
  std::string order;
  queue.addOperationWithBlock([&] {
    order += '1';
    queue.addOperationWithBlock([&] { order += '3'; });
  });
  queue.addOperationWithBlock([&] { order += '2'; });
  const auto start = std::chrono::steady_clock::now();
  EXPECT_TRUE(loop().runUntil([&] { return order.size() == 3; }, kLimit));
  EXPECT_EQ(order, "123");
  EXPECT_LT(std::chrono::steady_clock::now() - start, kLimit) << "found only when the wait ended";
}

TEST_P(NSRunLoopTest, TimersFireOnceSoonestFirstUnlessCancelled) {
  std::vector<int> order;
  auto late = loop().addTimer(milliseconds(20), [&] { order.push_back(20); });
  auto cancelled = loop().addTimer(milliseconds(2), [&] { order.push_back(2); });
  std::shared_ptr<NSRunLoop::Source> soon;
  soon = loop().addTimer(milliseconds(1), [&] {
    order.push_back(1);
    cancelled.reset();
    soon.reset();
  });
  EXPECT_FALSE(loop().runUntil([] { return false; }, milliseconds(40)));
  EXPECT_THAT(order, ElementsAre(1, 20));
}

TEST_P(NSRunLoopTest, WatchesDescriptorsUntilTheSourceEnds) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const FileDescriptor reading(ends[0]);
  const FileDescriptor writing(ends[1]);
  int calls = 0;
  std::shared_ptr<NSRunLoop::Source> source;
  source = loop().addDescriptor(reading.get(), [&] {
    char byte;
    EXPECT_EQ(read(reading.get(), &byte, 1), 1);
    if (++calls == 2) source.reset();
  });
  ASSERT_EQ(write(writing.get(), "abc", 3), 3);
  EXPECT_TRUE(loop().runUntil([&] { return calls == 2; }, kLimit));
  loop().dispatch();
  EXPECT_EQ(calls, 2) << "one byte is still there, but nobody asks any more";
}

TEST_P(NSRunLoopTest, StopEndsTheInnermostRunAndAWaiterReplacesPoll) {
  int waits = 0;
  loop().setWaiter([&](milliseconds atMost) {
    EXPECT_GT(atMost.count(), 0);
    if (++waits == 3) loop().stop();
  });
  loop().stop();  // nothing runs: no effect on what comes
  loop().run();
  EXPECT_EQ(waits, 3);
  loop().setWaiter({});
}

}  // namespace
}  // namespace tasklane
