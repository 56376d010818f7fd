#include "foundation/events/Interruption.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>

namespace tasklane {

namespace {

std::atomic<bool> g_happened = false;
std::atomic<int> g_descriptor = -1;
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free,
              "a signal handler may use no other");

void note(int) {
  const int error = errno;
  g_happened = true;
  const std::uint64_t one = 1;
  // A full counter is readable as well.
  [[maybe_unused]] const ssize_t written = ::write(g_descriptor, &one, sizeof one);
  errno = error;
}

}  // namespace

void Interruption::startNoting() {
  if (g_descriptor >= 0) return;
  g_descriptor = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (g_descriptor < 0) return;
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    struct sigaction action = {};
    if (::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) continue;
    action = {};
    action.sa_handler = note;
    action.sa_flags = SA_RESTART;
    ::sigaction(signal, &action, nullptr);
  }
}

bool Interruption::happened() { return g_happened; }

void Interruption::request() { note(0); }

int Interruption::descriptor() { return g_descriptor; }

}  // namespace tasklane
