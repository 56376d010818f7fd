#pragma once

#include <memory>
#include <string>

#include "foundation/images/decoding/ImageStrips.h"
#include "foundation/images/decoding/PictureDecoding.h"

namespace tasklane {

/// How a JPEG is to be decoded.
struct JPEGDecoding {
  /// Yield the planes as they are stored (YCbCr or gray), where the picture has such; otherwise,
  /// and when false, RGB or gray pixels.
  bool planes = true;
  /// Decode at this many eighths of the size (1 to 8); pixels only.
  unsigned int eighths = 8;
  std::string colorProfile;
};

/// A JPEG's decoder. Mirrored planes whose size is no multiple of their sampling would shift their
/// colours, so such a picture is yielded as pixels.
OpenedImage openJPEG(const DecoderInput& input, JPEGDecoding decoding);

/// An encoder of strips into a JPEG file: planes as they are, pixels with colours at full
/// resolution. Quality is 0 to 1; the descriptor is not owned.
class JPEGEncoder {
 public:
  virtual ~JPEGEncoder() = default;
  virtual Result<void> add(const Strip& strip) = 0;
  virtual Result<void> finish() = 0;
};
Result<std::unique_ptr<JPEGEncoder>> makeJPEGEncoder(const StripLayout& layout,
                                                     const std::string& colorProfile,
                                                     double quality, int fileDescriptor);

}  // namespace tasklane
