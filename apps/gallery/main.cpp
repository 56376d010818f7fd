// Draws every view and cell of the product into a folder of pictures, without a display: in every
// palette, at three scales, from left to right and from right to left. Or shows one of them.

#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "Screen.h"
#include "appearance/TasklaneAppearanceClient.h"
#include "foundation/base/NSLog.h"
#include "foundation/base/ProgramStart.h"
#include "foundation/events/NSRunLoop.h"
#include "foundation/extension/NSBundle.h"
#include "uikit/base/Backend.h"
#include "uikit/views/UIWindow.h"

namespace tasklane::gallery {

namespace {

constexpr const char* kScales[] = {"1", "1.5", "2"};
constexpr const char* kPalettes[] = {"default", "dark", "today"};
constexpr const char* kLanguages[] = {"en", "he"};
constexpr const char* kUsage =
    "gallery: say which folder to draw the pictures into, or which of them to show: gallery "
    "FOLDER, gallery --show NAME";

std::vector<Screen> allScreens() {
  std::vector<Screen> screens;
  for (const auto& some : {tableScreens(), controlScreens(), paletteScreens(), productScreens()})
    screens.insert(screens.end(), some.begin(), some.end());
  return screens;
}

/// As the extension sees it: its own texts, and the application's resources around it.
void enterExtension() {
  NSBundle::setMainBundle(
      NSBundle::bundleWithPath(NSBundle::mainBundle()->builtInPlugInsPath() + "/Share.appex"));
}

std::shared_ptr<UIWindow> windowWith(const Screen& screen) {
  const auto& palette = TasklaneAppearance::currentAppearance();
  const auto window = std::make_shared<UIWindow>(CGRect({0, 0}, screen.size));
  window->setBackgroundColor(palette.BackgroundColor());
  window->setTintColor(palette.ProjectsColor());
  const auto controller = screen.make();
  window->setRootViewController(controller);
  window->makeKeyAndVisible();
  notifyChildrenThatAppearanceDidChange(controller, TasklaneAppearance::appearance());
  if (screen.arrange) screen.arrange(*controller);
  return window;
}

/// Until the person closes it. Answers the exit status.
int show(const std::string& name) {
  enterExtension();
  for (const auto& screen : allScreens()) {
    if (screen.name != name) continue;
    const auto window = windowWith(screen);
    window->setCloseHandler([] { NSRunLoop::mainRunLoop().stop(); });
    window->setTitle("Tasklane");
    NSRunLoop::mainRunLoop().run();
    window->close();
    return EXIT_SUCCESS;
  }
  NSLog("gallery: there is no picture named " + name);
  return EXIT_FAILURE;
}

bool draw(const Screen& screen, const std::filesystem::path& file, CGFloat scale) {
  const auto window = windowWith(screen);
  const auto drawn = backend::snapshotWindow(*window, file, scale);
  window->close();
  if (!drawn) NSLog("gallery: " + drawn.error().description);
  return drawn.ok();
}

/// The pictures of this process's direction and scale.
int drawAll(const std::filesystem::path& folder) {
  const CGFloat scale = backend::mainScreenScale();
  const bool isRightToLeft =
      backend::layoutDirection() == UIUserInterfaceLayoutDirection::RightToLeft;
  enterExtension();
  const auto screens = allScreens();
  bool good = true;
  for (unsigned palette = 0; palette < std::size(kPalettes); ++palette) {
    TasklaneAppearance::setCurrentPalette(palette);
    const auto place =
        folder / (std::string(kPalettes[palette]) + (isRightToLeft ? "-rtl" : "-ltr"));
    std::filesystem::create_directories(place);
    for (const auto& screen : screens) {
      const std::string suffix = scale == 1   ? ""
                                 : scale == 2 ? "@2x"
                                              : "@" + std::to_string(scale).substr(0, 3) + "x";
      good = draw(screen, place / (screen.name + suffix + ".png"), scale) && good;
    }
  }
  return good ? EXIT_SUCCESS : EXIT_FAILURE;
}

/// Runs this program for one direction and one scale: a process keeps both, and the images that it
/// has drawn for them, for its whole life. Answers its exit status.
int drawInProcess(const char* language, const char* scale, const char* folder) {
  setenv("LANGUAGE", language, 1);
  setenv("LC_ALL", (std::string(language) + ".UTF-8").c_str(), 1);
  setenv("QT_SCALE_FACTOR", scale, 1);
  setenv("QT_SCALE_FACTOR_ROUNDING_POLICY", "PassThrough", 1);
  setenv("TASKLANE_ANIMATIONS", "0", 1);
  setenv("TASKLANE_TEXT_SIZE", "1", 1);
  setenv("QT_LOGGING_RULES", "default.warning=false", 0);  // that nothing is really shown
  const pid_t process = startProgram(
      {.program = "/proc/self/exe",
       .arguments = {"gallery", "--draw", folder},
       .descriptors = {ProgramStart::kSame, ProgramStart::kSame, ProgramStart::kSame}});
  if (process < 0) return EXIT_FAILURE;
  int status = 0;
  waitpid(process, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : EXIT_FAILURE;
}

/// A shared store of this program's own, so that nobody's queue and catalogue are touched.
class TemporaryPlace {
 public:
  TemporaryPlace() {
    folder_ = (std::filesystem::temp_directory_path() / "tasklane-gallery-XXXXXX").string();
    if (!mkdtemp(folder_.data())) return;
    setenv("TASKLANE_GROUP_CONTAINERS", folder_.c_str(), 1);
    setenv("TASKLANE_NOTIFY_FOLDER", (folder_ + "/notify").c_str(), 1);
  }
  /// For the drawing processes: every window fits on it at every scale.
  void pretendScreen() const {
    const std::string screen = folder_ + "/screen.json";
    std::ofstream(screen) << R"({"screens": [{"name": "gallery", "x": 0, "y": 0, "width": 4000,
        "height": 4000, "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1}]})";
    setenv("QT_QPA_PLATFORM", ("offscreen:configfile=" + screen).c_str(), 1);
  }
  ~TemporaryPlace() {
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  TemporaryPlace(const TemporaryPlace&) = delete;
  TemporaryPlace& operator=(const TemporaryPlace&) = delete;

 private:
  std::string folder_;
};

int run(int argc, char** argv) {
  if (argc == 3 && std::string(argv[1]) == "--draw") {
    const std::filesystem::path folder = argv[2];
    backend::start(argc, argv, "tasklane-gallery");
    return drawAll(folder);
  }
  const bool shows = argc == 3 && std::string(argv[1]) == "--show";
  if (!shows && (argc != 2 || argv[1][0] == '-')) {
    NSLog(kUsage);
    return 64;
  }
  const TemporaryPlace place;
  if (shows) {
    const std::string name = argv[2];
    backend::start(argc, argv, "tasklane-gallery");
    return show(name);
  }
  place.pretendScreen();
  int worst = EXIT_SUCCESS;
  for (const char* language : kLanguages)
    for (const char* scale : kScales)
      worst = std::max(worst, drawInProcess(language, scale, argv[1]));
  return worst;
}

}  // namespace

}  // namespace tasklane::gallery

int main(int argc, char** argv) { return tasklane::gallery::run(argc, argv); }
