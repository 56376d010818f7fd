#pragma once

#include <string_view>

namespace tasklane::detail {

/// A caller's mistake that no program can recover from: says on the console what was wrong and how
/// to put it right, and stops the program.
[[noreturn]] void programmingError(std::string_view message);

}  // namespace tasklane::detail
