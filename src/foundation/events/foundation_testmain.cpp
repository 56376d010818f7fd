#include <gmock/gmock.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <limits>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/events/CFNotificationCenter.h"
#include "foundation/events/NSRunLoop.h"

namespace tasklane {
namespace {

constexpr std::chrono::milliseconds kLimit{100'000};

/// Hears a name until the number of calls that a line of the input asks for has come, then says how
/// many there were.
int listen(const std::string& name) {
  long count = 0;
  long wanted = std::numeric_limits<long>::max();
  auto& center = CFNotificationCenterGetDarwinNotifyCenter();
  center.addObserver(
      &count,
      [](CFNotificationCenter&, void* observer, const std::string&, const void*, const void*) {
        ++*static_cast<long*>(observer);
      },
      name, CFNotificationSuspensionBehavior::DeliverImmediately);
  const auto input = NSRunLoop::mainRunLoop().addDescriptor(STDIN_FILENO, [&] {
    char line[32] = {};
    if (read(STDIN_FILENO, line, sizeof line - 1) <= 0) _exit(1);
    wanted = std::atol(line);
  });
  std::cout << "ready" << std::endl;
  NSRunLoop::mainRunLoop().runUntil([&] { return count >= wanted; }, kLimit);
  NSRunLoop::mainRunLoop().dispatch();  // would show calls too many
  std::cout << count << std::endl;
  return 0;
}

/// Answers each post that it hears with one of its own, until it is killed.
int echo(const std::string& role, const std::string& name) {
  auto& center = CFNotificationCenterGetDarwinNotifyCenter();
  auto& loop = NSRunLoop::mainRunLoop();
  std::string answer = name + role;
  center.addObserver(
      &answer,
      [](CFNotificationCenter& from, void* observer, const std::string&, const void*, const void*) {
        from.postNotification(*static_cast<std::string*>(observer));
      },
      name, CFNotificationSuspensionBehavior::DeliverImmediately);
  std::cout << "ready" << std::endl;
  if (role == "--echo") loop.run();
  epoll_event event{};
  const int set = epoll_create1(EPOLL_CLOEXEC);
  event.events = EPOLLIN;
  epoll_ctl(set, EPOLL_CTL_ADD, loop.fileDescriptor(), &event);
  for (;;) {
    epoll_wait(set, &event, 1, -1);
    loop.dispatch();
  }
}

/// Posts a name as often as a line of the input says.
int post(const std::string& name) {
  std::cout << "ready" << std::endl;
  long count = 0;
  std::cin >> count;
  auto& center = CFNotificationCenterGetDarwinNotifyCenter();
  for (long i = 0; i < count; ++i) center.postNotification(name);
  std::cout << "done" << std::endl;
  return 0;
}

}  // namespace
}  // namespace tasklane

/// The program is also the other processes of its tests: foundation_test
/// --listen|--post|--echo[-by-descriptor] NAME.
int main(int argc, char** argv) {
  const std::vector<std::string> arguments(argv, argv + argc);
  if (argc == 3 && arguments[1].starts_with("--")) {
    if (arguments[1] == "--listen") return tasklane::listen(arguments[2]);
    if (arguments[1].starts_with("--echo")) return tasklane::echo(arguments[1], arguments[2]);
    if (arguments[1] == "--post") return tasklane::post(arguments[2]);
  }
  ::testing::InitGoogleMock(&argc, argv);
  std::string folder = "/dev/shm/notification-test-XXXXXX";
  if (!mkdtemp(folder.data())) return 1;
  setenv("TASKLANE_NOTIFY_FOLDER", (folder + "/notify").c_str(), 1);
  const int outcome = RUN_ALL_TESTS();
  std::filesystem::remove_all(folder);
  return outcome;
}
