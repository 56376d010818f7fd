#include "foundation/base/NSLog.h"

#include <gmock/gmock.h>

#include <cstdlib>

#include "foundation/base/Logger.h"

namespace tasklane {
namespace {

std::string console(const std::function<void()>& writing) {
  ::testing::internal::CaptureStderr();
  writing();
  return ::testing::internal::GetCapturedStderr();
}

TEST(NSLog, WritesTextAsItIsAndControlCharactersHarmless) {
  const struct {
    std::string text, line;
  } cases[] = {
      {"Grüße, 世界\tand\nmore", "Grüße, 世界\tand\nmore\n"},
      {"\x1b[2J\r\x7f", "\\x1b[2J\\x0d\\x7f\n"},
      {"\xc2\x9b"
       "2J \xc2\xa0 \xc2",
       "\\x9b2J \xc2\xa0 \xc2\n"},
      {std::string("a\0b", 3), "a\\x00b\n"},
      {"", "\n"},
  };
  for (const auto& each : cases) {
    EXPECT_EQ(console([&] { NSLog(each.text); }), each.line);
  }
}

TEST(NSLog, FillsFormatsOnce) {
  EXPECT_EQ(stringWithFormat("Error writing %@: %@", {"%@", "full"}), "Error writing %@: full");
  EXPECT_EQ(stringWithFormat("%@%@", {"a"}), "a%@");
  EXPECT_EQ(stringWithFormat("100 %", {"a"}), "100 %");
}

TEST(NSLogDeathTest, AFailedAssertionNamesBothPlaces) {
  EXPECT_EXIT(
      TASKLANE_ASSERT(1 > 2, "notifier != nil", "iOS/SharingExtensions/TLXDarwinNotifier", 29),
      ::testing::KilledBySignal(SIGABRT),
      "\"notifier != nil\".*iOS/SharingExtensions/TLXDarwinNotifier:29.*NSLog_test.cpp:[0-9]+");
}

TEST(Logger, WritesLinesUpToItsLevel) {
  const struct {
    const char* variable;
    int level;
  } cases[] = {{"", 0},  {"A=1", 1}, {"B=1", 0}, {"AB=2,A=3", 3},
               {"A", 0}, {"A=", 0},  {"A=x", 0}, {",,A=2,", 2}};
  for (const auto& each : cases) {
    setenv("TASKLANE_LOG", each.variable, 1);
    const Logger logger("A");
    std::string expected;
    for (int line = 1; line <= each.level; ++line) expected += std::to_string(line) + "\n";
    EXPECT_EQ(console([&] {
                for (int line = 1; line <= 4; ++line) logger.log(line, std::to_string(line));
              }),
              expected)
        << each.variable;
  }
  unsetenv("TASKLANE_LOG");
}

}  // namespace
}  // namespace tasklane
