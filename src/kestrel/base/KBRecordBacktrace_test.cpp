#include "kestrel/base/KBRecordBacktrace.h"

#include <gtest/gtest.h>

namespace tasklane {
namespace {

TEST(KBRecordBacktrace, NotesThePlaceAndItsKind) {
  testing::internal::CaptureStderr();
  KBRecordBacktrace("NOTREACHED");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Backtrace recorded (kind 2): NOTREACHED\n");
}

}  // namespace
}  // namespace tasklane
