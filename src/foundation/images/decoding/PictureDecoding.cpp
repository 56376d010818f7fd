#include "foundation/images/decoding/PictureDecoding.h"

#include <algorithm>
#include <utility>

#include "foundation/images/decoding/FullChroma.h"
#include "foundation/images/decoding/ImageThumbnail.h"
#include "foundation/images/decoding/JPEGStrips.h"
#include "foundation/images/decoding/PNGStrips.h"
#include "foundation/images/decoding/StripPipeline.h"
#include "foundation/images/decoding/UprightStrips.h"

namespace tasklane {

namespace {

using Format = EncodedImage::Format;

/// The largest reduction by eighths that still covers the side asked for.
unsigned int eighthsFor(const ImageHeader& header, int side) {
  const std::uint64_t longest = std::max(header.width, header.height);
  const std::uint64_t eighths = (std::uint64_t(std::max(side, 1)) * 8 + longest - 1) / longest;
  return static_cast<unsigned int>(std::clamp<std::uint64_t>(eighths, 1, 8));
}

/// A decoder of the picture whole, or of what a thumbnail of the side (not 0) needs of it.
OpenedImage open(Format format, const ImageSource& source, ScratchFile& scratch,
                 OpenImageFunction openOther, int side) {
  auto header = readImageHeader(format, source);
  if (!header) return header.error();
  const DecoderInput input{&source, &scratch, header.value()};
  if (format == Format::JPEG) {
    JPEGDecoding decoding;
    decoding.planes = side == 0;
    if (side == 0) decoding.colorProfile = colorProfileOfJPEG(source);
    if (side != 0) decoding.eighths = eighthsFor(header.value(), side);
    return openJPEG(input, std::move(decoding));
  }
  if (format == Format::PNG) return openPNG(input, side != 0);
  if (openOther == nullptr)
    return NSError{NSError::Kind::Unsupported,
                   "the decoders of its format are missing or cannot be loaded"};
  OpenedImage result = NSError{};
  openOther(input, result);
  return result;
}

}  // namespace

Result<void> encodeJPEG(Format format, const ImageSource& source, ScratchFile& scratch,
                        OpenImageFunction openOther, double quality, int result) {
  auto opened = open(format, source, scratch, openOther, 0);
  if (!opened) return opened.error();
  auto stored = std::move(opened).value();
  if (needsFullChroma(*stored)) stored = makeFullChroma(std::move(stored));
  auto upright = makeUpright(std::move(stored), scratch);
  if (!upright) return upright.error();
  StripProducer& producer = *upright.value();
  auto encoder = makeJPEGEncoder(producer.layout(), producer.colorProfile(), quality, result);
  if (!encoder) return encoder.error();
  auto moved = runStripPipeline(
      producer, [&encoder](const Strip& strip) { return encoder.value()->add(strip); });
  if (!moved) return moved;
  return encoder.value()->finish();
}

Result<EncodedImage::Pixels> makeThumbnail(Format format, const ImageSource& source,
                                           ScratchFile& scratch, OpenImageFunction openOther,
                                           int side) {
  auto opened = open(format, source, scratch, openOther, side);
  if (!opened) return opened.error();
  return scaleToFit(*opened.value(), side);
}

}  // namespace tasklane
