#pragma once

#include <memory>
#include <string>

#include "foundation/ImageSource.h"
#include "foundation/ImageStrips.h"
#include "foundation/UnnamedFile.h"

namespace tasklane {

struct JPEGDecoding {
  /// Yield the planes as they are stored (YCbCr or gray), where the picture has such; otherwise,
  /// and when false, RGB or gray pixels.
  bool planes = true;
  /// Orientation of the stored pixels; mirrored planes whose size is no multiple of their sampling
  /// would shift their colours, so such a picture is yielded as pixels.
  int orientation = 1;
  /// Decode at this many eighths of the size (1 to 8); pixels only.
  unsigned int eighths = 8;
  std::string colorProfile;
  std::string scratchFolder;
};

/// A JPEG's decoder. The source must outlive it.
Result<std::unique_ptr<StripProducer>> openJPEG(const ImageSource& source, JPEGDecoding decoding);

/// An encoder of strips into a JPEG file: planes as they are, pixels with colours at full
/// resolution. Quality is 0 to 1.
class JPEGEncoder {
 public:
  virtual ~JPEGEncoder() = default;
  virtual Result<void> add(const Strip& strip) = 0;
  virtual Result<void> finish() = 0;
};
Result<std::unique_ptr<JPEGEncoder>> makeJPEGEncoder(const StripLayout& layout,
                                                     const std::string& colorProfile,
                                                     double quality, UnnamedFile& into);

}  // namespace tasklane
