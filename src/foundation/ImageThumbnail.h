#pragma once

#include "foundation/EncodedImage.h"
#include "foundation/ImageStrips.h"

namespace tasklane {

/// The strips averaged down to fit a square of the given side (never up), upright and
/// premultiplied. The layout must be one of pixels.
Result<EncodedImage::Pixels> scaleToFit(StripProducer& producer, int side);

}  // namespace tasklane
