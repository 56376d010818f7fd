#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "foundation/NSBundle.h"

namespace tasklane {

/// For tests: a bundle in a temporary folder with this project's own resources, as the main bundle
/// while it lives. Palettes written into it come before the project's.
class TestApplication {
 public:
  TestApplication() : former_(NSBundle::mainBundle()) {
    folder_ =
        std::filesystem::temp_directory_path() /
        ("tasklane-appearance-" + std::to_string(::getpid()) + "-" + std::to_string(++count_));
    const auto resources = folder_ / "Resources";
    std::filesystem::create_directories(resources);
    std::filesystem::copy(TASKLANE_RESOURCES "/palettes", resources / "palettes");
    std::filesystem::copy(TASKLANE_RESOURCES "/images", resources);
    NSBundle::setMainBundle(NSBundle::bundleWithPath(folder_));
  }
  ~TestApplication() {
    NSBundle::setMainBundle(former_);
    std::filesystem::remove_all(folder_);
  }
  TestApplication(const TestApplication&) = delete;
  TestApplication& operator=(const TestApplication&) = delete;

  std::string pathOfPalette(const std::string& name) const {
    return folder_ / "Resources/palettes" / (name + ".plist");
  }
  void writePalette(const std::string& name, const std::string& entries) const {
    std::ofstream(pathOfPalette(name)) << "<plist><dict>" << entries << "</dict></plist>";
  }

 private:
  static inline int count_ = 0;
  std::shared_ptr<NSBundle> former_;
  std::filesystem::path folder_;
};

}  // namespace tasklane
