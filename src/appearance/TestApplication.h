#pragma once

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <span>
#include <string>

#include "appearance/TasklaneAppearanceKeys.h"
#include "foundation/base/ScratchFolderTesting.h"
#include "foundation/extension/NSBundle.h"

namespace tasklane {

/// For tests: a bundle in a temporary folder as the main bundle while it lives. Its palettes are
/// made for the test: in all three no two values are alike (an enum's has the same name twice at
/// most), so that a view that takes the wrong key, or an old palette, is seen. Palettes written
/// into it come before them. An appearance reads its palette once in a process.
class TestApplication {
 public:
  TestApplication() : former_(NSBundle::mainBundle()) {
    const auto resources = folder_ / "Resources";
    std::filesystem::create_directories(resources / "palettes");
    std::filesystem::copy(TASKLANE_RESOURCES "/images", resources);
    NSBundle::setMainBundle(NSBundle::bundleWithPath(folder_));
    const auto keys = tasklaneAppearanceKeys();
    writePalette("TasklaneDefaultAppearance", valuesOf(keys, 1));
    writePalette("TasklaneDarkAppearance", valuesOf(keys, 2));
    writePalette("TasklaneTodayAppearance",
                 valuesOf(tasklaneTodayAppearanceKeys().subspan(keys.size()), 3));
  }
  ~TestApplication() { NSBundle::setMainBundle(former_); }
  TestApplication(const TestApplication&) = delete;
  TestApplication& operator=(const TestApplication&) = delete;

  std::string pathOfPalette(const std::string& name) const {
    return folder_ / "Resources/palettes" / (name + ".plist");
  }
  void writeImage(const std::string& name, const std::string& bytes) const {
    std::ofstream(folder_ / "Resources" / name) << bytes;
  }
  void writePalette(const std::string& name, const std::string& entries) const {
    std::ofstream(pathOfPalette(name)) << "<plist><dict>" << entries << "</dict></plist>";
  }

 private:
  static std::string valuesOf(std::span<const KAAppearanceKey> keys, unsigned palette) {
    std::string entries;
    unsigned serial = palette * 1000;
    for (const auto& key : keys)
      entries += "<key>" + std::string(key.name) + "</key>" + valueOf(key, palette, ++serial);
    return entries;
  }
  static std::string valueOf(const KAAppearanceKey& key, unsigned palette, unsigned serial) {
    const auto real = [](double number) { return "<real>" + std::to_string(number) + "</real>"; };
    const auto numbers = [&](std::initializer_list<const char*> names) {
      std::string dictionary = "<dict>";
      double number = serial;
      for (const char* name : names)
        dictionary += "<key>" + std::string(name) + "</key>" + real(number += 0.125);
      return dictionary + "</dict>";
    };
    switch (key.type) {
      case KAAppearanceValueType::Color: {
        char text[8];  // an odd factor gives every serial its own colour
        std::snprintf(text, sizeof text, "#%06X", serial * 2654435761u & 0xFFFFFF);
        return "<string>" + std::string(text) + "</string>";
      }
      case KAAppearanceValueType::Number:
        return real(serial);
      case KAAppearanceValueType::Size:
        return numbers({"width", "height"});
      case KAAppearanceValueType::EdgeInsets:
        return numbers({"top", "left", "bottom", "right"});
      case KAAppearanceValueType::Boolean:
        return palette == 1 ? "<true/>" : "<false/>";
      case KAAppearanceValueType::Image:
        return "<string>StatusCircleFlag" + std::string(palette == 1 ? "" : "-dark") + "</string>";
      case KAAppearanceValueType::Enum: {
        const auto& names = key.enumNameTable().entries();
        return "<string>" + names[palette % names.size()].first + "</string>";
      }
    }
    return {};
  }

  std::shared_ptr<NSBundle> former_;
  const ScratchFolder scratch_;
  const std::filesystem::path& folder_ = scratch_.path();
};

}  // namespace tasklane
