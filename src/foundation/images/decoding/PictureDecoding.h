#pragma once

#include <cstdint>
#include <memory>

#include "foundation/images/EncodedImage.h"
#include "foundation/images/decoding/ImageHeader.h"
#include "foundation/images/decoding/ImageSource.h"
#include "foundation/images/decoding/ImageStrips.h"
#include "foundation/images/decoding/ScratchFile.h"

namespace tasklane {

/// What a decoder works on. Both must outlive it.
struct DecoderInput {
  const ImageSource* source = nullptr;
  ScratchFile* scratch = nullptr;
  ImageHeader header;
};

/// A decoder that has looked at its picture, or the reason why there is none.
using OpenedImage = Result<std::unique_ptr<StripProducer>>;

/// The decoders of the rarer formats, which stand in a module of their own: their libraries, with
/// all that these need, take longer to load than most pictures take to decode.
using OpenImageFunction = void (*)(const DecoderInput& input, OpenedImage& result);

/// The picture as an upright JPEG, written to the end of a file. Errors speak of the picture as
/// "it".
Result<void> encodeJPEG(EncodedImage::Format format, const ImageSource& source,
                        ScratchFile& scratch, OpenImageFunction openOther, double quality,
                        int result);

/// A thumbnail that fits a square of the side.
Result<EncodedImage::Pixels> makeThumbnail(EncodedImage::Format format, const ImageSource& source,
                                           ScratchFile& scratch, OpenImageFunction openOther,
                                           int side);

}  // namespace tasklane
