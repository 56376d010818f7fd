#include "kestrel/views/KAAppearanceKey.h"

#include <gtest/gtest.h>

#include <limits>

#include "kestrel/views/KAAppearancePropertyList.h"

namespace tasklane {
namespace {

using Type = KAAppearanceValueType;

const KFEnumNameTable& barStyles() {
  static const auto table = [] {
    KFEnumNameTable names(0);
    names.setName("default", 0);
    names.setName("black", 1);
    return names;
  }();
  return table;
}

KAAppearanceKey keyOf(Type type) { return {"Key", type, "Group", barStyles}; }

PropertyList size(PropertyList width, PropertyList height) {
  return PropertyListDictionary{{"width", width}, {"height", height}};
}

TEST(KAAppearanceKey, ConvertsWhatItsTypeSpells) {
  const PropertyList insets =
      PropertyListDictionary{{"top", 1}, {"left", 2.5}, {"bottom", 0}, {"right", -4}};
  const struct {
    Type type;
    PropertyList spelled;
    KAAppearanceValue value;
  } cases[] = {
      {Type::Color, "#000000", std::optional(UIColor::blackColor())},
      {Type::Color, "#fF000080", std::optional(UIColor{1, 0, 0, 128 / 255.0})},
      {Type::Color, "#9a19AF", std::optional(UIColor{154 / 255.0, 25 / 255.0, 175 / 255.0, 1})},
      {Type::Number, 7, 7.0},
      {Type::Number, 0.25, 0.25},
      {Type::Size, size(36, 5.5), CGSize{36, 5.5}},
      {Type::EdgeInsets, insets, UIEdgeInsets{1, 2.5, 0, -4}},
      {Type::Boolean, true, true},
      {Type::Image, "Tile.png", std::string("Tile.png")},
      {Type::Enum, "black", std::int64_t{1}},
  };
  for (const auto& [type, spelled, value] : cases) {
    std::string reason;
    EXPECT_EQ(keyOf(type).convert(spelled, reason), value);
    EXPECT_EQ(reason, "");
  }
}

TEST(KAAppearanceKey, WithoutAValueHasTheEmptyOneOfItsType) {
  const std::pair<Type, KAAppearanceValue> cases[] = {{Type::Color, std::optional<UIColor>()},
                                                      {Type::Number, 0.0},
                                                      {Type::Size, CGSize{}},
                                                      {Type::EdgeInsets, UIEdgeInsets{}},
                                                      {Type::Boolean, false},
                                                      {Type::Image, std::string()},
                                                      {Type::Enum, std::int64_t{0}}};
  for (const auto& [type, value] : cases) EXPECT_EQ(keyOf(type).emptyValue(), value);
}

TEST(KAAppearanceKey, SaysWhatItNeedsAndWhatItFound) {
  const struct {
    Type type;
    PropertyList spelled;
    std::string reason;
  } cases[] = {
      {Type::Color, "000000", "not the text \"000000\""},
      {Type::Color, "#00000", "\"#RRGGBB\""},
      {Type::Color, "#0000000", "a colour"},
      {Type::Color, "#00 000", "a colour"},
      {Type::Color, "#+1-2+3", "a colour"},
      {Type::Color, "#00~000", "a colour"},
      {Type::Color, "#00@000", "a colour"},
      {Type::Color, 0, "not a number"},
      {Type::Number, "7", "a finite number, not the text \"7\""},
      {Type::Number, true, "not a boolean"},
      {Type::Number, std::numeric_limits<double>::infinity(), "finite"},
      {Type::Size, size(1, "2"), "a size"},
      {Type::Size, PropertyListDictionary{{"width", 1}}, "a size"},
      {Type::EdgeInsets, size(1, 2), "edge insets"},
      {Type::Boolean, 1, "a boolean, not a number"},
      {Type::Image, "", "the name of an image"},
      {Type::Image, PropertyList::Array{}, "not an array"},
      {Type::Image, size(1, 2), "not a dictionary"},
      {Type::Enum, "Black", "one of \"default\", \"black\", not the text \"Black\""},
      {Type::Enum, 1, "one of"},
  };
  for (const auto& [type, spelled, expected] : cases) {
    std::string reason;
    EXPECT_FALSE(keyOf(type).convert(spelled, reason)) << expected;
    EXPECT_NE(reason.find(expected), std::string::npos) << reason;
  }
}

TEST(KAAppearancePropertyList, KeepsWhatIsGoodAndNamesAllThatIsNot) {
  const KAAppearanceKey keys[] = {{"Width", Type::Number, "A"},
                                  {"Color", Type::Color, "A"},
                                  {"Missing", Type::Number, "A"},
                                  {"Optional", Type::Number, "A", nullptr, false}};
  std::vector<KAAppearanceValue> values{3.0, std::optional(UIColor::blackColor()), 5.0, 6.0};
  std::vector<bool> found(4);
  const auto list = NSPropertyListSerialization::propertyListWithData(
      "<plist><dict><key>Width</key><real>8</real><key>Color</key><integer>1</integer>"
      "<key>width</key><real>4</real><key>Height</key><real>2</real>"
      "<key>Width</key><real>9</real></dict></plist>");
  std::string complaints;
  for (const auto& complaint :
       KAAppearancePropertyList::readValues(list.value(), keys, values, found))
    complaints += complaint.description() + "\n";
  EXPECT_EQ(complaints,
            "Width is there more than once\n"
            "Color needs a colour, \"#RRGGBB\" or \"#RRGGBBAA\", not a number\n"
            "Height is not a key of this palette\n"
            "width is not a key of this palette\n");
  EXPECT_EQ(values, (std::vector<KAAppearanceValue>{9.0, std::optional<UIColor>(), 5.0, 6.0}));
  EXPECT_EQ(KAAppearancePropertyList::missingKeys(keys, found),
            std::vector<std::string>{"Missing"});

  const NSPropertyListSerialization::Parsed number{1, list.value().format, {}};
  const auto noDictionary = KAAppearancePropertyList::readValues(number, keys, values, found);
  ASSERT_EQ(noDictionary.size(), 1u);
  EXPECT_EQ(noDictionary[0].description(), "a palette is a dictionary of keys and values");
}

}  // namespace
}  // namespace tasklane
