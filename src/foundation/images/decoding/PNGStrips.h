#pragma once

#include "foundation/images/decoding/PictureDecoding.h"

namespace tasklane {

/// A PNG's decoder, row by row, 8 bits a sample, in the standard RGB space unless the picture has a
/// profile; laid on white unless its transparency is kept (RGBA). An interlaced picture waits in
/// the scratch file between its passes.
OpenedImage openPNG(const DecoderInput& input, bool keepsAlpha);

}  // namespace tasklane
