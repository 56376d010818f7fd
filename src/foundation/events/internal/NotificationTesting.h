#pragma once

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "foundation/base/FileDescriptor.h"
#include "foundation/events/CFNotificationCenter.h"
#include "foundation/events/NSRunLoop.h"

namespace tasklane::testing {

constexpr std::chrono::milliseconds kLimit{60'000};

inline CFNotificationCenter& center() { return CFNotificationCenterGetDarwinNotifyCenter(); }

/// Counts what it hears under one name, and may do something each time.
class Listener {
 public:
  explicit Listener(std::string name, std::function<void()> then = {})
      : name_(std::move(name)), then_(std::move(then)) {
    center().addObserver(this, &Listener::heard, name_,
                         CFNotificationSuspensionBehavior::DeliverImmediately);
  }
  ~Listener() { stop(); }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  void stop() { center().removeObserver(this, name_); }
  int count() const { return count_; }
  bool waitFor(int count) const {
    return NSRunLoop::mainRunLoop().runUntil([&] { return count_ >= count; }, kLimit);
  }

 private:
  static void heard(CFNotificationCenter&, void* observer, const std::string& name, const void*,
                    const void*) {
    auto& listener = *static_cast<Listener*>(observer);
    if (name != listener.name_) std::abort();
    ++listener.count_;
    if (listener.then_) listener.then_();
  }

  std::string name_;
  std::function<void()> then_;
  int count_ = 0;
};

/// A process of this program that listens or posts, killed with its owner.
class Peer {
 public:
  Peer(const std::string& role, const std::string& name) {
    int input[2];
    int output[2];
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) std::abort();
    process_ = fork();
    if (process_ == 0) {
      dup2(input[0], STDIN_FILENO);
      dup2(output[1], STDOUT_FILENO);
      execl("/proc/self/exe", "peer", role.c_str(), name.c_str(), nullptr);
      _exit(127);
    }
    close(input[0]);
    close(output[1]);
    input_ = FileDescriptor(input[1]);
    output_ = FileDescriptor(output[0]);
    if (readLine() != "ready") std::abort();
  }
  ~Peer() { kill(); }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  /// Waits until its main thread is inside one of the system calls.
  bool waitsIn(const std::vector<long>& systemCalls) const {
    const auto end = std::chrono::steady_clock::now() + kLimit;
    while (std::chrono::steady_clock::now() < end) {
      long number = -1;
      std::ifstream("/proc/" + std::to_string(process_) + "/syscall") >> number;
      if (std::find(systemCalls.begin(), systemCalls.end(), number) != systemCalls.end()) {
        return true;
      }
      std::this_thread::yield();
    }
    return false;
  }

  void write(std::uint64_t number) {
    const std::string line = std::to_string(number) + "\n";
    if (::write(input_.get(), line.data(), line.size()) != std::ssize(line)) std::abort();
  }
  bool hasOutput() const {
    pollfd ready{output_.get(), POLLIN, 0};
    return poll(&ready, 1, 0) > 0;
  }
  std::string readLine() {
    std::string line;
    pollfd ready{output_.get(), POLLIN, 0};
    for (char c = 0; poll(&ready, 1, kLimit.count()) > 0 && read(output_.get(), &c, 1) == 1;) {
      if (c == '\n') return line;
      line += c;
    }
    return line + " (cut short)";
  }
  void kill() {
    if (process_ <= 0) return;
    ::kill(process_, SIGKILL);
    waitpid(std::exchange(process_, 0), nullptr, 0);
  }

 private:
  pid_t process_;
  FileDescriptor input_;
  FileDescriptor output_;
};

}  // namespace tasklane::testing
