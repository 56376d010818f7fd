#include "foundation/text/NSString+PluralFormat.h"

#include <gtest/gtest.h>

namespace tasklane {
namespace {

TEST(PluralFormat, FollowsTheLanguagesRules) {
  const std::string polish =
      "{0, plural, =0{brak} one{# projekt} few{# projekty} many{# projektów} other{# projektu}}";
  struct Case {
    std::string pattern, language;
    std::int64_t number;
    std::string text;
  };
  const Case cases[] = {
      {"{0, plural, one{# project} other{# projects}}", "en", 1, "1 project"},
      {"{0, plural, one{# project} other{# projects}}", "en", 1200, "1,200 projects"},
      {polish, "pl", 0, "brak"},
      {polish, "pl", 3, "3 projekty"},
      {polish, "pl", 12, "12 projektów"},
      {"{0, plural, other{#件}}", "zh-Hans", 5, "5件"},
      {"{0, plural, nonsense", "en", 7, "7"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(stringWithPluralFormat(c.pattern, c.language, c.number), c.text);
  }
}

}  // namespace
}  // namespace tasklane
