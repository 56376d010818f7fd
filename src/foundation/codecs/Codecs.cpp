#include "foundation/codecs/Codecs.h"

#include <exception>

namespace tasklane {

NSError needsTooMuchMemory(const ImageCodecRequest& request, std::uint64_t bytes) {
  return {NSError::Kind::Unsupported,
          request.source->name() + " (" + std::to_string(request.header.width) + " by " +
              std::to_string(request.header.height) + " pixels) would take " +
              std::to_string(bytes >> 20) + " MB of memory to decode, more than is allowed; " +
              "share it as a JPEG or PNG, or smaller"};
}

NSError damaged(const ImageCodecRequest& request, const std::string& how) {
  return {NSError::Kind::Corrupt, request.source->name() + " is damaged: " + how};
}

Result<void> RGBRows::fill(Strip& strip) {
  for (std::uint32_t y = 0; y < layout_.rowsPerStrip() && next_ < layout_.height; ++y, ++next_) {
    if (auto read = readRow(next_, strip.row(0, y)); !read.ok()) return read;
  }
  return {};
}

namespace {

OpenedImage open(const ImageCodecRequest& request) {
  switch (request.header.format) {
    case EncodedImage::Format::BMP:
      return openBMP(request);
    case EncodedImage::Format::GIF:
      return openGIF(request);
    case EncodedImage::Format::TIFF:
      return openTIFF(request);
    case EncodedImage::Format::WebP:
      return openWebP(request);
    case EncodedImage::Format::HEIC:
      return openHEIC(request);
    default:
      break;
  }
  return NSError{NSError::Kind::Unsupported, request.source->name() + ": no decoder"};
}

}  // namespace

extern "C" [[gnu::visibility("default")]] void tasklane_open_image(const ImageCodecRequest& request,
                                                                   OpenedImage& result) {
  try {
    result = open(request);
  } catch (const std::exception& exception) {
    result = NSError{NSError::Kind::Io, request.source->name() + ": " + exception.what()};
  }
}

}  // namespace tasklane
