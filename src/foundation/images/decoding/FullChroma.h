#pragma once

#include <memory>

#include "foundation/images/decoding/ImageStrips.h"

namespace tasklane {

/// The planes of another picture, those of colour brought to the size of the first.
///
/// A colour sample stands for a pair of pixels, counted from the left and the top. Turned or
/// mirrored, a picture of odd size has its pairs elsewhere; so its planes are made equal first.
std::unique_ptr<StripProducer> makeFullChroma(std::unique_ptr<StripProducer> stored);

/// Whether that is needed before a picture is turned, and possible: planes halved at most.
bool needsFullChroma(const StripProducer& stored);

}  // namespace tasklane
