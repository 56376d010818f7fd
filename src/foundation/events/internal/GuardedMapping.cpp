#include "foundation/events/internal/GuardedMapping.h"

#include <signal.h>
#include <sys/mman.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>

namespace tasklane {
namespace {

/// What the signal handler looks through: no locks, no memory of its own.
struct Range {
  std::atomic<std::uintptr_t> begin = 0;
  std::atomic<std::size_t> size = 0;
};
std::array<Range, 256> ranges;
struct sigaction previousAction;

void mapZeros(int signal, siginfo_t* info, void*) {
  const int savedErrno = errno;
  const auto address = reinterpret_cast<std::uintptr_t>(info->si_addr);
  for (const Range& range : ranges) {
    const std::uintptr_t begin = range.begin.load();
    const std::size_t size = range.size.load();
    if (begin == 0 || address < begin || address - begin >= size) continue;
    if (mmap(reinterpret_cast<void*>(begin), size, PROT_READ | PROT_WRITE,
             MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) != MAP_FAILED) {
      errno = savedErrno;
      return;
    }
  }
  // Not ours: the fault happens again, under whatever was set before.
  sigaction(signal, &previousAction, nullptr);
  errno = savedErrno;
}

bool installHandler() {
  struct sigaction action {};
  action.sa_sigaction = mapZeros;
  action.sa_flags = SA_SIGINFO | SA_RESTART;
  return sigaction(SIGBUS, &action, &previousAction) == 0;
}

int protect(void* data, std::size_t size) {
  [[maybe_unused]] static const bool installed = installHandler();
  for (std::size_t slot = 0; slot < ranges.size(); ++slot) {
    std::uintptr_t none = 0;
    if (ranges[slot].begin.compare_exchange_strong(none, reinterpret_cast<std::uintptr_t>(data))) {
      ranges[slot].size.store(size);
      return static_cast<int>(slot);
    }
  }
  return -1;
}

}  // namespace

GuardedMapping::GuardedMapping(int file, std::size_t size)
    : data_(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0)),
      size_(size),
      slot_(-1) {
  if (data_ == MAP_FAILED) {
    data_ = nullptr;
  } else {
    slot_ = protect(data_, size_);
  }
}

GuardedMapping::~GuardedMapping() {
  if (!data_) return;
  if (slot_ >= 0) {
    Range& range = ranges[static_cast<std::size_t>(slot_)];
    range.size.store(0);
    range.begin.store(0);
  }
  munmap(data_, size_);
}

}  // namespace tasklane
