#include <fcntl.h>
#include <linux/futex.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>

#include "bench/Report.h"
#include "foundation/events/CFNotificationCenter.h"
#include "foundation/events/NSRunLoop.h"

/// Posts between two processes against signals over a message bus of the program's own.
namespace tasklane {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int kRounds = 15;
constexpr int kSamplesPerRound = 60;
constexpr std::chrono::microseconds kGap{300};  // long enough for the listener to fall asleep
const std::string kName =
    "com.kestrelworks.Tasklane|TLXDarwinNotifier|file:///home/somebody/.local/share/tasklane/"
    "group.com.kestrelworks.Tasklane/com.kestrelworks.Tasklane/actions.plist";

void mustHold(bool condition, const char* what) {
  if (condition) return;
  std::perror(what);
  std::exit(1);
}

std::int64_t now() { return Clock::now().time_since_epoch().count(); }

/// What the two processes share.
struct Exchange {
  std::atomic<std::int64_t> posted;
  std::atomic<std::int64_t> latency;
  std::atomic<int> heard;
  std::atomic<bool> ready;
};

Exchange& newExchange() {
  void* const memory =
      mmap(nullptr, sizeof(Exchange), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  mustHold(memory != MAP_FAILED, "mmap");
  return *static_cast<Exchange*>(memory);
}

void noteHeard(void* exchange) {
  auto& shared = *static_cast<Exchange*>(exchange);
  shared.latency = now() - shared.posted;
  ++shared.heard;
}

void listenToCenter(Exchange& exchange) {
  CFNotificationCenterGetDarwinNotifyCenter().addObserver(
      &exchange,
      [](CFNotificationCenter&, void* observer, const std::string&, const void*, const void*) {
        noteHeard(observer);
      },
      kName, CFNotificationSuspensionBehavior::DeliverImmediately);
  exchange.ready = true;
  NSRunLoop::mainRunLoop().run();
}

/// The least that a wake-up takes of what an epoll set can hold: a named pipe.
int limitPipe = -1;

void listenToPipe(Exchange& exchange) {
  epoll_event event{};
  event.events = EPOLLIN;
  const int set = epoll_create1(EPOLL_CLOEXEC);
  mustHold(epoll_ctl(set, EPOLL_CTL_ADD, limitPipe, &event) == 0, "cannot watch a pipe");
  exchange.ready = true;
  while (epoll_wait(set, &event, 1, -1) > 0) {
    noteHeard(&exchange);
    char byte;
    mustHold(read(limitPipe, &byte, 1) == 1, "cannot read");
  }
}

void postToPipe() { mustHold(write(limitPipe, "", 1) == 1, "cannot write"); }

/// The least that any wake-up of another process takes: a word in memory that both have mapped.
std::atomic<std::uint32_t>* limitWord = nullptr;

void listenToWord(Exchange& exchange) {
  std::uint32_t value = *limitWord;
  exchange.ready = true;
  for (;;) {
    syscall(SYS_futex, limitWord, FUTEX_WAIT, value, nullptr, nullptr, 0);
    if (*limitWord == value) continue;
    value = *limitWord;
    noteHeard(&exchange);
  }
}

void postToWord() {
  ++*limitWord;
  syscall(SYS_futex, limitWord, FUTEX_WAKE, 1, nullptr, nullptr, 0);
}

sd_bus* openBus() {
  sd_bus* bus = nullptr;
  mustHold(sd_bus_open_user(&bus) >= 0, "cannot reach the message bus");
  return bus;
}

void listenToBus(Exchange& exchange) {
  sd_bus* const bus = openBus();
  const auto heard = [](sd_bus_message*, void* shared, sd_bus_error*) {
    noteHeard(shared);
    return 0;
  };
  mustHold(sd_bus_match_signal(bus, nullptr, nullptr, "/bench", "org.example.Bench", "Changed",
                               heard, &exchange) >= 0,
           "cannot listen on the bus");
  exchange.ready = true;
  for (;;) {
    if (sd_bus_process(bus, nullptr) == 0) sd_bus_wait(bus, UINT64_MAX);
  }
}

void postToBus(sd_bus* bus) {
  mustHold(
      sd_bus_emit_signal(bus, "/bench", "org.example.Bench", "Changed", "s", kName.c_str()) >= 0,
      "cannot emit");
  sd_bus_flush(bus);
}

/// A listener in a process of its own and how it is posted to.
struct Transport {
  Transport(void (*listen)(Exchange&), std::function<void()> postOnce)
      : exchange(newExchange()), listener(fork()), post(std::move(postOnce)) {
    if (listener == 0) {
      listen(exchange);
      _exit(0);
    }
    while (!exchange.ready) std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  ~Transport() {
    kill(listener, SIGKILL);
    waitpid(listener, nullptr, 0);
  }
  Transport(const Transport&) = delete;
  Transport& operator=(const Transport&) = delete;

  void sample() {
    std::this_thread::sleep_for(kGap);
    const int before = exchange.heard;
    exchange.posted = now();
    post();
    while (exchange.heard == before) std::this_thread::sleep_for(std::chrono::microseconds(50));
    microseconds.push_back(static_cast<double>(exchange.latency) / 1e3);
  }

  Exchange& exchange;
  pid_t listener;
  std::function<void()> post;
  std::vector<double> microseconds;
};

double nanosecondsEach(int count, const std::function<void()>& work) {
  const std::int64_t start = now();
  for (int i = 0; i < count; ++i) work();
  return static_cast<double>(now() - start) / count;
}

void benchmark() {
  auto& center = CFNotificationCenterGetDarwinNotifyCenter();
  sd_bus* const bus = openBus();
  {
    Transport posts(listenToCenter, [&] { center.postNotification(kName); });
    const std::string limitPath = center.folder() + "/limit";
    mustHold(mkfifo(limitPath.c_str(), 0600) == 0, "cannot make a pipe");
    limitPipe = open(limitPath.c_str(), O_RDWR | O_CLOEXEC);
    limitWord = static_cast<std::atomic<std::uint32_t>*>(
        mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    Transport words(listenToWord, postToWord);
    Transport limit(listenToPipe, postToPipe);
    Transport signals(listenToBus, [&] { postToBus(bus); });
    for (int round = 0; round < kRounds; ++round) {
      for (int i = 0; i < kSamplesPerRound; ++i) posts.sample();
      for (int i = 0; i < kSamplesPerRound; ++i) words.sample();
      for (int i = 0; i < kSamplesPerRound; ++i) limit.sample();
      for (int i = 0; i < kSamplesPerRound; ++i) signals.sample();
    }
    const double signal = bench::median(signals.microseconds);
    bench::report("post to a sleeping listener, one way", bench::median(posts.microseconds), "us",
                  signal, "bus signal");
    bench::report("bare futex, one way", bench::median(words.microseconds), "us", signal,
                  "bus signal");
    bench::report("bare pipe, one way", bench::median(limit.microseconds), "us", signal,
                  "bus signal");
    bench::report("bus signal, one way", signal, "us");
  }
  center.postNotification(kName);  // tells the counter that its listener is gone
  const double emit = nanosecondsEach(3'000, [&] { postToBus(bus); });
  bench::report("post that nobody sleeps on",
                nanosecondsEach(2'000'000, [&] { center.postNotification(kName); }), "ns", emit,
                "bus signal");
  bench::report("bus signal, sending", emit, "ns");
}

}  // namespace
}  // namespace tasklane

int main(int argc, char** argv) {
  // A bus of its own, whatever the session has.
  if (argc < 2 || std::string_view(argv[1]) != "--on-own-bus") {
    execlp("dbus-run-session", "dbus-run-session", "--", argv[0], "--on-own-bus", nullptr);
    std::perror("dbus-run-session");
    return 1;
  }
  std::string folder = "/dev/shm/signal-bench-XXXXXX";
  tasklane::mustHold(mkdtemp(folder.data()) != nullptr, "cannot make a folder");
  setenv("TASKLANE_NOTIFY_FOLDER", folder.c_str(), 1);
  tasklane::benchmark();
  std::filesystem::remove_all(folder);
  return 0;
}
