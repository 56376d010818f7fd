#include "foundation/images/decoding/Confinement.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <thread>
#include <vector>

namespace tasklane {
namespace {

constexpr DecodingLimits kLimits{32 << 20, 2, 1 << 20};

/// How a confined process that does something ends: its exit status, or 1000 and a signal.
int endOf(const std::function<int()>& work, const std::vector<int>& descriptors = {}) {
  const pid_t child = ::fork();
  if (child == 0) {
    if (!confineProcess(descriptors, kLimits).ok()) ::_exit(99);
    ::_exit(work());
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

TEST(Confinement, NothingOfTheWorldCanBeReached) {
  const int folder = ::open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const pid_t self = ::getpid();
  struct Case {
    const char* what;
    std::function<long()> call;
  };
  struct stat status {};
  char text[] = "/bin/true";
  char* arguments[] = {text, nullptr};
  const Case cases[] = {
      {"open", [] { return ::open("/etc/passwd", O_RDONLY); }},
      {"openat of a descriptor that was open", [=] { return ::openat(folder, "etc", O_RDONLY); }},
      {"stat", [&] { return ::stat("/etc/passwd", &status); }},
      {"unlink", [] { return ::unlink("/tmp/none"); }},
      {"socket", [] { return ::socket(AF_INET, SOCK_STREAM, 0); }},
      {"socketpair", [] { return ::syscall(SYS_socketpair, AF_UNIX, SOCK_STREAM, 0, nullptr); }},
      {"execve", [&] { return ::execve(text, arguments, nullptr); }},
      {"fork", [] { return ::syscall(SYS_fork); }},
      {"clone of a process", [] { return ::syscall(SYS_clone, SIGCHLD, 0, 0, 0, 0); }},
      {"kill", [=] { return ::kill(self, 0); }},
      {"ptrace", [=] { return ::ptrace(PTRACE_ATTACH, self, nullptr, nullptr); }},
      {"memfd_create", [] { return ::memfd_create("m", 0); }},
      {"ioctl", [] { return ::syscall(SYS_ioctl, 0, 0x5412, "x"); }},
      {"a larger limit", [] { return ::syscall(SYS_prlimit64, 0, RLIMIT_DATA, nullptr, nullptr); }},
      {"executable memory",
       [] {
         return ::mmap(nullptr, 4096, PROT_READ | PROT_EXEC, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0) ==
                        MAP_FAILED
                    ? -1
                    : 0;
       }},
      {"memory that is not counted",
       [] {
         return ::mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0) ==
                        MAP_FAILED
                    ? -1
                    : 0;
       }},
  };
  for (const Case& each : cases)
    EXPECT_EQ(0, endOf([&] { return each.call() == -1 ? 0 : 1; })) << each.what;
  EXPECT_EQ(0, endOf([=] { return ::fcntl(folder, F_GETFD) == -1 ? 0 : 1; }))
      << "other descriptors";
  ::close(folder);
}

TEST(Confinement, WhatDecodingNeedsIsLeft) {
  int ends[2];
  ASSERT_EQ(0, ::pipe2(ends, O_CLOEXEC));
  EXPECT_EQ(0, endOf(
                   [&] {
                     std::atomic<int> sum = 0;
                     std::thread thread([&] { sum += 1; });
                     std::vector<char> memory(8 << 20, 'x');
                     thread.join();
                     try {
                       throw std::runtime_error("caught");
                     } catch (const std::exception&) {
                       sum += memory[1000] == 'x';
                     }
                     return ::write(ends[1], "ok", 2) == 2 && sum == 2 ? 0 : 1;
                   },
                   {ends[1]}));
  char text[2] = {};
  EXPECT_EQ(2, ::read(ends[0], text, sizeof text));
  ::close(ends[0]);
  ::close(ends[1]);
}

TEST(Confinement, MemoryTimeAndFilesHaveAnEnd) {
#ifndef TASKLANE_SANITIZED
  EXPECT_EQ(0, endOf([] {
              std::vector<void*> taken;
              for (int i = 0; i < 64; ++i) {
                taken.push_back(std::malloc(1 << 20));
                if (taken.back() == nullptr) return i > 16 ? 0 : 2;
              }
              return 1;
            }));
#endif
  EXPECT_EQ(1000 + SIGXCPU, endOf([] {
              for (;;) asm volatile("");
              return 0;
            }));
  EXPECT_EQ(1000 + SIGPROF, endOf([] {
              allowProcessorTime(std::chrono::milliseconds(100));
              for (;;) asm volatile("");
              return 0;
            }));
  std::FILE* file = std::tmpfile();
  const int descriptor = ::fileno(file);
  EXPECT_EQ(0, endOf(
                   [=] {
                     return ::ftruncate(descriptor, 2 << 20) == -1 && errno == EFBIG &&
                                    ::pwrite(descriptor, "x", 1, 2 << 20) == -1
                                ? 0
                                : 1;
                   },
                   {descriptor}));
  std::fclose(file);
}

}  // namespace
}  // namespace tasklane
