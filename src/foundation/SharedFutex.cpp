#include "foundation/SharedFutex.h"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <ctime>

namespace tasklane {

bool SharedFutex::sleep(std::span<const Awaited> words, std::chrono::steady_clock::time_point until,
                        std::uint32_t bits) {
  const auto moment = until.time_since_epoch();
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(moment);
  const timespec limit{seconds.count(), std::chrono::nanoseconds(moment - seconds).count()};
  const timespec* const timeout = until == kNever ? nullptr : &limit;
  long woken = -1;
  if (words.size() == 1) {
    // The shorter way through the kernel.
    woken = syscall(SYS_futex, words[0].word, FUTEX_WAIT_BITSET, words[0].value, timeout, nullptr,
                    bits);
  } else {
    if (words.size() > kMostWords) return false;
    std::array<futex_waitv, kMostWords> waiters;
    for (std::size_t i = 0; i < words.size(); ++i) {
      waiters[i] = {.val = words[i].value,
                    .uaddr = reinterpret_cast<std::uintptr_t>(words[i].word),
                    .flags = FUTEX_32,
                    .__reserved = 0};
    }
    woken = syscall(SYS_futex_waitv, waiters.data(), words.size(), 0, timeout, CLOCK_MONOTONIC);
  }
  // EFAULT: a mapped file was cut short, which the caller sees when it looks at the contents.
  return woken >= 0 || errno == EAGAIN || errno == EINTR || errno == ETIMEDOUT || errno == EFAULT;
}

void SharedFutex::wake(Word& word, std::uint32_t bits) {
  syscall(SYS_futex, &word, FUTEX_WAKE_BITSET, INT_MAX, nullptr, nullptr, bits);
}

}  // namespace tasklane
