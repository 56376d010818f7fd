#include "kestrel/base/KFEnumNameTable.h"

#include <gtest/gtest.h>

namespace tasklane {
namespace {

TEST(KFEnumNameTable, TheLastSettingOfANameOrAValueCounts) {
  KFEnumNameTable table(7);
  table.setName("light", 0);
  table.setName("dark", 1);
  table.setName("grey", 2);
  EXPECT_EQ(table.nameForEnum(1), "dark");
  EXPECT_EQ(table.enumForName("grey"), 2);
  EXPECT_EQ(table.enumForName("Grey"), std::nullopt);
  EXPECT_EQ(table.nameForEnum(7), std::nullopt);
  table.setName("black", 1);
  table.setName("light", 3);
  const std::vector<std::pair<std::string, std::int64_t>> entries{
      {"grey", 2}, {"black", 1}, {"light", 3}};
  EXPECT_EQ(table.entries(), entries);
  EXPECT_EQ(table.defaultEnumValue(), 7);
}

}  // namespace
}  // namespace tasklane
