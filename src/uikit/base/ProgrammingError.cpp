#include "uikit/base/ProgrammingError.h"

#include <cstdio>
#include <cstdlib>

namespace tasklane::detail {

void programmingError(std::string_view message) {
  std::fprintf(stderr, "programming error: %.*s\n", static_cast<int>(message.size()),
               message.data());
  std::abort();
}

}  // namespace tasklane::detail
