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

TEST(PaletteCheck, FindsNothingInTheProjectsPalettes) {
  for (const char* name :
       {"TasklaneDefaultAppearance", "TasklaneDarkAppearance", "TasklaneTodayAppearance"})
    EXPECT_THAT(complaints(TASKLANE_RESOURCES "/palettes/" + std::string(name) + ".plist"),
                IsEmpty());
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

TEST(PaletteCheck, NamesTheFileThatCannotBeRead) {
  const TestApplication application;
  application.writePalette("Broken", "<key>BarStyle</key>");
  for (const std::string& path :
       {application.pathOfPalette("Broken"), application.pathOfPalette("Missing")})
    EXPECT_THAT(complaintsAboutPaletteAtPath(path).error().description, HasSubstr(path));
}

}  // namespace
}  // namespace tasklane
