#include "kestrel/views/KAAppearance.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "foundation/extension/NSBundle.h"
#include "kestrel/views/KAAppearanceColors.h"

namespace tasklane {
namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using Type = KAAppearanceValueType;

class Lists : public KAAppearance {
 public:
  explicit Lists(std::vector<std::string> names) : names_(std::move(names)) {}
  std::span<const KAAppearanceKey> keys() const override {
    static const auto styles = []() -> const KFEnumNameTable& {
      static const auto table = [] {
        KFEnumNameTable names(3);
        names.setName("black", 1);
        return names;
      }();
      return table;
    };
    static const KAAppearanceKey keys[] = {
        {"color", Type::Color, ""},       {"number", Type::Number, ""}, {"size", Type::Size, ""},
        {"insets", Type::EdgeInsets, ""}, {"flag", Type::Boolean, ""},  {"image", Type::Image, ""},
        {"style", Type::Enum, "", styles}};
    return keys;
  }
  std::vector<std::string> propertyListNames() const override { return names_; }
  using KAAppearance::imageAtIndex;

 private:
  std::vector<std::string> names_;
};

class AppearanceListsTest : public ::testing::Test {
 protected:
  AppearanceListsTest() {
    std::filesystem::create_directories(palettes());
    std::filesystem::copy_file(TASKLANE_RESOURCES "/images/StatusCircleFlag.png",
                               folder_ / "Resources/Dot.png");
    NSBundle::setMainBundle(NSBundle::bundleWithPath(folder_));
    std::ofstream(palettes() / "base.plist")
        << "<plist><dict><key>color</key><string>#FF0000</string><key>number</key><real>2.5</real>"
           "<key>size</key><dict><key>width</key><real>1</real><key>height</key><real>2</real>"
           "</dict><key>insets</key><dict><key>top</key><real>1</real><key>left</key><real>2</real>"
           "<key>bottom</key><real>3</real><key>right</key><real>4</real></dict>"
           "<key>flag</key><true/><key>image</key><string>Dot</string></dict></plist>";
    std::ofstream(palettes() / "own.plist")
        << "<plist><dict><key>number</key><real>7</real><key>style</key><string>black</string>"
           "<key>strange</key><true/></dict></plist>";
    std::ofstream(palettes() / "damaged.plist") << "<plist><dict>";
    std::ofstream(palettes() / "list.plist") << "<plist><array/></plist>";
  }
  ~AppearanceListsTest() override {
    NSBundle::setMainBundle(former_);
    std::filesystem::remove_all(folder_);
  }
  std::filesystem::path palettes() const { return folder_ / "Resources/palettes"; }
  static std::string saidBy(const Lists& lists) {
    testing::internal::CaptureStderr();
    (void)lists.doubleForKeyPath("number");
    (void)lists.doubleForKeyPath("number");  // the lists are read once
    return testing::internal::GetCapturedStderr();
  }

  const std::filesystem::path folder_ =
      std::filesystem::temp_directory_path() / ("tasklane-kestrel-" + std::to_string(::getpid()));
  std::shared_ptr<NSBundle> former_ = NSBundle::mainBundle();
};

TEST_F(AppearanceListsTest, ALaterListOverridesAnEarlierOne) {
  const Lists lists({"base", "own"});
  EXPECT_EQ(saidBy(lists), "Palette own: strange is not a key of this palette\n");
  EXPECT_EQ(lists.colorForKeyPath("color"), (UIColor{1, 0, 0, 1}));
  EXPECT_EQ(lists.doubleForKeyPath("number"), 7);
  EXPECT_EQ(lists.sizeForKeyPath("size"), (CGSize{1, 2}));
  EXPECT_EQ(lists.edgeInsetsForKeyPath("insets"), (UIEdgeInsets{1, 2, 3, 4}));
  EXPECT_TRUE(lists.boolForKeyPath("flag"));
  EXPECT_TRUE(lists.imageForKeyPath("image"));
  EXPECT_TRUE(lists.imageAtIndex(5));
  EXPECT_EQ(lists.integerForKeyPath("style"), 1);
  EXPECT_EQ(lists.colorForKeyPath("number"), std::nullopt) << "of another type";
  EXPECT_EQ(lists.doubleForKeyPath("Number"), 0) << "case counts";
}

TEST_F(AppearanceListsTest, WhatIsWrongWithAListIsSaid) {
  const struct {
    std::vector<std::string> names;
    ::testing::Matcher<std::string> said;
  } cases[] = {
      {{}, IsEmpty()},
      {{"base"}, "Palette base: no value for style\n"},
      {{"own"}, HasSubstr("Palette own: no value for color, size, insets, flag, image\n")},
      {{"missing"},
       AllOf(HasSubstr("Palette missing: "), HasSubstr(palettes() / "missing.plist"),
             Not(HasSubstr("no value")))},
      {{"damaged"},
       HasSubstr("Palette damaged: " + (palettes() / "damaged.plist").string() + ": ")},
      {{"list"}, HasSubstr("list.plist: a palette is a dictionary of keys and values")},
  };
  for (const auto& [names, said] : cases) {
    const Lists lists(names);
    EXPECT_THAT(saidBy(lists), said);
    EXPECT_EQ(lists.integerForKeyPath("style"), names == std::vector<std::string>{"own"} ? 1 : 3);
    EXPECT_EQ(lists.imageForKeyPath("image") != nullptr, names == std::vector<std::string>{"base"});
  }
}

TEST(KAAppearanceColors, HaveTheHuesOfTheirNames) {
  for (const KAAppearanceColors* const colors :
       {static_cast<const KAAppearanceColors*>(KAAppearanceDefaultColors::appearance().get()),
        static_cast<const KAAppearanceColors*>(KAAppearanceDarkColors::appearance().get())}) {
    const UIColor red = *colors->kestrelRedColor(), blue = *colors->kestrelBlueColor();
    EXPECT_GT(red.red, 2 * std::max(red.green, red.blue));
    EXPECT_GT(blue.blue, blue.red);
  }
}

}  // namespace
}  // namespace tasklane
