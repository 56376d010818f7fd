#pragma once

#include <functional>

#include "foundation/images/decoding/ImageStrips.h"

namespace tasklane {

/// Moves a picture strip by strip from its decoder, on a thread of its own, to a consumer on the
/// caller's thread; a few strips wait between them. Ends with the decoder's finish(). The first
/// failure of either side stops both and is the result.
Result<void> runStripPipeline(StripProducer& producer,
                              const std::function<Result<void>(const Strip&)>& consume);

}  // namespace tasklane
