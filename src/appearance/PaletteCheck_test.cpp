#include "appearance/PaletteCheck.h"

#include <gmock/gmock.h>

#include "appearance/TestApplication.h"

namespace tasklane {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

std::vector<std::string> complaints(const std::string& path) {
  return complaintsAboutPaletteAtPath(path).value();
}

TEST(PaletteCheck, FindsEverythingAtOnce) {
  const TestApplication application;
  application.writePalette("TasklaneTodayAppearance", R"(
      <key>BarStyle</key><string>bright</string>
      <key>HomeScreenEditingBackgroundImage</key><string>Nothing.png</string>
      <key>TodayItemCellSeparatorColor</key><string>#666E79</string>
      <key>titleTextColor</key><string>#000000</string>)");
  EXPECT_THAT(
      complaints(application.pathOfPalette("TasklaneTodayAppearance")),
      ElementsAre(HasSubstr("BarStyle needs one of"), HasSubstr("titleTextColor is not a key"),
                  "TodayItemCellSelectionColor is missing",
                  HasSubstr("HomeScreenEditingBackgroundImage names the image")));

  application.writePalette("Mine",
                           "<key>TodayItemCellSeparatorColor</key><string>#666E79</string>");
  const auto found = complaints(application.pathOfPalette("Mine"));
  EXPECT_EQ(found.size(), 1u + 190u);
  EXPECT_THAT(found, Contains("TodayItemCellSeparatorColor is not a key of this palette"));
  EXPECT_THAT(found, Contains("TodayExtensionTopMargin is missing"));
}

TEST(PaletteCheck, FindsWhatIsOfTheRightTypeAndStillWrong) {
  const TestApplication application;
  const auto real = [](const char* key, const char* value) {
    return "<key>" + std::string(key) + "</key><real>" + value + "</real>";
  };
  const auto image = [](const char* name) {
    return "<key>HomeScreenEditingBackgroundImage</key><string>" + std::string(name) + "</string>";
  };
  const auto size = [](const char* width, const char* height) {
    return "<key>TaskBubbleSize</key><dict><key>width</key><real>" + std::string(width) +
           "</real><key>height</key><real>" + height + "</real></dict>";
  };
  application.writeImage("Torn.png", "\x89PNG\r\n\x1a\n");
  const std::pair<std::string, const char*> cases[] = {
      {real("RoundedRectCornerRadiusRatio", "99"),
       "RoundedRectCornerRadiusRatio must be from 0 to 1"},
      {real("HomeScreenDraggingViewAlpha", "-0.1"),
       "HomeScreenDraggingViewAlpha must be from 0 to 1"},
      {real("FlagDogEarSizeRatio", "1"), nullptr},
      {real("FlagDogEarSizeRatio", "0"), nullptr},
      {real("ProgressControllerParallaxFactor", "1.5"), nullptr},
      {real("ModalSheetAnimationDuration", "-1"),
       "ModalSheetAnimationDuration must not be negative"},
      {real("StatusCircleButtonWidth", "-1"), "StatusCircleButtonWidth must not be negative"},
      {real("StatusCircleButtonWidth", "0"), nullptr},
      {size("1", "-1"), "TaskBubbleSize must not be negative"},
      {size("-1", "1"), "TaskBubbleSize must not be negative"},
      {real("FlagDogEarSizeRatio", "0.2") + real("FlagDogEarSizeRatio", "0.4"),
       "FlagDogEarSizeRatio is there more than once"},
      {image("Torn"),
       "HomeScreenEditingBackgroundImage names the image \"Torn\", which is broken: "},
      {image("StatusCircleFlag.png"), nullptr}};
  for (const auto& [entries, fault] : cases) {
    application.writePalette("TasklaneTodayAppearance", entries);
    auto found = complaints(application.pathOfPalette("TasklaneTodayAppearance"));
    std::erase_if(found, [](const auto& complaint) { return complaint.ends_with("is missing"); });
    if (fault)
      EXPECT_THAT(found, ElementsAre(HasSubstr(fault)));
    else
      EXPECT_THAT(found, IsEmpty()) << entries;
  }
}

}  // namespace
}  // namespace tasklane
