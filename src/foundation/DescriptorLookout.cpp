#include "foundation/DescriptorLookout.h"

#include <poll.h>
#include <pthread.h>

#include <csignal>
#include <system_error>
#include <thread>
#include <utility>

namespace tasklane {

std::unique_ptr<DescriptorLookout> DescriptorLookout::start(int fileDescriptor,
                                                            std::function<void()> onReadable) {
  auto state = std::make_shared<State>();
  state->fileDescriptor = fileDescriptor;
  state->onReadable = std::move(onReadable);
  // A signal that the program waits for must not end up in a thread that does not expect it. What
  // the thread itself brings about is its own: blocked, it would end the program unhandled.
  sigset_t others;
  sigset_t before;
  sigfillset(&others);
  for (const int own : {SIGBUS, SIGSEGV, SIGFPE, SIGILL}) sigdelset(&others, own);
  pthread_sigmask(SIG_SETMASK, &others, &before);
  bool started = true;
  try {
    std::thread([state] { run(*state); }).detach();
  } catch (const std::system_error&) {
    started = false;
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (!started) return nullptr;
  return std::unique_ptr<DescriptorLookout>(new DescriptorLookout(std::move(state)));
}

void DescriptorLookout::resume() {
  if (state_->stage.load() == Stage::Waiting) return;
  state_->stage.store(Stage::Waiting);
  state_->stage.notify_one();
}

void DescriptorLookout::run(State& state) {
  for (;;) {
    state.stage.wait(Stage::Found);
    pollfd watched{state.fileDescriptor, POLLIN, 0};
    if (poll(&watched, 1, -1) < 0) continue;
    state.stage.store(Stage::Found);
    state.onReadable();
  }
}

}  // namespace tasklane
