#include "foundation/images/decoding/codecs/Codecs.h"

#include <algorithm>
#include <exception>
#include <new>

namespace tasklane {

NSError needsTooMuchMemory(const DecoderInput& input, std::uint64_t bytes) {
  return {NSError::Kind::Unsupported, "its " + std::to_string(input.header.width) + " by " +
                                          std::to_string(input.header.height) +
                                          " pixels would take " + std::to_string(bytes >> 20) +
                                          " MB of memory to decode, more than is allowed; " +
                                          "share it as a JPEG or PNG, or smaller"};
}

NSError damaged(const std::string& how) {
  return {NSError::Kind::Corrupt, "it is damaged: " + how};
}

const Levels& Levels::ofVideo() {
  static const Levels levels = [] {
    Levels made;
    for (std::size_t value = 0; value < made.luma.size(); ++value) {
      const auto stretched = [value](double zero, double range, double center) {
        const double level = (static_cast<double>(value) - zero) * 255 / range + center;
        return static_cast<std::uint8_t>(std::clamp(level + 0.5, 0.0, 255.0));
      };
      made.luma[value] = stretched(16, 219, 0);
      made.chroma[value] = stretched(128, 224, 128);
    }
    return made;
  }();
  return levels;
}

const Levels& Levels::full() {
  static const Levels levels = [] {
    Levels made;
    for (std::size_t value = 0; value < made.luma.size(); ++value)
      made.luma[value] = made.chroma[value] = static_cast<std::uint8_t>(value);
    return made;
  }();
  return levels;
}

Result<void> RGBRows::fill(Strip& strip) {
  for (std::uint32_t y = 0; y < layout_.rowsPerStrip() && next_ < layout_.height; ++y, ++next_) {
    if (auto read = readRow(next_, strip.row(0, y)); !read) return read;
  }
  return {};
}

namespace {

OpenedImage open(const DecoderInput& input) {
  switch (input.header.format) {
    case EncodedImage::Format::BMP:
      return openBMP(input);
    case EncodedImage::Format::GIF:
      return openGIF(input);
    case EncodedImage::Format::TIFF:
      return openTIFF(input);
    case EncodedImage::Format::WebP:
      return openWebP(input);
    case EncodedImage::Format::HEIC:
    case EncodedImage::Format::AVIF:
      return openHEIF(input);
    default:
      return NSError{NSError::Kind::Unsupported, "there is no decoder for it"};
  }
}

}  // namespace

extern "C" [[gnu::visibility("default")]] void tasklane_open_image(const DecoderInput& input,
                                                                   OpenedImage& result) {
  try {
    result = open(input);
  } catch (const std::bad_alloc&) {
    result = NSError{NSError::Kind::Unsupported, "it takes more memory to decode than is allowed"};
  } catch (const std::exception& exception) {
    result = damaged(exception.what());
  }
}

}  // namespace tasklane
