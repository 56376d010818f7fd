#include "appearance/PaletteCheck.h"

#include <gmock/gmock.h>

#include "appearance/TestApplication.h"

namespace tasklane {
namespace {

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

TEST(PaletteCheck, FindsNothingInTheProjectsPalettes) {
  for (const char* name :
       {"TasklaneDefaultAppearance", "TasklaneDarkAppearance", "TasklaneTodayAppearance"})
    EXPECT_THAT(complaintsAboutPaletteAtPath(TASKLANE_RESOURCES "/palettes/" + std::string(name) +
                                             ".plist"),
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
      complaintsAboutPaletteAtPath(application.pathOfPalette("TasklaneTodayAppearance")),
      ElementsAre(HasSubstr("BarStyle needs one of"), HasSubstr("titleTextColor is not a key"),
                  "TodayItemCellSelectionColor is missing",
                  HasSubstr("HomeScreenEditingBackgroundImage names the image")));

  application.writePalette("Mine",
                           "<key>TodayItemCellSeparatorColor</key><string>#666E79</string>");
  const auto complaints = complaintsAboutPaletteAtPath(application.pathOfPalette("Mine"));
  EXPECT_EQ(complaints.size(), 1u + 190u);
  EXPECT_THAT(complaints, Contains("TodayItemCellSeparatorColor is not a key of this palette"));
  EXPECT_THAT(complaints, Contains("TodayExtensionTopMargin is missing"));
}

TEST(PaletteCheck, NamesTheFileThatCannotBeRead) {
  const TestApplication application;
  application.writePalette("Broken", "<key>BarStyle</key>");
  for (const std::string& path :
       {application.pathOfPalette("Broken"), application.pathOfPalette("Missing")})
    EXPECT_THAT(complaintsAboutPaletteAtPath(path), ElementsAre(HasSubstr(path)));
}

}  // namespace
}  // namespace tasklane
