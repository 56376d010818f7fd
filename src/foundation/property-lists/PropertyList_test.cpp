#include "foundation/property-lists/PropertyList.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace tasklane {
namespace {

TEST(PropertyList, KeepsTheWholeIntegerRangeAndAnswersOnlyWhatFits) {
  constexpr auto smallest = std::numeric_limits<std::int64_t>::min();
  constexpr auto largest = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(PropertyList(smallest).int64(), smallest);
  EXPECT_FALSE(PropertyList(smallest).uint64());
  EXPECT_EQ(PropertyList(largest).uint64(), largest);
  EXPECT_FALSE(PropertyList(largest).int64());
  EXPECT_EQ(PropertyList(5), PropertyList(5u));
  EXPECT_NE(PropertyList(-1), PropertyList(largest));  // the same bits
}

TEST(PropertyList, ComparesByTypeAndContents) {
  const PropertyList one = PropertyListDictionary{{"a", PropertyList::Array{1, "x", true}}};
  const PropertyList same = PropertyListDictionary{{"a", PropertyList::Array{1, "x", true}}};
  EXPECT_EQ(one, same);
  EXPECT_EQ(PropertyList(std::nan("")), PropertyList(-std::nan("")));
  const std::vector<PropertyList> values = {{},       PropertyList::Array{}, "",  0,   0.0, false,
                                            NSDate(), PropertyList::Data{},  one, "1", 1,   1.0,
                                            true};
  for (const PropertyList& left : values)
    for (const PropertyList& right : values) EXPECT_EQ(left == right, &left == &right);
}

TEST(PropertyList, ReadsNumbersLoosely) {
  const struct {
    PropertyList value;
    double real;
    std::int64_t integer;
    bool truth;
  } cases[] = {{-3, -3, -3, true},
               {2.75, 2.75, 2, true},
               {true, 1, 1, true},
               {0.0, 0, 0, false},
               {1e30, 1e30, std::numeric_limits<std::int64_t>::max(), true},
               {"12", 0, 0, false},
               {PropertyList(), 0, 0, false}};
  for (const auto& c : cases) {
    EXPECT_EQ(c.value.doubleValue(), c.real);
    EXPECT_EQ(c.value.integerValue(), c.integer);
    EXPECT_EQ(c.value.boolValue(), c.truth);
  }
  EXPECT_EQ(PropertyList(std::nan("")).integerValue(), 0);
}

TEST(PropertyList, CopiesShareContentsAndAreIndependentOfTheOriginal) {
  PropertyList original = PropertyList::Array{"a long enough string to be on the heap"};
  const PropertyList copy = original;
  EXPECT_EQ(copy.array(), original.array());
  const PropertyList& itself = original;
  original = itself;
  const PropertyList moved = std::move(original);
  original = 7;
  EXPECT_EQ(copy, moved);
  PropertyList nested = PropertyListDictionary{{"inner", "value"}};
  nested = *nested.valueForKey("inner");  // the source dies with what it is assigned to
  EXPECT_EQ(nested, PropertyList("value"));
}

TEST(PropertyListDictionary, SortsByBytesAndKeepsTheLastOfEqualKeys) {
  PropertyListDictionary entries(std::vector<PropertyListDictionary::Entry>{
      {"b", 1}, {"é", 2}, {"a", 3}, {"b", 4}, {"Z", 5}, {"b", 6}});
  EXPECT_EQ(entries, (PropertyListDictionary{{"Z", 5}, {"a", 3}, {"b", 6}, {"é", 2}}));
  entries.set("a", 9);
  entries.set("aa", 10);
  entries.erase("Z");
  entries.erase("not there");
  std::string keys;
  for (const auto& [key, value] : entries) keys.append(key).append(",");
  EXPECT_EQ(keys, "a,aa,b,é,");
  EXPECT_EQ(entries.find("a")->integerValue(), 9);
  EXPECT_EQ(entries.find("A"), nullptr);
}

}  // namespace
}  // namespace tasklane
