#include "foundation/events/NSRunLoop.h"

#include <gmock/gmock.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "foundation/base/FileDescriptor.h"
#include "foundation/events/NSOperationQueue.h"
#include "foundation/events/internal/NotificationTesting.h"

namespace tasklane {
namespace {

using std::chrono::milliseconds;
using ::testing::ElementsAre;

constexpr milliseconds kLimit{60'000};

NSRunLoop& loop() { return NSRunLoop::mainRunLoop(); }

/// Who waits: the loop itself, without and with something that posts come to, or a toolkit's loop
/// that watches the descriptor.
enum class Waiting { Alone, AsListener, InAnotherLoop };

void PrintTo(Waiting way, std::ostream* out) {
  constexpr const char* kNames[] = {"Alone", "AsListener", "InAnotherLoop"};
  *out << kNames[static_cast<std::size_t>(way)];
}

class NSRunLoopTest : public ::testing::TestWithParam<Waiting> {
 protected:
  NSRunLoopTest() {
    if (GetParam() == Waiting::Alone) return;
    listener_ = std::make_unique<testing::Listener>("loop", [this] { ++posts_; });
    if (GetParam() == Waiting::AsListener) return;
    loop().setWaiter([](milliseconds atMost) {
      pollfd set{loop().fileDescriptor(), POLLIN, 0};
      poll(&set, 1, static_cast<int>(atMost.count()));
    });
  }
  ~NSRunLoopTest() override { loop().setWaiter({}); }

  int posts_ = 0;

 private:
  std::unique_ptr<testing::Listener> listener_;
};
INSTANTIATE_TEST_SUITE_P(Ways, NSRunLoopTest,
                         ::testing::Values(Waiting::Alone, Waiting::AsListener,
                                           Waiting::InAnotherLoop));

/// Bytes that are read one at a time, so that being called without cause blocks.
class Pipe {
 public:
  explicit Pipe(std::function<void()> onByte) : onByte_(std::move(onByte)) {
    int ends[2];
    if (pipe(ends) != 0) std::abort();
    reading_ = FileDescriptor(ends[0]);
    writing_ = FileDescriptor(ends[1]);
    source_ = loop().addDescriptor(reading_.get(), [this] {
      char byte;
      EXPECT_EQ(read(reading_.get(), &byte, 1), 1);
      onByte_();
    });
  }
  void write(std::string_view bytes) const {
    EXPECT_EQ(::write(writing_.get(), bytes.data(), bytes.size()), std::ssize(bytes));
  }
  void stopWatching() { source_.reset(); }

 private:
  std::function<void()> onByte_;
  FileDescriptor reading_;
  FileDescriptor writing_;
  std::shared_ptr<NSRunLoop::Source> source_;
};

/// Runs until the condition holds; false when it was found to only as the limit passed, because
/// nothing had ended the wait.
bool wakesUntil(const std::function<bool()>& condition) {
  const auto start = std::chrono::steady_clock::now();
  return loop().runUntil(condition, kLimit) && std::chrono::steady_clock::now() - start < kLimit;
}

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
  EXPECT_TRUE(wakesUntil([&] { return order.size() == 3; }));
  EXPECT_EQ(order, "123");
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
  int calls = 0;
  std::unique_ptr<Pipe> bytes;
  bytes = std::make_unique<Pipe>([&] {
    if (++calls == 2) bytes->stopWatching();
  });
  bytes->write("abc");
  EXPECT_TRUE(wakesUntil([&] { return calls == 2; }));
  loop().dispatch();
  EXPECT_EQ(calls, 2) << "one byte is still there, but nobody asks any more";
}

/// What the outer loop had found readable, the inner one has dealt with.
TEST_P(NSRunLoopTest, ALoopInsideACallbackLeavesNothingStaleBehind) {
  int calls = 0;
  std::vector<std::unique_ptr<Pipe>> pipes;
  for (int i = 0; i < 2; ++i) {
    pipes.push_back(std::make_unique<Pipe>([&] {
      if (++calls == 1) {
        EXPECT_TRUE(wakesUntil([&] { return calls == 2; }));
      }
    }));
  }
  for (const auto& pipe : pipes) pipe->write("a");
  EXPECT_TRUE(wakesUntil([&] { return calls == 2; }));
  EXPECT_FALSE(loop().runUntil([] { return false; }, milliseconds(1)));
}

TEST_P(NSRunLoopTest, StopEndsTheInnermostRunThatIsUnderWay) {
  auto& queue = NSOperationQueue::mainQueue();
  loop().stop();  // nothing runs: no effect on what comes
  std::string order;
  queue.addOperationWithBlock([&] {
    loop().stop();  // of the outer run, which an inner one does not make forgotten
    EXPECT_FALSE(loop().runUntil([] { return false; }, milliseconds(1)));
    order += "inner limit,";
    queue.addOperationWithBlock([] { loop().stop(); });
    loop().run();
    order += "inner stop,";
  });
  loop().run();
  EXPECT_EQ(order, "inner limit,inner stop,");
}

TEST_P(NSRunLoopTest, AnyThreadMakesItLookAgain) {
  constexpr int kRounds = 300;
  std::atomic<int> turn = 0;
  std::thread waker([&] {
    for (int i = 1; i <= kRounds; ++i) {
      turn = i;
      NSOperationQueue::mainQueue().addOperationWithBlock([] {});
      turn.wait(i);
    }
  });
  for (int i = 1; i <= kRounds; ++i) {
    ASSERT_TRUE(wakesUntil([&] { return turn == i; })) << "in round " << i;
    turn = -i;
    turn.notify_one();
  }
  waker.join();
}

/// Everything that ends a wait at once, from other threads and from inside one another. Whatever is
/// forgotten stays undone, because its thread waits for it. A loop inside a callback waits for
/// nothing that the callback itself, or one further out, has still to do.
TEST_P(NSRunLoopTest, ForgetsNothingHoweverItComes) {
  constexpr int kEach = 400;
  auto& queue = NSOperationQueue::mainQueue();
  std::atomic<int> blocks = 0;
  std::atomic<int> bytes = 0;
  int timers = 0;
  int depth = 0;
  std::vector<std::shared_ptr<NSRunLoop::Source>> kept;
  const auto tell = [](std::atomic<int>& count) {
    ++count;
    count.notify_one();
  };
  const auto nest = [&](const std::function<bool()>& condition) {
    if (depth == 3) return;
    ++depth;
    EXPECT_TRUE(loop().runUntil(condition, kLimit));
    --depth;
  };
  Pipe pipe([&] {
    const int now = ++bytes;
    bytes.notify_one();
    if (now % 7 == 0)
      nest([&, before = blocks.load()] { return blocks > before || blocks == 2 * kEach; });
  });
  std::thread adder([&] {
    for (int i = 0; i < kEach; ++i) {
      queue.addOperationWithBlock([&, i] {
        queue.addOperationWithBlock([&, i] {
          tell(blocks);
          if (i % 5 == 0) {
            kept.push_back(loop().addTimer(milliseconds(i % 2), [&] { ++timers; }));
            nest([&, before = timers] { return timers > before; });
          }
        });
        tell(blocks);
      });
      blocks.wait(2 * i);
    }
  });
  std::thread writer([&] {
    for (int i = 0; i < kEach; ++i) {
      pipe.write("x");
      if (i % 3 == 0) NSOperationQueue::mainQueue().addOperationWithBlock([] {});
      bytes.wait(i);
    }
  });
  std::thread poster([&] {
    for (int i = 0; i < kEach; ++i) testing::center().postNotification("loop");
  });
  const int posts = GetParam() == Waiting::Alone ? 0 : kEach;
  EXPECT_TRUE(wakesUntil([&] {
    return blocks == 2 * kEach && bytes == kEach && timers == kEach / 5 && posts_ == posts;
  })) << blocks
      << " blocks, " << bytes << " bytes, " << timers << " timers, " << posts_ << " posts";
  adder.join();
  writer.join();
  poster.join();
}

}  // namespace
}  // namespace tasklane
