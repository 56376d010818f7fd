// Loaded into a program before it starts (LD_PRELOAD), so that a test can let it fail where it
// likes. From `main` on
// - each system call of the list below waits until the test, at the other end of the socket
// FAULTS_SOCKET, says what
//   becomes of it: the kernel hands the calls over (seccomp), which needs no right to trace and
//   misses none, raw calls and those inside of libraries included;
// - allocations are counted in the file FAULTS_ALLOCATIONS, two 64-bit numbers: how many there
// were, and the first and
//   the number of the one that fails.
// Programs that this one starts are handed over too, but allocate freely.
#include <dlfcn.h>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

struct Call {
  const char* name;
  int number;
};

// What has no meaning for files and cannot fail, or only frees, is left out.
// clang-format off
#define CALL(name) {#name, SYS_##name}
constexpr Call kCalls[] = {
#ifdef SYS_open  // processors with a history
    CALL(open), CALL(creat), CALL(rename), CALL(link), CALL(symlink), CALL(unlink), CALL(rmdir),
    CALL(mkdir), CALL(readlink), CALL(stat), CALL(lstat), CALL(access), CALL(chmod), CALL(chown),
    CALL(poll), CALL(select), CALL(epoll_wait), CALL(pipe), CALL(dup2), CALL(fork), CALL(vfork),
#endif
    CALL(openat), CALL(openat2), CALL(renameat), CALL(renameat2), CALL(linkat), CALL(symlinkat),
    CALL(unlinkat), CALL(mkdirat), CALL(readlinkat), CALL(newfstatat), CALL(fstat), CALL(statx),
    CALL(faccessat), CALL(faccessat2), CALL(fchmod), CALL(fchmodat), CALL(fchown), CALL(fchownat),
    CALL(utimensat), CALL(statfs), CALL(fstatfs), CALL(getdents64), CALL(getcwd), CALL(read),
    CALL(pread64), CALL(readv), CALL(write), CALL(pwrite64), CALL(writev), CALL(sendfile),
    CALL(copy_file_range), CALL(lseek), CALL(fsync), CALL(fdatasync), CALL(sync_file_range),
    CALL(syncfs), CALL(ftruncate), CALL(fallocate), CALL(flock), CALL(fcntl), CALL(dup), CALL(dup3), CALL(pipe2),
    CALL(mmap), CALL(msync), CALL(memfd_create), CALL(inotify_init1), CALL(inotify_add_watch),
    CALL(eventfd2), CALL(timerfd_create), CALL(timerfd_settime), CALL(signalfd4),
    CALL(epoll_create1), CALL(epoll_ctl), CALL(epoll_pwait), CALL(ppoll), CALL(pselect6),
    CALL(socket), CALL(socketpair), CALL(connect), CALL(bind), CALL(sendmsg), CALL(recvmsg),
    CALL(sendto), CALL(recvfrom), CALL(pidfd_open),
    CALL(getrandom), CALL(clone), CALL(clone3), CALL(execve), CALL(wait4), CALL(waitid),
    CALL(prlimit64), CALL(flistxattr), CALL(fgetxattr), CALL(fsetxattr),
};
// clang-format on

sock_filter statement(unsigned code, unsigned value) {
  return {static_cast<std::uint16_t>(code), 0, 0, value};
}

sock_filter jumpIfEqual(unsigned value, unsigned char yes, unsigned char no) {
  return {BPF_JMP | BPF_JEQ | BPF_K, yes, no, value};
}

/// The kernel's program: what is listed is handed over, but for anonymous memory and this end of
/// the socket.
std::vector<sock_filter> filterFor(int socket) {
  const auto load = [](std::size_t offset) {
    return statement(BPF_LD | BPF_W | BPF_ABS, static_cast<unsigned>(offset));
  };
  const auto argument = [](int index) { return offsetof(seccomp_data, args) + 8 * index; };
  const auto verdict = [](unsigned value) { return statement(BPF_RET | BPF_K, value); };
  std::vector<sock_filter> filter = {load(offsetof(seccomp_data, nr))};
  for (const Call& call : kCalls) {
    filter.push_back(jumpIfEqual(static_cast<unsigned>(call.number), 0, 4));
    const bool isMapping = call.number == SYS_mmap;
    const bool isMessage = call.number == SYS_sendmsg;
    filter.push_back(load(argument(isMapping ? 4 : 0)));
    filter.push_back(
        jumpIfEqual(isMapping ? ~0U : static_cast<unsigned>(isMessage ? socket : -2), 0, 1));
    filter.push_back(verdict(SECCOMP_RET_ALLOW));
    filter.push_back(verdict(SECCOMP_RET_USER_NOTIF));
  }
  filter.push_back(verdict(SECCOMP_RET_ALLOW));
  return filter;
}

[[noreturn]] void giveUp(const char* what) {
  std::perror(what);
  std::_Exit(125);
}

/// Sends the names and numbers of the calls, and the descriptor at which they are answered.
void handOver(int socket) {
  std::vector<sock_filter> filter = filterFor(socket);
  const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
  std::string names;
  for (const Call& call : kCalls)
    names += std::string(call.name) + "=" + std::to_string(call.number) + " ";
  ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
  const long listener =
      ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_NEW_LISTENER, &program);
  if (listener < 0) giveUp("faults: the system hands no calls over");
  const int descriptor = static_cast<int>(listener);
  iovec text{names.data(), names.size()};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof descriptor)] = {};
  msghdr message{};
  message.msg_iov = &text;
  message.msg_iovlen = 1;
  message.msg_control = control;
  message.msg_controllen = sizeof control;
  cmsghdr* const header = CMSG_FIRSTHDR(&message);
  header->cmsg_level = SOL_SOCKET;
  header->cmsg_type = SCM_RIGHTS;
  header->cmsg_len = CMSG_LEN(sizeof descriptor);
  std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
  if (::sendmsg(socket, &message, 0) < 0) giveUp("faults: the test does not listen");
  ::close(descriptor);
  ::close(socket);
}

struct Allocations {
  std::atomic<std::uint64_t> count;
  std::uint64_t failing;
};
std::atomic<Allocations*> allocations;

bool allocationFails() {
  Allocations* const counted = allocations.load(std::memory_order_relaxed);
  if (!counted || ++counted->count != counted->failing) return false;
  errno = ENOMEM;
  return true;
}

int (*programMain)(int, char**, char**);

int mainWithFaults(int argc, char** argv, char**) {
  const char* const socket = std::getenv("FAULTS_SOCKET");
  const char* const counted = std::getenv("FAULTS_ALLOCATIONS");
  for (const char* const name : {"LD_PRELOAD", "FAULTS_SOCKET", "FAULTS_ALLOCATIONS"})
    ::unsetenv(name);
  void* page = nullptr;
  if (counted) {
    const int file = ::open(counted, O_RDWR | O_CLOEXEC);
    page = ::mmap(nullptr, sizeof(Allocations), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (page == MAP_FAILED) giveUp("faults: cannot count allocations");
    ::close(file);
  }
  if (socket) handOver(std::atoi(socket));
  allocations = static_cast<Allocations*>(page);
  return programMain(argc, argv, environ);
}

}  // namespace

extern "C" {

void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): theirs are reserved names
void* malloc(std::size_t size) { return allocationFails() ? nullptr : __libc_malloc(size); }
void* calloc(std::size_t count, std::size_t size) {
  return allocationFails() ? nullptr : __libc_calloc(count, size);
}
void* realloc(void* old, std::size_t size) {
  return allocationFails() ? nullptr : __libc_realloc(old, size);
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return allocationFails() ? nullptr : __libc_memalign(alignment, size);
}
int posix_memalign(void** into, std::size_t alignment, std::size_t size) {
  void* const memory = aligned_alloc(alignment, size);
  if (!memory) return ENOMEM;
  *into = memory;
  return 0;
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)

int __libc_start_main(int (*main)(int, char**, char**), int argc, char** argv, void (*init)(),
                      void (*fini)(), void (*loaderFini)(), void* stackEnd) {
  using Start = int (*)(decltype(main), int, char**, void (*)(), void (*)(), void (*)(), void*);
  programMain = main;
  const auto start = reinterpret_cast<Start>(::dlsym(RTLD_NEXT, "__libc_start_main"));
  return start(&mainWithFaults, argc, argv, init, fini, loaderFini, stackEnd);
}
}
