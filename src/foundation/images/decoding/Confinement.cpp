#include "foundation/images/decoding/Confinement.h"

#include <fcntl.h>
#include <malloc.h>
#include <pthread.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <initializer_list>
#include <memory>

#include <seccomp.h>

namespace tasklane {

namespace {

#ifdef TASKLANE_SANITIZED
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

constexpr std::size_t kThreadStack = 1024 * 1024;

NSError cannotConfine(int errnoValue) {
  NSError error =
      NSError::fromErrno(errnoValue, "this system cannot confine picture decoders, so none is run");
  error.kind = NSError::Kind::Io;
  return error;
}

/// All but the standard ones and those given.
void closeOthers(std::vector<int> kept) {
  std::sort(kept.begin(), kept.end());
  int first = STDERR_FILENO + 1;
  for (const int descriptor : kept) {
    if (descriptor > first)
      ::close_range(static_cast<unsigned int>(first), static_cast<unsigned int>(descriptor - 1), 0);
    first = std::max(first, descriptor + 1);
  }
  ::close_range(static_cast<unsigned int>(first), ~0u, 0);
}

/// Private memory that can be written to, which is what RLIMIT_DATA counts, in bytes.
std::uint64_t dataSize() {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen("/proc/self/statm", "re"),
                                                             std::fclose);
  unsigned long long pages = 0;
  if (!file || std::fscanf(file.get(), "%*u %*u %*u %*u %*u %llu", &pages) != 1) return 0;
  return pages * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

bool limit(int resource, std::uint64_t value, std::uint64_t grace = 0) {
  const rlimit both{value, value + grace};
  return ::setrlimit(static_cast<__rlimit_resource_t>(resource), &both) == 0;
}

Result<void> setLimits(const DecodingLimits& limits) {
  // One heap for all threads, and small stacks: what is reserved counts, used or not.
  ::mallopt(M_ARENA_MAX, 1);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, kThreadStack);
  if (!kSanitized) pthread_setattr_default_np(&attributes);
  pthread_attr_destroy(&attributes);
  // A file that grows too large is an error of the write, not the end of the process.
  ::signal(SIGXFSZ, SIG_IGN);
  // Whoever started this may have had it ignored.
  ::signal(SIGPROF, SIG_DFL);
  // Nothing of a photo is left in a memory dump.
  if (!limit(RLIMIT_CORE, 0) || !limit(RLIMIT_FSIZE, limits.file) ||
      !limit(RLIMIT_CPU, limits.seconds, 1) ||
      (!kSanitized && !limit(RLIMIT_DATA, dataSize() + limits.memory)))
    return cannotConfine(errno);
  return {};
}

struct ReleaseFilter {
  void operator()(void* filter) const { seccomp_release(filter); }
};
using Filter = std::unique_ptr<void, ReleaseFilter>;

/// That a call's argument has just these of the mask's bits.
constexpr scmp_arg_cmp bits(unsigned int argument, std::uint64_t mask, std::uint64_t set) {
  return {argument, SCMP_CMP_MASKED_EQ, mask, set};
}

int allow(scmp_filter_ctx filter, int call, std::initializer_list<scmp_arg_cmp> conditions = {}) {
  return seccomp_rule_add_array(filter, SCMP_ACT_ALLOW, call,
                                static_cast<unsigned int>(conditions.size()), conditions.begin());
}

/// Memory of its own, or a file that it has: never executable, never shared without a file (which
/// no limit would count).
int allowMapping(scmp_filter_ctx filter) {
  constexpr std::uint64_t kType = MAP_PRIVATE | MAP_SHARED;
  const scmp_arg_cmp notExecutable = bits(2, PROT_EXEC, 0);
  int failure = allow(filter, SCMP_SYS(mmap), {notExecutable, bits(3, kType, MAP_PRIVATE)});
  if (failure == 0)
    failure =
        allow(filter, SCMP_SYS(mmap), {notExecutable, bits(3, kType | MAP_ANONYMOUS, MAP_SHARED)});
  if (failure == 0) failure = allow(filter, SCMP_SYS(mprotect), {notExecutable});
  return failure;
}

int allowThreads(scmp_filter_ctx filter) {
  constexpr std::uint64_t kThread = CLONE_THREAD | CLONE_VM;
  const int failure = allow(filter, SCMP_SYS(clone), {bits(0, kThread, kThread)});
  // What it is asked for lies in memory, where no filter looks; the library knows the older one
  // too.
  return failure != 0 ? failure
                      : seccomp_rule_add(filter, SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(clone3), 0);
}

/// Everything else is refused with EPERM and not by the end of the process: a library that looks
/// for a file of its own in vain goes on.
Result<void> installFilter() {
  const Filter filter(seccomp_init(SCMP_ACT_ERRNO(EPERM)));
  if (!filter) return cannotConfine(ENOMEM);
  const int allowed[] = {
      SCMP_SYS(read),          SCMP_SYS(pread64),
      SCMP_SYS(write),         SCMP_SYS(pwrite64),
      SCMP_SYS(lseek),         SCMP_SYS(ftruncate),
      SCMP_SYS(fallocate),     SCMP_SYS(close),
      SCMP_SYS(munmap),        SCMP_SYS(mremap),
      SCMP_SYS(madvise),       SCMP_SYS(brk),
      SCMP_SYS(futex),         SCMP_SYS(set_robust_list),
      SCMP_SYS(rseq),          SCMP_SYS(rt_sigprocmask),
      SCMP_SYS(rt_sigaction),  SCMP_SYS(rt_sigreturn),
      SCMP_SYS(sigaltstack),   SCMP_SYS(sched_yield),
      SCMP_SYS(gettid),        SCMP_SYS(getpid),
      SCMP_SYS(clock_gettime), SCMP_SYS(gettimeofday),
      SCMP_SYS(getrandom),     SCMP_SYS(exit),
      SCMP_SYS(exit_group),    SCMP_SYS(restart_syscall),
      SCMP_SYS(setitimer),
  };
  for (const int call : allowed) {
    if (const int failure = allow(filter.get(), call); failure != 0) return cannotConfine(-failure);
  }
  // The sanitisers try through a pipe whether memory can be read, and look at their threads.
  if (kSanitized &&
      (allow(filter.get(), SCMP_SYS(sched_getaffinity)) != 0 ||
       allow(filter.get(), SCMP_SYS(pipe)) != 0 || allow(filter.get(), SCMP_SYS(pipe2)) != 0))
    return cannotConfine(EINVAL);
  if (const int failure = allowMapping(filter.get()); failure != 0) return cannotConfine(-failure);
  if (const int failure = allowThreads(filter.get()); failure != 0) return cannotConfine(-failure);
  // Loading it gives up new privileges, too.
  if (const int failure = seccomp_load(filter.get()); failure != 0) return cannotConfine(-failure);
  return {};
}

}  // namespace

Result<void> confineProcess(const std::vector<int>& descriptors, const DecodingLimits& limits) {
  const int nowhere = ::open("/dev/null", O_RDWR | O_CLOEXEC);
  if (nowhere < 0) return cannotConfine(errno);
  for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    if (!kSanitized || standard != STDERR_FILENO) ::dup2(nowhere, standard);
  closeOthers(descriptors);
  if (auto limited = setLimits(limits); !limited) return limited;
  return installFilter();
}

void allowProcessorTime(std::chrono::milliseconds time) {
  const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(time);
  const std::chrono::microseconds rest = time - seconds;
  const itimerval once{{}, {seconds.count(), rest.count()}};
  ::setitimer(ITIMER_PROF, &once, nullptr);
}

}  // namespace tasklane
