#include "foundation/events/NSOperationQueue.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

#include "foundation/base/FileSystem.h"
#include "foundation/base/NSLog.h"

namespace tasklane {

NSOperationQueue::NSOperationQueue() : wakeUp_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)) {
  if (wakeUp_ < 0)
    NSLog(stringWithFormat("cannot make the main queue: %@", {std::strerror(errno)}));
}

NSOperationQueue& NSOperationQueue::mainQueue() {
  // Never destroyed: threads may still add to it while the process ends.
  static NSOperationQueue* const queue =
      std::unique_ptr<NSOperationQueue>(new NSOperationQueue).release();
  return *queue;
}

void NSOperationQueue::addOperationWithBlock(std::function<void()> block) {
  const std::lock_guard lock(mutex_);
  blocks_.push_back(std::move(block));
  ++added_;
  if (blocks_.size() == 1) {
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written =
        uninterrupted([&] { return write(wakeUp_, &one, sizeof one); });
  }
}

bool NSOperationQueue::empty() const {
  const std::lock_guard lock(mutex_);
  return blocks_.empty();
}

void NSOperationQueue::runPending() {
  std::unique_lock lock(mutex_);
  const std::uint64_t last = added_;
  // Taken one by one, so that a block that runs the loop itself does not overtake those behind it.
  while (!blocks_.empty() && added_ - blocks_.size() < last) {
    const std::function<void()> block = std::move(blocks_.front());
    blocks_.pop_front();
    if (blocks_.empty()) {
      std::uint64_t count = 0;
      [[maybe_unused]] const ssize_t taken =
          uninterrupted([&] { return read(wakeUp_, &count, sizeof count); });
    }
    lock.unlock();
    if (block) block();
    lock.lock();
  }
}

}  // namespace tasklane
