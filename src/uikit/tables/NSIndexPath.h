#pragma once

#include <compare>
#include <cstddef>

namespace tasklane {

/// A row of a table: section, then row, each from 0.
struct NSIndexPath {
  std::size_t section = 0;
  std::size_t row = 0;
  auto operator<=>(const NSIndexPath&) const = default;
};

}  // namespace tasklane
