#pragma once

#include "foundation/images/EncodedImage.h"
#include "foundation/images/decoding/ImageStrips.h"

namespace tasklane {

/// The strips averaged down to fit a square of the given side (never up), upright and
/// premultiplied.
Result<EncodedImage::Pixels> scaleToFit(StripProducer& producer, int side);

}  // namespace tasklane
