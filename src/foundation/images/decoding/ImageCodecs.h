#pragma once

#include <string>

#include "foundation/images/decoding/PictureDecoding.h"

namespace tasklane {

/// Loads the decoders of the rarer formats from their module in a folder (with a slash at its end),
/// for as long as the process lives. Null where they are missing or cannot be loaded.
OpenImageFunction loadImageCodecs(const std::string& folder);

}  // namespace tasklane
