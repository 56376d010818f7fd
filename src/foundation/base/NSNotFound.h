#pragma once

#include <cstdint>
#include <limits>

namespace tasklane {

/// The index that means "none": the largest signed 64-bit integer.
inline constexpr std::int64_t NSNotFound = std::numeric_limits<std::int64_t>::max();

}  // namespace tasklane
