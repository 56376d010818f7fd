#pragma once

#include <memory>

#include "foundation/images/decoding/ImageStrips.h"
#include "foundation/images/decoding/ScratchFile.h"

namespace tasklane {

/// A picture turned upright: the strips of another one with its stored orientation applied.
///
/// The samples wait in the scratch file, cut so that what one strip of the
/// result needs lies together; a few megabytes at a time are in memory.
Result<std::unique_ptr<StripProducer>> makeUpright(std::unique_ptr<StripProducer> stored,
                                                   ScratchFile& scratch);

/// Whether an orientation exchanges width and height.
constexpr bool orientationExchangesSides(int orientation) { return orientation >= 5; }

/// Where a pixel of the upright picture lies in a stored one (whose size is given).
struct StoredPlace {
  std::uint32_t x;
  std::uint32_t y;
};
constexpr StoredPlace storedPlaceOf(int orientation, std::uint32_t storedWidth,
                                    std::uint32_t storedHeight, std::uint32_t x, std::uint32_t y) {
  const std::uint32_t right = storedWidth - 1, bottom = storedHeight - 1;
  switch (orientation) {
    case 2:
      return {right - x, y};
    case 3:
      return {right - x, bottom - y};
    case 4:
      return {x, bottom - y};
    case 5:
      return {y, x};
    case 6:
      return {y, bottom - x};
    case 7:
      return {right - y, bottom - x};
    case 8:
      return {right - y, x};
    default:
      return {x, y};
  }
}

}  // namespace tasklane
