#include "foundation/extension/NSBundle.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "foundation/base/ScratchFolderTesting.h"
#include "foundation/text/PreferredLanguages.h"

namespace tasklane {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

constexpr const char* languageVariables[] = {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"};

/// The languages of the environment, put back at the end.
class PreferredLanguages : public testing::Test {
 protected:
  PreferredLanguages() {
    for (const char* const name : languageVariables)
      old_.push_back(std::getenv(name) ? std::optional<std::string>(std::getenv(name))
                                       : std::nullopt);
    speak("");
  }
  ~PreferredLanguages() override {
    for (std::size_t i = 0; i < old_.size(); ++i)
      old_[i] ? setenv(languageVariables[i], old_[i]->c_str(), 1) : unsetenv(languageVariables[i]);
  }

  static void speak(const std::string& locale, const std::string& list = "") {
    for (const char* const name : languageVariables) unsetenv(name);
    setenv("LANG", locale.c_str(), 1);
    if (!list.empty()) setenv("LANGUAGE", list.c_str(), 1);
  }

 private:
  std::vector<std::optional<std::string>> old_;
};

TEST_F(PreferredLanguages, AreReadAsGettextReadsThem) {
  const struct {
    const char *locale, *list;
    std::vector<std::string> languages;
  } cases[] = {
      {"", "de", {}},
      {"C.UTF-8", "de", {}},
      {"de_AT.UTF-8@euro", "", {"de-AT"}},
      {"en_US.UTF-8", "pt_BR::fr", {"pt-BR", "fr", "en-US"}},
      {"zh_CN.UTF-8", "", {"zh-Hans-CN"}},
      {"zh_TW", "zh_HK:zh", {"zh-Hant-HK", "zh-Hans", "zh-Hant-TW"}},
      {"sr_RS@latin", "sr", {"sr-Cyrl", "sr-Latn-RS"}},
      {"iw_IL", "nn_NO", {"nb-NO", "he-IL"}},
  };
  for (const auto& c : cases) {
    speak(c.locale, c.list);
    EXPECT_EQ(preferredLanguages(), c.languages) << c.locale << " " << c.list;
  }
  speak("fr_FR");
  setenv("LC_ALL", "ja_JP.eucJP", 1);
  EXPECT_THAT(preferredLanguages(), ElementsAre("ja-JP"));
}

TEST_F(PreferredLanguages, AreServedByTheNearestTranslations) {
  const std::vector<std::string> available{"de", "de-CH", "en", "he", "pt-BR", "zh-Hans"};
  const struct {
    std::vector<std::string> preferred, matching;
  } cases[] = {
      {{}, {"en"}},
      {{"de-AT"}, {"de", "de-CH", "en"}},
      {{"de-CH"}, {"de-CH", "de", "en"}},
      {{"pt-PT"}, {"pt-BR", "en"}},
      {{"zh-Hans-SG"}, {"zh-Hans", "en"}},
      {{"zh-Hant-TW"}, {"en"}},
      {{"xx", "en-GB", "he-IL"}, {"en", "he"}},
  };
  for (const auto& c : cases) EXPECT_EQ(matchingLanguages(available, c.preferred), c.matching);
}

class NSBundleTest : public PreferredLanguages {
 protected:
  NSBundleTest() {
    write("Info.plist", "{ CFBundleIdentifier = com.example.App; }");
    write("Resources/icon.png", "icon");
    write("Resources/en.lproj/Localizable.strings", "Save = Save; Cancel = Cancel; n = (1);");
    write("Resources/de.lproj/Localizable.strings", "\"Save\" = \"Sichern\";");
    write("Resources/de.lproj/icon.png", "German icon");
    write("PlugIns/Share.appex/Info.plist", "{ CFBundleIdentifier = com.example.App.Share; }");
    write("PlugIns/Share.appex/Resources/en.lproj/Other.strings", "Post = \"Post it\";");
    write("PlugIns/Broken.appex/Info.plist", "{ CFBundleIdentifier = ");
    NSBundle::setMainBundle(NSBundle::bundleWithPath(root_ + "/./"));
  }
  ~NSBundleTest() override { NSBundle::setMainBundle(nullptr); }

  void write(const std::string& path, const std::string& contents) {
    fs::create_directories(fs::path(root_ + "/" + path).parent_path());
    std::ofstream(root_ + "/" + path) << contents;
  }

  const ScratchFolder scratch_;
  const std::string root_ = scratch_.path();
};

TEST_F(NSBundleTest, IsFoundByPathAndIdentifier) {
  const auto application = NSBundle::mainBundle();
  EXPECT_EQ(application, NSBundle::bundleWithPath(root_));
  EXPECT_EQ(application->bundleIdentifier(), "com.example.App");
  const auto extension = NSBundle::bundleWithIdentifier("com.example.App.Share");
  ASSERT_TRUE(extension);
  EXPECT_EQ(extension->bundlePath(), root_ + "/PlugIns/Share.appex");
  NSBundle::setMainBundle(extension);
  EXPECT_EQ(NSBundle::bundleWithIdentifier("com.example.App"), application);
  EXPECT_EQ(NSBundle::bundleWithIdentifier("com.example.Nobody"), nullptr);
  testing::internal::CaptureStderr();
  EXPECT_FALSE(NSBundle::bundleWithPath("/nowhere")->bundleIdentifier());
  EXPECT_FALSE(NSBundle::bundleWithPath(root_ + "/PlugIns/Broken.appex")->bundleIdentifier());
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::HasSubstr("Broken.appex/Info.plist"));
}

TEST_F(NSBundleTest, AnswersInTheLanguageThatIsSpokenNow) {
  const auto application = NSBundle::mainBundle();
  const auto extension = NSBundle::bundleWithPath(root_ + "/PlugIns/Share.appex");
  speak("de_DE.UTF-8");
  EXPECT_EQ(application->localizedStringForKey("Save", ""), "Sichern");
  EXPECT_EQ(application->localizedStringForKey("Cancel", "x"), "Cancel");
  EXPECT_EQ(extension->localizedStringForKey("Save", ""), "Sichern");
  EXPECT_EQ(extension->localizedStringForKey("Post", "", "Other"), "Post it");
  EXPECT_EQ(application->pathForResource("icon", "png"), root_ + "/Resources/de.lproj/icon.png");
  speak("fr_FR.UTF-8");
  EXPECT_EQ(application->localizedStringForKey("Save", ""), "Save");
  EXPECT_EQ(application->localizedStringForKey("Missing", "given"), "given");
  EXPECT_EQ(application->localizedStringForKey("Missing", ""), "Missing");
  EXPECT_EQ(application->localizedStringForKey("n", "no text"), "no text");
  EXPECT_EQ(extension->pathForResource("icon.png", ""), root_ + "/Resources/icon.png");
  EXPECT_FALSE(application->pathForResource("missing", "png"));
}

TEST(NSBundle, OfAProgramIsTheFolderOfItsFile) {
  EXPECT_EQ(NSBundle::mainBundle()->bundlePath(), fs::read_symlink("/proc/self/exe").parent_path());
}

}  // namespace
}  // namespace tasklane
