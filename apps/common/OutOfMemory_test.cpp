#include "common/OutOfMemory.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

namespace tasklane {
namespace {

void useUpMemory() { throw std::bad_alloc(); }

[[noreturn]] void endBy(bool isSaved, bool isMemory) {
  OutOfMemory::endPlainly("nothing was saved");
  if (isSaved) OutOfMemory::changeIsSaved();
  if (isMemory) []() noexcept { useUpMemory(); }();
  std::exit(static_cast<int>(OutOfMemory::codeAfter(
      "program", std::system_error(std::make_error_code(std::errc::too_many_files_open)))));
}

TEST(OutOfMemory, TheEndTellsWhetherItIsSaved) {
  const struct {
    bool isSaved, isMemory;
    int code;
    const char* text;
  } cases[] = {{false, false, 74, "^program: Nothing was done: .*open files"},
               {true, false, 0, "^program: It is done, but .*open files"},
               {false, true, 74, "^nothing was saved"},
               {true, true, 0, "^It is done, but there is not enough memory"}};
  for (const auto& [isSaved, isMemory, code, text] : cases)
    EXPECT_EXIT(endBy(isSaved, isMemory), ::testing::ExitedWithCode(code), text);
}

}  // namespace
}  // namespace tasklane
