#include "shared-store/TLXContainers.h"

#include <gtest/gtest.h>

#include "shared-store/SharedStoreTesting.h"

namespace tasklane {
namespace {

using Titles = std::vector<std::string>;

PropertyList entry(const char* identifier, const char* title) {
  return PropertyListDictionary{{"id", identifier}, {"title", title}};
}

Titles titles(const std::vector<PropertyList>& entries) {
  Titles result;
  for (const auto& each : entries) result.push_back(*each.valueForKey(TLXContainerTitle)->string());
  return result;
}

class TLXContainersTest : public ::testing::Test {
 protected:
  void SetUp() override { testing::emptySharedContainer(); }

  void publish(const PropertyList& catalogue) {
    testing::overwriteWithPlist(testing::sharedPath("containers.plist"), catalogue);
    TLXContainers::presenter()->refreshPlist();
  }
};

TEST_F(TLXContainersTest, IsEmptyWithoutACatalogue) {
  EXPECT_TRUE(TLXContainers::orderedProjects().empty());
  EXPECT_EQ(TLXContainers::uniqueIDForProjectNamed("Home"), std::nullopt);
  EXPECT_EQ(TLXContainers::contextWithUniqueID("c1"), std::nullopt);

  publish(PropertyListDictionary{{"projects", PropertyListDictionary{{"p", entry("p", "Home")}}}});
  EXPECT_TRUE(TLXContainers::orderedProjects().empty()) << "the order is the only way in";

  publish(PropertyListDictionary{{"projects", "none"}, {"orderedProjectIDs", 3}});
  EXPECT_TRUE(TLXContainers::orderedProjects().empty());
}

TEST_F(TLXContainersTest, FollowsThePublishedOrder) {
  publish(PropertyListDictionary{
      {"projects", PropertyListDictionary{{"a", entry("a", "Garten")},
                                          {"b", entry("b", "Home")},
                                          {"c", entry("c", "家")},
                                          {"hidden", entry("hidden", "Hidden")}}},
      {"orderedProjectIDs", PropertyList::Array{"c", "gone", "b", 7, "a", "b"}},
      {"contexts", PropertyListDictionary{{"1", entry("1", "Desk")}, {"2", entry("2", "Desk")}}},
      {"orderedContextIDs", PropertyList::Array{"2", "1"}}});

  EXPECT_EQ(titles(TLXContainers::orderedProjects()), (Titles{"家", "Home", "Garten", "Home"}));
  EXPECT_EQ(TLXContainers::uniqueIDForProjectNamed("家"), "c");
  EXPECT_EQ(TLXContainers::uniqueIDForProjectNamed("home"), std::nullopt);
  EXPECT_EQ(TLXContainers::uniqueIDForProjectNamed("Hidden"), std::nullopt);
  EXPECT_EQ(TLXContainers::projectWithUniqueID("hidden"), entry("hidden", "Hidden"));
  EXPECT_EQ(TLXContainers::uniqueIDForContextNamed("Desk"), "2") << "the first in order wins";
  EXPECT_EQ(TLXContainers::contextWithUniqueID("a"), std::nullopt);
  EXPECT_EQ(TLXContainers::contextWithUniqueID("1"), entry("1", "Desk"));
  EXPECT_EQ(TLXContainers::orderedContexts(),
            (std::vector<PropertyList>{entry("2", "Desk"), entry("1", "Desk")}));

  publish(PropertyListDictionary{{"contexts", PropertyListDictionary{{"1", entry("1", "Phone")}}},
                                 {"orderedContextIDs", PropertyList::Array{"1"}}});
  EXPECT_TRUE(TLXContainers::orderedProjects().empty()) << "made anew of what was published since";
  EXPECT_EQ(titles(TLXContainers::orderedContexts()), Titles{"Phone"});
}

TEST_F(TLXContainersTest, FindsByTitleOnlyWhatHasOne) {
  publish(PropertyListDictionary{
      {"projects", PropertyListDictionary{{"a", PropertyListDictionary{{"id", "a"}}},
                                          {"b", PropertyListDictionary{{"title", 7}, {"id", "b"}}},
                                          {"c", PropertyListDictionary{{"title", "7"}}},
                                          {"d", entry("d", "7")},
                                          {"e", "no entry"},
                                          {"f", entry("f", "Other")}}},
      {"orderedProjectIDs", PropertyList::Array{"a", "b", "e", "c", "d", "f"}}});
  EXPECT_EQ(TLXContainers::uniqueIDForProjectNamed("7"), std::nullopt) << "the first has no id";
  EXPECT_EQ(TLXContainers::uniqueIDForProjectNamed("Other"), "f");
  EXPECT_EQ(TLXContainers::uniqueIDForProjectNamed(""), std::nullopt);
}

}  // namespace
}  // namespace tasklane
