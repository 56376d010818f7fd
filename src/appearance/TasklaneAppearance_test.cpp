#include "appearance/TasklaneAppearance.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>

#include "appearance/TestApplication.h"
#include "foundation/events/NSNotificationCenter.h"
#include "uikit/base/UIScreen.h"

namespace tasklane {
namespace {

class TasklaneAppearanceTest : public ::testing::Test {
 protected:
  ~TasklaneAppearanceTest() override {
    TasklaneAppearance::setCurrentPalette(0);
    UIDevice::currentDevice().setUserInterfaceIdiom(UIUserInterfaceIdiom::Unspecified);
    UIScreen::mainScreen().overrideBounds(nullptr);
  }
  const TestApplication application_;
};

/// An appearance whose values a test writes.
class OwnAppearance : public TasklaneAppearance {
 public:
  explicit OwnAppearance(std::vector<std::string> names) : names_(std::move(names)) {}
  std::vector<std::string> propertyListNames() const override { return names_; }

 private:
  std::vector<std::string> names_;
};

/// What reading an appearance says on the console.
std::string consoleWhileReading(const TasklaneAppearance& appearance) {
  testing::internal::CaptureStderr();
  (void)appearance.BackgroundColor();
  return testing::internal::GetCapturedStderr();
}

TEST_F(TasklaneAppearanceTest, AnswersByTheCurrentPaletteWhileEachPaletteAnswersItself) {
  EXPECT_EQ(TasklaneAppearance::currentPalette(), 0u);
  EXPECT_EQ(TasklaneAppearance::appearance(), TasklaneDefaultAppearance::appearance());
  TasklaneAppearance::setCurrentPalette(2);
  EXPECT_EQ(TasklaneAppearance::appearance(), TasklaneTodayAppearance::appearance());
  EXPECT_EQ(TasklaneDarkAppearance::appearance(),
            KAAppearance::appearanceForClass<TasklaneDarkAppearance>());
  EXPECT_EQ(TasklaneDefaultAppearance::appearance()->className(), "TasklaneDefaultAppearance");
}

TEST_F(TasklaneAppearanceTest, TellsOfThePaletteThatIsComingBeforeAndAfterASwitch) {
  std::vector<std::string> heard;
  const auto note = [&](const NSNotification& notification) {
    heard.push_back(notification.name + " " +
                    (notification.object ? notification.object->className() : "none") + " " +
                    std::to_string(TasklaneAppearance::currentPalette()));
  };
  auto& center = NSNotificationCenter::defaultCenter();
  const auto will = center.addObserver(KAAppearanceValuesWillChangeNotification, nullptr, note);
  const auto did = center.addObserver(KAAppearanceValuesDidChangeNotification, nullptr, note);
  TasklaneAppearance::setCurrentPalette(0);
  EXPECT_TRUE(heard.empty());
  TasklaneAppearance::setCurrentPalette(1);
  EXPECT_EQ(heard, (std::vector<std::string>{
                       "KAAppearanceValuesWillChangeNotification TasklaneDarkAppearance 0",
                       "KAAppearanceValuesDidChangeNotification TasklaneDarkAppearance 1"}));
  heard.clear();
  TasklaneAppearance::setCurrentPalette(7);
  EXPECT_EQ(heard, (std::vector<std::string>{"KAAppearanceValuesWillChangeNotification none 1",
                                             "KAAppearanceValuesDidChangeNotification none 7"}));
}

TEST_F(TasklaneAppearanceTest, KnowsNothingOfAnUnknownPalette) {
  TasklaneAppearance::setCurrentPalette(7);
  EXPECT_EQ(TasklaneAppearance::appearance(), nullptr);
  const auto& absent = TasklaneAppearance::currentAppearance();
  EXPECT_EQ(absent.TitleTextColor(), std::nullopt);
  EXPECT_EQ(absent.BarStyle(), UIBarStyle::Default);
  EXPECT_EQ(absent.InboxColor(), std::nullopt);
  EXPECT_EQ(absent.themedKestrelColors().kestrelTealColor(), std::nullopt);
  EXPECT_EQ(absent.statusCircleFlagImage(), nullptr);
  EXPECT_EQ(absent.inheritedFlagDogEarCGImage(), nullptr);
  EXPECT_EQ(absent.flagDogEarSize(), CGSize());
  EXPECT_FALSE(absent.shouldAddFlagDogEar());
  EXPECT_EQ(absent.TitleTextFieldLeadingInset(), 0);
  EXPECT_EQ(absent.ActionTableSeparatorInset(), UIEdgeInsets());
  EXPECT_EQ(absent.ActionTableFooterSeparatorInset(), UIEdgeInsets());
}

TEST_F(TasklaneAppearanceTest, IsReadOnceWhicheverThreadAsksFirst) {
  application_.writePalette("Own", "<key>MetadataDelimiterPadding</key><real>6.5</real>");
  testing::internal::CaptureStderr();
  for (int round = 0; round < 50; ++round) {
    const OwnAppearance own({"Own"});
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
      threads.emplace_back(
          [&] { EXPECT_EQ(own.doubleForKeyPath("MetadataDelimiterPadding"), 6.5); });
    for (auto& thread : threads) thread.join();
    EXPECT_EQ(own.MetadataDelimiterPadding(), 6.5);
  }
  const std::string console = testing::internal::GetCapturedStderr();
  EXPECT_EQ(std::count(console.begin(), console.end(), '\n'), 50);
}

TEST_F(TasklaneAppearanceTest, ReadsEveryTypeAndInheritsAsTheClassesDo) {
  application_.writePalette("Base", R"(
      <key>BackgroundColor</key><string>#102030</string>
      <key>TitleTextColor</key><string>#FFFFFF</string>
      <key>ScrollViewIndicatorStyle</key><string>white</string>
      <key>BarStyle</key><string>black-translucent</string>
      <key>StatusBarStyle</key><string>light-content</string>
      <key>KeyboardAppearance</key><string>light</string>
      <key>NearbyNavigationBarIsTranslucent</key><true/>
      <key>HomeScreenEditingBackgroundImage</key><string>StatusCircleFlag.png</string>
      <key>TaskBubbleSize</key>
      <dict><key>width</key><real>1.5</real><key>height</key><integer>2</integer></dict>)");
  application_.writePalette("Own", R"(
      <key>TitleTextColor</key><string>#FF000000</string>
      <key>MetadataDelimiterPadding</key><real>6.5</real>)");
  const auto own = std::make_shared<OwnAppearance>(std::vector<std::string>{"Base", "Own"});
  (void)consoleWhileReading(*own);
  EXPECT_EQ(own->BackgroundColor()->argb(), 0xFF102030u);
  EXPECT_EQ(own->TitleTextColor()->argb(), 0x00FF0000u);
  EXPECT_EQ(own->ScrollViewIndicatorStyle(), UIScrollViewIndicatorStyle::White);
  EXPECT_EQ(own->BarStyle(), UIBarStyle::BlackTranslucent);
  EXPECT_EQ(own->StatusBarStyle(), UIStatusBarStyle::LightContent);
  EXPECT_EQ(own->KeyboardAppearance(), UIKeyboardAppearance::Light);
  EXPECT_TRUE(own->NearbyNavigationBarIsTranslucent());
  EXPECT_EQ(own->TaskBubbleSize(), (CGSize{1.5, 2}));
  EXPECT_EQ(own->MetadataDelimiterPadding(), 6.5);
  EXPECT_EQ(own->HomeScreenEditingBackgroundImage(), UIImage::imageNamed("StatusCircleFlag"));
}

TEST_F(TasklaneAppearanceTest, FollowsTheDeviceInTheLeftInset) {
  const auto inset = [](UIUserInterfaceIdiom idiom, CGFloat width) {
    UIDevice::currentDevice().setUserInterfaceIdiom(idiom);
    const CGRect bounds(0, 0, width, 800);
    UIScreen::mainScreen().overrideBounds(&bounds);
    return TasklaneDefaultAppearance::appearance()->TitleTextFieldLeadingInset();
  };
  EXPECT_EQ(inset(UIUserInterfaceIdiom::Phone, 414), 15);
  EXPECT_EQ(inset(UIUserInterfaceIdiom::Phone, 414.5), 20);
  EXPECT_EQ(inset(UIUserInterfaceIdiom::Pad, 1024), 15);
  EXPECT_EQ(inset(UIUserInterfaceIdiom::Unspecified, 1024), 15);
}

TEST_F(TasklaneAppearanceTest, KeepsTheInsetsOfThePaletteAskedFirst) {
  const auto insets = [](int top) {
    std::string dictionary = "<dict>";
    for (const char* side : {"top", "left", "bottom", "right"})
      dictionary +=
          "<key>" + std::string(side) + "</key><integer>" + std::to_string(top++) + "</integer>";
    return dictionary + "</dict>";
  };
  application_.writePalette("First", "<key>ActionTableSeparatorInset</key>" + insets(1) +
                                         "<key>ActionTableFooterSeparatorInset</key>" + insets(11));
  const auto first = std::make_shared<OwnAppearance>(std::vector<std::string>{"First"});
  (void)consoleWhileReading(*first);
  EXPECT_EQ(first->ActionTableSeparatorInset(), (UIEdgeInsets{1, 15, 3, 4}));
  EXPECT_EQ(first->ActionTableFooterSeparatorInset(), (UIEdgeInsets{11, 15, 13, 14}));
  UIDevice::currentDevice().setUserInterfaceIdiom(UIUserInterfaceIdiom::Phone);
  const CGRect wide(0, 0, 500, 800);
  UIScreen::mainScreen().overrideBounds(&wide);
  const auto dark = TasklaneDarkAppearance::appearance();
  EXPECT_EQ(dark->ActionTableSeparatorInset(), (UIEdgeInsets{1, 20, 3, 4}));
  EXPECT_EQ(dark->ActionTableFooterSeparatorInset(), (UIEdgeInsets{11, 20, 13, 14}));
}

TEST_F(TasklaneAppearanceTest, ServesFlagImagesByPalette) {
  const struct {
    std::shared_ptr<TasklaneAppearance> appearance;
    const char *flag, *inherited;
  } cases[] = {{TasklaneDefaultAppearance::appearance(), "StatusCircleFlag.png",
                "StatusCircleFlag-inherited.png"},
               {TasklaneDarkAppearance::appearance(), "StatusCircleFlag-dark.png",
                "StatusCircleFlag-inherited-dark.png"},
               {TasklaneTodayAppearance::appearance(), "StatusCircleFlag-dark.png",
                "StatusCircleFlag-inherited-dark.png"}};
  for (const auto& [appearance, flag, inherited] : cases) {
    ASSERT_NE(UIImage::imageNamed(flag), nullptr) << flag;
    EXPECT_EQ(appearance->flagDogEarCGImage(), UIImage::imageNamed(flag)->pixels());
    EXPECT_EQ(appearance->inheritedFlagDogEarCGImage(), UIImage::imageNamed(inherited)->pixels());
    EXPECT_NE(appearance->flagDogEarCGImage(), appearance->inheritedFlagDogEarCGImage());
    EXPECT_EQ(appearance->flagDogEarSize(), (CGSize{14, 14}));
    EXPECT_TRUE(appearance->shouldAddFlagDogEar());
  }
  NSBundle::setMainBundle(NSBundle::bundleWithPath("/nowhere"));
  const auto light = TasklaneDefaultAppearance::appearance();
  EXPECT_EQ(light->statusCircleFlagImage(), nullptr);
  EXPECT_EQ(light->flagDogEarCGImage(), nullptr);
  EXPECT_EQ(light->flagDogEarSize(), CGSize());
}

TEST_F(TasklaneAppearanceTest, TakesSectionColoursFromTheThemedSet) {
  const auto light = TasklaneDefaultAppearance::appearance();
  const auto& colors = *KAAppearanceDefaultColors::appearance();
  EXPECT_EQ(light->InboxColor(), colors.kestrelGraphiteColor());
  EXPECT_EQ(light->ProjectsColor(), colors.kestrelBlueColor());
  EXPECT_EQ(light->ForecastColor(), colors.kestrelRedColor());
  EXPECT_EQ(light->ContextsColor(), colors.kestrelPurpleColor());
  EXPECT_EQ(light->FlaggedColor(), colors.kestrelOrangeColor());
  EXPECT_EQ(light->MapColor(), colors.kestrelGreenColor());
  EXPECT_EQ(light->ReviewColor(), colors.kestrelCremaColor());
  EXPECT_EQ(light->PerspectivesColor(), colors.kestrelTealColor());
  EXPECT_EQ(&TasklaneTodayAppearance::appearance()->themedKestrelColors(),
            KAAppearanceDarkColors::appearance().get());
  EXPECT_DEATH((void)OwnAppearance({}).InboxColor(), "iOS/Helpers/TasklaneAppearance.*75");
}

}  // namespace
}  // namespace tasklane
