#include "foundation/images/decoding/StripPipeline.h"

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace tasklane {

namespace {

constexpr std::uint32_t kSlots = 4;

class StripPipeline {
 public:
  explicit StripPipeline(StripProducer& producer)
      : producer_(producer),
        count_(producer.layout().strips()),
        slots_(kSlots, Strip(producer.layout())) {}

  Result<void> run(const std::function<Result<void>(const Strip&)>& consume) {
    std::thread decoder([this] { decode(); });
    for (std::uint32_t index = 0; index < count_; ++index) {
      if (!waitForFilled(index)) break;
      auto consumed = consume(slots_[index % kSlots]);
      const std::lock_guard lock(mutex_);
      if (!consumed && !failure_) failure_ = consumed.error();
      consumed_ = index + 1;
      changed_.notify_all();
      if (failure_) break;
    }
    decoder.join();
    if (failure_) return *failure_;
    return {};
  }

 private:
  void decode() {
    for (std::uint32_t index = 0; index < count_; ++index) {
      {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return failure_ || index - consumed_ < kSlots; });
        if (failure_) return;
      }
      auto filled = guarded([&] { return producer_.fill(slots_[index % kSlots]); });
      const std::lock_guard lock(mutex_);
      if (!filled && !failure_) failure_ = filled.error();
      filled_ = index + 1;
      changed_.notify_all();
      if (failure_) return;
    }
    auto finished = guarded([&] { return producer_.finish(); });
    const std::lock_guard lock(mutex_);
    if (!finished && !failure_) failure_ = finished.error();
  }

  template <class Work>
  static Result<void> guarded(Work work) {
    try {
      return work();
    } catch (const std::exception& exception) {
      return NSError{NSError::Kind::Io,
                     std::string("cannot decode a picture: ") + exception.what()};
    }
  }

  bool waitForFilled(std::uint32_t index) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return failure_ || filled_ > index; });
    return !failure_;
  }

  StripProducer& producer_;
  const std::uint32_t count_;
  std::vector<Strip> slots_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::uint32_t filled_ = 0;
  std::uint32_t consumed_ = 0;
  std::optional<NSError> failure_;
};

}  // namespace

Result<void> runStripPipeline(StripProducer& producer,
                              const std::function<Result<void>(const Strip&)>& consume) {
  try {
    return StripPipeline(producer).run(consume);
  } catch (const std::exception& exception) {
    return NSError{NSError::Kind::Io, std::string("cannot start decoding: ") + exception.what()};
  }
}

}  // namespace tasklane
