#pragma once

#include <memory>
#include <string>

#include "foundation/EncodedImage.h"
#include "foundation/ImageSource.h"
#include "foundation/ImageStrips.h"

namespace tasklane {

/// What the codec module is asked for.
struct ImageCodecRequest {
  /// Must outlive the decoder.
  const ImageSource* source;
  EncodedImage::Header header;
  /// A folder on a disk for what does not fit in memory.
  std::string scratchFolder;
};

/// The module's only symbol, "tasklane_open_image": a decoder, or the reason why there is none.
using OpenImageFunction = void (*)(const ImageCodecRequest& request,
                                   Result<std::unique_ptr<StripProducer>>& result);

/// A decoder for the formats other than JPEG and PNG.
///
/// Their libraries, with all that these need, take longer to load than a small program runs. So
/// they are linked to a module of their own, tasklane_image_codecs, which is loaded at the first
/// such picture: from the path in TASKLANE_IMAGE_CODECS, from the program's folder, or from the
/// folder Frameworks in it or up to three levels above (that of the application's bundle). One such
/// picture is decoded at a time in the process, since some of these libraries must hold it whole;
/// the decoder keeps that turn until it is dropped.
Result<std::unique_ptr<StripProducer>> openWithCodecModule(const ImageCodecRequest& request);

}  // namespace tasklane
