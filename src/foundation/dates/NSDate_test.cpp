#include "foundation/dates/NSDate.h"

#include <gtest/gtest.h>

#include <set>

#include "foundation/base/NSUUID.h"

namespace tasklane {
namespace {

TEST(Clock, IsHeldAndThenFollowsTheSystemAgain) {
  {
    Clock::Fixed clock(NSDate(NSTimeInterval(0)));
    EXPECT_EQ(Clock::now(), NSDate(NSTimeInterval(0)));
    clock.advance(NSTimeInterval(1.5));
    EXPECT_EQ(Clock::now(), NSDate(NSTimeInterval(1.5)));
    clock.set(NSDate(NSTimeInterval(-7)));
    EXPECT_EQ(Clock::now(), NSDate(NSTimeInterval(-7)));
  }
  const NSTimeInterval apart = Clock::now() - NSDate(std::chrono::system_clock::now());
  EXPECT_LT(std::abs(apart.count()), 60);
}

TEST(NSUUID, HasTheFormOfARandomIdentifier) {
  std::set<std::string> seen;
  for (int i = 0; i < 1000; ++i) {
    const std::string uuid = NSUUID::UUIDString();
    ASSERT_EQ(uuid.size(), 36u);
    for (std::size_t at = 0; at < uuid.size(); ++at) {
      const bool dash = at == 8 || at == 13 || at == 18 || at == 23;
      const char* const allowed = dash       ? "-"
                                  : at == 14 ? "4"
                                  : at == 19 ? "89AB"
                                             : "0123456789ABCDEF";
      ASSERT_NE(std::string(allowed).find(uuid[at]), std::string::npos) << uuid;
    }
    ASSERT_TRUE(seen.insert(uuid).second);
  }
}

}  // namespace
}  // namespace tasklane
