// When a program's window first shows its content, and what memory its process took: the share
// sheet beside a bare window of the same toolkit (bare_form) and beside what desktop dialog tools
// are installed. Run it on an otherwise idle X display of its own, for example:  xvfb-run -a
// build/release/bench/first_frame_bench [rounds]
//
// The sheet is measured twice: with its process started when it is asked for, and shown by the
// process that waits, started, since the last one.
//
// The clock runs from just before the program is started until its window is mapped and shows at
// least eight colours.

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>
#include <string_view>
#include <thread>

#include "bench/Report.h"

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

template <class T>
std::unique_ptr<T, void (*)(void*)> owned(T* reply) {
  return {reply, std::free};
}

/// The top-level windows of a display, and what they show.
class Display {
 public:
  Display() : connection_(xcb_connect(nullptr, nullptr)) {
    if (xcb_connection_has_error(connection_)) {
      std::fprintf(stderr, "There is no X display; run this under xvfb-run.\n");
      std::exit(66);
    }
    root_ = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data->root;
  }
  ~Display() { xcb_disconnect(connection_); }

  std::set<xcb_window_t> windows() const {
    const auto tree =
        owned(xcb_query_tree_reply(connection_, xcb_query_tree(connection_, root_), nullptr));
    const auto* first = xcb_query_tree_children(tree.get());
    return {first, first + xcb_query_tree_children_length(tree.get())};
  }

  /// The process that says the window is its own.
  std::uint32_t ownerOf(xcb_window_t window) const {
    constexpr std::string_view name = "_NET_WM_PID";
    const auto atom = owned(xcb_intern_atom_reply(
        connection_, xcb_intern_atom(connection_, 0, name.size(), name.data()), nullptr));
    const auto property = owned(xcb_get_property_reply(
        connection_, xcb_get_property(connection_, 0, window, atom->atom, XCB_ATOM_CARDINAL, 0, 1),
        nullptr));
    std::uint32_t process = 0;
    if (property && xcb_get_property_value_length(property.get()) == sizeof process)
      std::memcpy(&process, xcb_get_property_value(property.get()), sizeof process);
    return process;
  }

  bool showsContent(xcb_window_t window) const {
    const auto attributes = owned(xcb_get_window_attributes_reply(
        connection_, xcb_get_window_attributes(connection_, window), nullptr));
    const auto geometry =
        owned(xcb_get_geometry_reply(connection_, xcb_get_geometry(connection_, window), nullptr));
    if (!attributes || !geometry || attributes->map_state != XCB_MAP_STATE_VIEWABLE) return false;
    if (geometry->width < 100 || geometry->height < 60) return false;
    const auto image =
        owned(xcb_get_image_reply(connection_,
                                  xcb_get_image(connection_, XCB_IMAGE_FORMAT_Z_PIXMAP, window, 0,
                                                0, geometry->width, geometry->height, ~0u),
                                  nullptr));
    if (!image) return false;
    std::set<std::uint32_t> colours;
    const auto* pixels = xcb_get_image_data(image.get());
    const std::size_t count = std::size_t(geometry->width) * geometry->height;
    for (std::size_t i = 0; i < count && colours.size() < 8; ++i) {
      std::uint32_t pixel;
      std::memcpy(&pixel, pixels + 4 * i, 4);
      colours.insert(pixel & 0xffffff);
    }
    return colours.size() >= 8;
  }

 private:
  xcb_connection_t* connection_;
  xcb_window_t root_;
};

struct Program {
  std::string name;
  std::vector<std::string> command;
  /// What has to wait before it is started; empty when nothing has to.
  std::vector<std::string> standby{};
  std::vector<double> milliseconds{};
  double peakMegabytes = 0;
};

double peakMegabytes(std::uint32_t process) {
  double peak = 0;
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmHWM:", 0) == 0) {
      peak = std::max(peak, std::strtod(line.c_str() + 6, nullptr) / 1024);
    }
  }
  return peak;
}

pid_t start(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  for (const auto& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t quiet;
  posix_spawn_file_actions_init(&quiet);
  for (const int descriptor : {0, 1, 2}) {
    posix_spawn_file_actions_addopen(&quiet, descriptor, "/dev/null", O_RDWR, 0);
  }
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  pid_t process = -1;
  if (posix_spawnp(&process, arguments[0], &quiet, &attributes, arguments.data(), environ) != 0) {
    process = -1;
  }
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&quiet);
  return process;
}

/// Has the program wait, unless it does already, in the folder that this one made for its place.
bool putOnStandby(const std::vector<std::string>& command) {
  const pid_t process = start(command);
  const std::string place = std::string(std::getenv("XDG_RUNTIME_DIR")) + "/tasklane-sheet";
  const auto begun = Clock::now();
  while (process > 0 && ::access(place.c_str(), F_OK) != 0) {
    if (Clock::now() - begun > std::chrono::seconds(5)) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return process > 0;
}

/// One start; false when no content came within five seconds.
bool measureOnce(const Display& display, Program& program, bool counts) {
  setenv("TASKLANE_STANDBY", program.standby.empty() ? "0" : "1", 1);
  if (!program.standby.empty() && !putOnStandby(program.standby)) return false;
  const auto before = display.windows();
  const auto begun = Clock::now();
  const pid_t process = start(program.command);
  if (process < 0) return false;
  xcb_window_t shown = XCB_NONE;
  while (!shown && Clock::now() - begun < std::chrono::seconds(5)) {
    for (const auto window : display.windows()) {
      if (!before.contains(window) && display.showsContent(window)) shown = window;
    }
    if (!shown) std::this_thread::sleep_for(std::chrono::microseconds(300));
  }
  const std::chrono::duration<double, std::milli> taken = Clock::now() - begun;
  if (shown && counts) {
    program.milliseconds.push_back(taken.count());
    program.peakMegabytes = std::max(program.peakMegabytes, peakMegabytes(display.ownerOf(shown)));
  }
  kill(-process, SIGKILL);
  waitpid(process, nullptr, 0);
  return shown != XCB_NONE;
}

/// A private folder for the place of the process that waits, for as long as this runs.
class RuntimeFolder {
 public:
  RuntimeFolder() {
    if (mkdtemp(path_)) setenv("XDG_RUNTIME_DIR", path_, 1);
  }
  ~RuntimeFolder() { std::filesystem::remove_all(path_); }
  RuntimeFolder(const RuntimeFolder&) = delete;
  RuntimeFolder& operator=(const RuntimeFolder&) = delete;

 private:
  char path_[32] = "/tmp/first-frame-XXXXXX";
};

bool installed(const std::string& command) {
  return std::system(("command -v " + command + " >/dev/null 2>&1").c_str()) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 15;
  const std::string folder = std::string(argv[0]).substr(0, std::string(argv[0]).rfind('/'));
  const std::string application = folder + "/../Tasklane.app";
  const std::string extension = application + "/PlugIns/Share.appex";
  const std::vector<std::string> share{application + "/tasklane", "share", "--title",
                                       "Write the report"};
  const RuntimeFolder runtimeFolder;
  std::vector<Program> programs{
      {"bare window, text area and three rows", {folder + "/bare_form"}},
      {"tasklane share", share},
      {"tasklane share, standing by", share, {extension + "/share", "--standby"}}};
  if (installed("yad")) {
    programs.push_back({"yad --form", {"yad", "--form", "--field=Title", "--field=Notes:TXT"}});
  }
  if (installed("zenity")) {
    programs.push_back({"zenity --entry", {"zenity", "--entry", "--text=Title"}});
  }

  const Display display;
  for (int round = -1; round < rounds; ++round) {
    for (auto& program : programs) {
      if (!measureOnce(display, program, round >= 0)) {
        std::fprintf(stderr, "%s showed nothing.\n", program.name.c_str());
        return 1;
      }
    }
  }
  const auto& bare = programs.front();
  for (const auto& program : programs) {
    using tasklane::bench::median;
    using tasklane::bench::report;
    report(program.name + ", first frame", median(program.milliseconds), "ms",
           median(bare.milliseconds), "bare window");
    report(program.name + ", peak memory", program.peakMegabytes, "MB", bare.peakMegabytes,
           "bare window");
  }
  return 0;
}
