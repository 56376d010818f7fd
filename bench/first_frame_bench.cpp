// When a program's window first shows its content, and what memory its process took: the share
// sheet beside a form of the same toolkit (bare_form), beside a window without a toolkit
// (bare_window), and beside what desktop dialog tools are installed.  first_frame_bench [rounds]
//
// The sheet is measured twice: with its process started when it is asked for, and shown by the
// process that waits, started, since the last one.
//
// The clock runs from just before the program is started until the screen looks as it does when it
// has come to rest. The screen is one in memory (Xvfb), with a window manager (openbox), and is
// looked at there: questions to the display would hold up whoever is measured. What waits is
// compared with the window without a toolkit, the rest with the form; the least says more than the
// median on a machine that others use.

#include <arpa/inet.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <thread>

#include "bench/Report.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Command = std::vector<std::string>;

[[noreturn]] void giveUp(const std::string& sentence) {
  std::fprintf(stderr, "first_frame_bench: %s\n", sentence.c_str());
  std::exit(1);
}

/// In a process group of its own, with its output to a descriptor or to nowhere.
pid_t start(const Command& command, int output = -1) {
  std::vector<char*> arguments;
  for (const auto& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t quiet;
  posix_spawn_file_actions_init(&quiet);
  for (const int descriptor : {0, 1, 2})
    posix_spawn_file_actions_addopen(&quiet, descriptor, "/dev/null", O_RDWR, 0);
  if (output >= 0) posix_spawn_file_actions_adddup2(&quiet, output, 1);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  pid_t process = -1;
  if (posix_spawnp(&process, arguments[0], &quiet, &attributes, arguments.data(), environ) != 0)
    process = -1;
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&quiet);
  return process;
}

void end(pid_t process) {
  if (process <= 0) return;
  kill(-process, SIGKILL);
  waitpid(process, nullptr, 0);
}

/// Waits for what a condition says; false when it did not come within five seconds.
template <class Condition>
bool comes(Condition condition, std::chrono::microseconds pause) {
  for (const auto begun = Clock::now(); !condition(); std::this_thread::sleep_for(pause))
    if (Clock::now() - begun > 5s) return false;
  return true;
}

/// A display in memory with a window manager, for as long as this lives, and what it shows.
class Screen {
 public:
  explicit Screen(const fs::path& folder) {
    int numberPipe[2];
    if (pipe2(numberPipe, O_CLOEXEC) != 0) giveUp("no pipe can be had");
    server_ = start({"Xvfb", "-displayfd", "1", "-fbdir", folder, "-screen", "0", "1280x800x24",
                     "-nolisten", "tcp", "-noreset"},
                    numberPipe[1]);
    close(numberPipe[1]);
    char number[16] = "";
    if (server_ < 0 || read(numberPipe[0], number, sizeof number - 1) <= 0)
      giveUp("Xvfb cannot be started; scripts/install-dependencies --test installs it");
    close(numberPipe[0]);
    setenv("DISPLAY", (":" + std::string(number, std::strcspn(number, "\n"))).c_str(), 1);
    unsetenv("WAYLAND_DISPLAY");
    map(folder / "Xvfb_screen0");
    manager_ = start({"openbox", "--sm-disable"});
    if (manager_ < 0)
      giveUp(
          "openbox cannot be started; scripts/install-dependencies --test "
          "installs it");
    std::this_thread::sleep_for(1s);  // it says to nobody when it is ready
  }
  ~Screen() {
    end(manager_);
    end(server_);
  }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;

  using Picture = std::vector<std::uint32_t>;

  /// Every eighth point of every eighth row: looking takes time from whoever is looked at.
  Picture picture() const {
    Picture points;
    points.reserve((width_ / 8 + 1) * (height_ / 8 + 1));
    for (std::size_t y = 0; y < height_; y += 8)
      for (std::size_t x = 0; x < width_; x += 8)
        points.push_back(std::uint32_t(pixels_[y * stride_ + x]));
    return points;
  }

 private:
  /// The file is an X window dump: a header of big-endian words, the colours, the pixels.
  void map(const fs::path& file) {
    const int descriptor = open(file.c_str(), O_RDONLY | O_CLOEXEC);
    void* dump = mmap(nullptr, fs::file_size(file), PROT_READ, MAP_SHARED, descriptor, 0);
    if (dump == MAP_FAILED) giveUp("the display's memory cannot be read");
    const auto* header = static_cast<const std::uint32_t*>(dump);
    constexpr int kHeaderSize = 0, kWidth = 4, kHeight = 5, kBytesPerLine = 12, kColors = 19;
    constexpr std::size_t kColorSize = 12;
    width_ = ntohl(header[kWidth]);
    height_ = ntohl(header[kHeight]);
    stride_ = ntohl(header[kBytesPerLine]) / sizeof(std::uint32_t);
    pixels_ = header + (ntohl(header[kHeaderSize]) + kColorSize * ntohl(header[kColors])) /
                           sizeof(std::uint32_t);
  }

  pid_t server_ = -1, manager_ = -1;
  const volatile std::uint32_t* pixels_ = nullptr;
  std::size_t width_ = 0, height_ = 0, stride_ = 0;
};

struct Program {
  std::string name;
  Command command;
  /// What has to wait before it is started; empty when nothing has to.
  Command standby{};
  std::vector<double> milliseconds{};
  double peakMegabytes = 0;
};

double peakMegabytes(const fs::path& process) {
  std::ifstream status(process / "status");
  for (std::string line; std::getline(status, line);)
    if (line.rfind("VmHWM:", 0) == 0) return std::strtod(line.c_str() + 6, nullptr) / 1024;
  return 0;
}

/// Of all processes of a program.
double peakMegabytesOf(const fs::path& program) {
  double peak = 0;
  std::error_code none;
  for (const auto& process : fs::directory_iterator("/proc"))
    if (fs::read_symlink(process.path() / "exe", none) == fs::weakly_canonical(program, none))
      peak = std::max(peak, peakMegabytes(process.path()));
  return peak;
}

/// Has the program wait, unless it does already, in the folder that this one made for its place.
bool putOnStandby(const Command& command) {
  const fs::path place = fs::path(std::getenv("XDG_RUNTIME_DIR")) / "tasklane-sheet";
  const bool waits = start(command) > 0 && comes([&] { return fs::exists(place); }, 5ms);
  std::this_thread::sleep_for(100ms);  // one that waited already has sent the other away
  return waits;
}

/// How many points of two pictures differ.
std::size_t difference(const Screen::Picture& a, const Screen::Picture& b) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < a.size(); ++i) count += a[i] != b[i];
  return count;
}

/// One start; false when nothing came.
bool measureOnce(const Screen& screen, const Screen::Picture& empty, Program& program,
                 bool counts) {
  setenv("TASKLANE_STANDBY", program.standby.empty() ? "0" : "1", 1);
  if (!program.standby.empty() && !putOnStandby(program.standby)) return false;
  if (!comes([&] { return screen.picture() == empty; }, 5ms)) giveUp("the screen is not free");

  std::vector<std::pair<Clock::duration, Screen::Picture>> changes;
  const auto begun = Clock::now();
  const pid_t process = start(program.command);
  const bool isShown = comes(
      [&] {
        auto picture = screen.picture();
        const auto now = Clock::now() - begun;
        if (picture != (changes.empty() ? empty : changes.back().second))
          changes.emplace_back(now, std::move(picture));
        // A caret blinks later.
        return !changes.empty() && now - changes.front().first > 250ms;
      },
      300us);
  if (isShown && counts) {
    const auto& final = changes.back().second;
    const std::size_t nearly = difference(empty, final) / 200;  // a caret may be there or not
    const auto whole = std::find_if(changes.begin(), changes.end(), [&](const auto& change) {
      return difference(change.second, final) <= nearly;
    });
    program.milliseconds.push_back(std::chrono::duration<double, std::milli>(whole->first).count());
    program.peakMegabytes =
        std::max(program.peakMegabytes, program.standby.empty()
                                            ? peakMegabytes("/proc/" + std::to_string(process))
                                            : peakMegabytesOf(program.standby.front()));
  }
  end(process);
  // The next one is started now, and must not be starting while another program is measured.
  return isShown && (program.standby.empty() || putOnStandby(program.standby));
}

/// A private folder, for as long as this runs: the display's, and the place of who waits.
class Folder {
 public:
  Folder() {
    if (!mkdtemp(path_)) giveUp("no folder can be made in /tmp");
    setenv("XDG_RUNTIME_DIR", path_, 1);
  }
  ~Folder() { fs::remove_all(path_); }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  fs::path path() const { return path_; }

 private:
  char path_[32] = "/tmp/first-frame-XXXXXX";
};

bool installed(const std::string& command) {
  return std::system(("command -v " + command + " >/dev/null 2>&1").c_str()) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 15;
  const std::string folder = fs::absolute(argv[0]).parent_path();
  const std::string application = folder + "/../Tasklane.app";
  const Command share{application + "/tasklane", "share", "--title", "Write the report"};
  std::vector<Program> programs{{"bare form", {folder + "/bare_form"}},
                                {"bare window", {folder + "/bare_window"}},
                                {"tasklane share", share},
                                {"tasklane share, standing by",
                                 share,
                                 {application + "/PlugIns/Share.appex/share", "--standby"}}};
  if (installed("yad"))
    programs.push_back({"yad --form", {"yad", "--form", "--field=Title", "--field=Notes:TXT"}});
  if (installed("zenity"))
    programs.push_back({"zenity --entry", {"zenity", "--entry", "--text=Title"}});

  const Folder own;
  const Screen screen(own.path());
  const auto empty = screen.picture();
  for (int round = -1; round < rounds; ++round)
    for (auto& program : programs)
      if (!measureOnce(screen, empty, program, round >= 0))
        giveUp(program.name + " showed nothing");
  for (const auto& program : programs) {
    using namespace tasklane::bench;
    const auto& bare = programs[program.standby.empty() ? 0 : 1];
    report(program.name + ", first frame", median(program.milliseconds), "ms",
           median(bare.milliseconds), bare.name);
    report(program.name + ", least", least(program.milliseconds), "ms", least(bare.milliseconds),
           bare.name);
    report(program.name + ", peak memory", program.peakMegabytes, "MB", programs[0].peakMegabytes,
           programs[0].name);
  }
  return 0;
}
