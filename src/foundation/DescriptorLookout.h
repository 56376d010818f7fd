#pragma once

#include <atomic>
#include <functional>
#include <memory>

namespace tasklane {

/// A thread that waits for a descriptor while the main thread sleeps on something else.
///
/// It reports once and then rests until resume(). There is no way to end it: it sleeps until the
/// process ends, with the signals of others blocked, and never touches what the descriptor carries.
class DescriptorLookout {
 public:
  /// None when the system grants no thread. The descriptor stays open as long as the process lives.
  static std::unique_ptr<DescriptorLookout> start(int fileDescriptor,
                                                  std::function<void()> onReadable);

  /// Asks to be told again, also of what is readable already. One thread.
  void resume();

 private:
  enum class Stage : int { Waiting, Found };
  struct State {
    int fileDescriptor = -1;
    std::function<void()> onReadable;
    std::atomic<Stage> stage = Stage::Found;
  };
  explicit DescriptorLookout(std::shared_ptr<State> state) : state_(std::move(state)) {}
  static void run(State& state);

  std::shared_ptr<State> state_;
};

}  // namespace tasklane
