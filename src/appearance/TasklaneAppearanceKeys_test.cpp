#include "appearance/TasklaneAppearanceKeys.h"

#include <gtest/gtest.h>

#include <map>
#include <set>

namespace tasklane {
namespace {

// The lists of every palette ever made hold these keys: one that is lost or renamed breaks them.
TEST(TasklaneAppearanceKeys, HoldsEveryKeyOfEveryGroupOnce) {
  const std::map<std::string_view, int> expected{{"General", 22},
                                                 {"Forecast", 9},
                                                 {"Review", 2},
                                                 {"StandardGrouped", 5},
                                                 {"StandardPlain", 3},
                                                 {"StandardDisclosure", 1},
                                                 {"SplitView", 2},
                                                 {"VerticalSplitTransition", 2},
                                                 {"ModalSheet", 7},
                                                 {"ForecastEventTimeline", 20},
                                                 {"Placeholder", 2},
                                                 {"ForecastCompactEventTimeline", 4},
                                                 {"AddInboxButton", 6},
                                                 {"PerspectiveIconPicker", 3},
                                                 {"HighlightedField", 2},
                                                 {"InlineEditor", 5},
                                                 {"Editor", 8},
                                                 {"SavePlus", 2},
                                                 {"ItemToMove", 2},
                                                 {"ShadingController", 2},
                                                 {"ProgressController", 6},
                                                 {"StatusCircle", 19},
                                                 {"TaskBubble", 2},
                                                 {"Nearby", 3},
                                                 {"SecretBar", 9},
                                                 {"HomeCell", 2},
                                                 {"HomeScreen", 35},
                                                 {"TodayExtension", 2},
                                                 {"FlagDogEar", 3},
                                                 {"TodayItemCell", 2}};
  std::map<std::string_view, int> counts;
  std::set<std::string_view> names;
  for (const auto& key : tasklaneTodayAppearanceKeys()) {
    EXPECT_TRUE(names.insert(key.name).second) << key.name;
    if (key.required) ++counts[key.group];
  }
  EXPECT_EQ(counts, expected);
  EXPECT_EQ(names.size(), 192u + 2u);  // and the two insets that have operations of their own
  EXPECT_EQ(tasklaneAppearanceKeys().size(), names.size() - 2);
  EXPECT_TRUE(names.contains("OutlineActionCellIdentationSpacing"));
}

}  // namespace
}  // namespace tasklane
