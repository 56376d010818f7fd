#include <gtest/gtest.h>

#include <QApplication>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "uikit/base/Backend.h"

/// The toolkit never frees the list of the system's fonts, nor what it recognises a finger with.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libfontconfig\nleak:QScroller::grabGesture";
}

int main(int argc, char** argv) {
  setenv("QT_QPA_PLATFORM", "offscreen", 0);
  setenv("LC_ALL", "C.UTF-8", 1);
  setenv("TASKLANE_TEXT_SIZE", "1", 1);
  std::string folder = (std::filesystem::temp_directory_path() / "uikit-qt-XXXXXX").string();
  if (!mkdtemp(folder.data())) return EXIT_FAILURE;
  setenv("TASKLANE_NOTIFY_FOLDER", (folder + "/notify").c_str(), 1);
  ::testing::InitGoogleTest(&argc, argv);
  tasklane::backend::start(argc, argv, "tasklane-test");
  // A test that presses twice means it, unless it says otherwise.
  QApplication::setDoubleClickInterval(0);
  const int outcome = RUN_ALL_TESTS();
  std::filesystem::remove_all(folder);
  return outcome;
}
