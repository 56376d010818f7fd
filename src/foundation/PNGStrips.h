#pragma once

#include <memory>
#include <string>

#include "foundation/ImageSource.h"
#include "foundation/ImageStrips.h"

namespace tasklane {

struct PNGDecoding {
  /// Keep the transparency (RGBA) instead of laying the picture on white.
  bool alpha = false;
  /// Orientation of the stored pixels.
  int orientation = 1;
  std::string scratchFolder;
};

/// A PNG's decoder, row by row, 8 bits a sample, in the standard RGB space unless the picture has a
/// profile. An interlaced picture waits in a nameless file in the scratch folder between its
/// passes. The source must outlive it.
Result<std::unique_ptr<StripProducer>> openPNG(const ImageSource& source, PNGDecoding decoding);

}  // namespace tasklane
