#include "foundation/images/decoding/ImageHeader.h"

#include <algorithm>
#include <map>

#include "foundation/images/decoding/HEIFContainer.h"

namespace tasklane {

namespace {

using Format = EncodedImage::Format;

/// What the JPEG format's encoder takes in either direction.
constexpr std::uint32_t kMaximumSide = 65500;
/// Beyond any camera; a picture of more pixels is made to waste somebody's time.
constexpr std::uint64_t kMaximumPixels = 500'000'000;
/// Segments or chunks looked at before a header is taken for endless.
constexpr int kMaximumSegments = 10000;
/// A PNG of a gigabyte, in chunks as small as they come.
constexpr int kMaximumChunks = 150000;
/// Stray bytes between two segments that are passed over.
constexpr std::uint64_t kMaximumGap = 65536;
constexpr std::size_t kMaximumProfile = 4 * 1024 * 1024;

struct JPEGSegment {
  int marker;
  std::uint64_t offset;  ///< of the contents, behind the length
  std::uint32_t length;  ///< of the contents
};

/// Calls a function with each segment in front of the pixels; it returns false to stop. False when
/// the segments end without pixels.
template <class Visit>
bool forEachSegment(HeaderBytes& bytes, Visit visit) {
  std::uint64_t offset = 2;
  for (int count = 0; count < kMaximumSegments; ++count) {
    const std::uint64_t limit = offset + kMaximumGap;
    while (offset < limit && bytes.byte(offset).value_or(0xFF) != 0xFF) ++offset;
    while (offset < limit && bytes.byte(offset).value_or(0) == 0xFF) ++offset;
    const auto marker = bytes.byte(offset++);
    if (!marker) return false;
    if (*marker == 0 || *marker == 1 || (*marker >= 0xD0 && *marker <= 0xD8)) continue;
    const auto length = bytes.bigEndian(offset, 2);
    if (!length || *length < 2) return false;
    if (!visit(JPEGSegment{*marker, offset + 2, *length - 2}) || *marker == 0xDA) return true;
    offset += *length;
  }
  return false;
}

bool isFrame(int marker) {
  return marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
}

std::optional<ImageSize> sizeOfJPEG(HeaderBytes& bytes) {
  ImageSize size;
  bool framed = false;
  std::optional<int> orientation;
  const bool whole = forEachSegment(bytes, [&](const JPEGSegment& segment) {
    if (isFrame(segment.marker) && !framed && segment.length >= 6) {
      size.height = bytes.bigEndian(segment.offset + 1, 2).value_or(0);
      size.width = bytes.bigEndian(segment.offset + 3, 2).value_or(0);
      framed = true;
    }
    if (segment.marker == 0xE1 && !orientation && segment.length > 6 &&
        bytes.text(segment.offset, 6) == std::string_view("Exif\0\0", 6))
      orientation = orientationInExif(bytes.text(segment.offset + 6, segment.length - 6));
    return true;
  });
  if (!whole || !framed) return std::nullopt;
  size.orientation = orientation.value_or(1);
  return size;
}

std::optional<ImageSize> sizeOfPNG(HeaderBytes& bytes) {
  if (bytes.text(12, 4) != "IHDR") return std::nullopt;
  const auto width = bytes.bigEndian(16, 4), height = bytes.bigEndian(20, 4);
  if (!width || !height) return std::nullopt;
  ImageSize size{*width, *height, 1};
  std::uint64_t offset = 8;
  // To the end: what is added to a picture later stands behind its pixels.
  for (int count = 0; count < kMaximumChunks; ++count) {
    const auto length = bytes.bigEndian(offset, 4);
    const std::string type = bytes.text(offset + 4, 4);
    if (!length || type == "IEND") break;
    if (type == "eXIf")
      size.orientation =
          orientationInExif(bytes.text(offset + 8, std::min(*length, 65536u))).value_or(1);
    offset += std::uint64_t{*length} + 12;
  }
  return size;
}

std::optional<ImageSize> sizeOfGIF(HeaderBytes& bytes) {
  const auto width = bytes.littleEndian(6, 2), height = bytes.littleEndian(8, 2);
  if (!width || !height) return std::nullopt;
  return ImageSize{*width, *height, 1};
}

std::optional<ImageSize> sizeOfBMP(HeaderBytes& bytes) {
  const auto headerSize = bytes.littleEndian(14, 4);
  if (!headerSize) return std::nullopt;
  if (*headerSize == 12) {
    const auto width = bytes.littleEndian(18, 2), height = bytes.littleEndian(20, 2);
    if (!width || !height) return std::nullopt;
    return ImageSize{*width, *height, 1};
  }
  const auto width = bytes.littleEndian(18, 4), height = bytes.littleEndian(22, 4);
  if (!width || !height || *headerSize < 40) return std::nullopt;
  const bool topFirst = *height >> 31 != 0;
  return ImageSize{*width, topFirst ? 0u - *height : *height, 1};
}

std::optional<ImageSize> sizeOfTIFF(HeaderBytes& bytes) {
  const bool little = bytes.byte(0) == 'I';
  const auto number = [&](std::uint64_t offset, int count) {
    return little ? bytes.littleEndian(offset, count) : bytes.bigEndian(offset, count);
  };
  const auto directory = number(4, 4);
  const auto entries = directory ? number(*directory, 2) : std::nullopt;
  if (!entries) return std::nullopt;
  ImageSize size;
  for (std::uint32_t i = 0; i < *entries; ++i) {
    const std::uint64_t entry = std::uint64_t{*directory} + 2 + std::uint64_t{i} * 12;
    const auto tag = number(entry, 2), type = number(entry + 2, 2);
    if (!tag || !type) return std::nullopt;
    const auto value = number(entry + 8, *type == 3 ? 2 : 4);
    if (!value) return std::nullopt;
    if (*tag == 256) size.width = *value;
    if (*tag == 257) size.height = *value;
    if (*tag == 274 && *value >= 1 && *value <= 8) size.orientation = static_cast<int>(*value);
  }
  return size;
}

std::string textOf(HeaderBytes& bytes, std::string_view chunk, std::size_t limit) {
  const auto found = findWebPChunk(bytes, chunk, 12, bytes.size());
  if (!found) return {};
  return bytes.text(found->begin, std::min<std::size_t>(found->length, limit));
}

int orientationOfWebP(HeaderBytes& bytes) {
  std::string exif = textOf(bytes, "EXIF", 65536);
  // Some writers keep the prefix that the data have in a JPEG.
  if (exif.starts_with(std::string_view("Exif\0\0", 6))) exif.erase(0, 6);
  return orientationInExif(exif).value_or(1);
}

std::optional<ImageSize> sizeOfWebP(HeaderBytes& bytes) {
  const std::string kind = bytes.text(12, 4);
  if (kind == "VP8X") {
    const auto width = bytes.littleEndian(24, 3), height = bytes.littleEndian(27, 3);
    if (!width || !height) return std::nullopt;
    return ImageSize{*width + 1, *height + 1, orientationOfWebP(bytes)};
  }
  if (kind == "VP8L") {
    const auto packed = bytes.littleEndian(21, 4);
    if (!packed) return std::nullopt;
    return ImageSize{(*packed & 0x3FFF) + 1, (*packed >> 14 & 0x3FFF) + 1, 1};
  }
  const auto width = bytes.littleEndian(26, 2), height = bytes.littleEndian(28, 2);
  if (kind != "VP8 " || !width || !height) return std::nullopt;
  return ImageSize{*width & 0x3FFF, *height & 0x3FFF, 1};
}

std::optional<ImageSize> sizeOf(Format format, HeaderBytes& bytes) {
  switch (format) {
    case Format::JPEG:
      return sizeOfJPEG(bytes);
    case Format::PNG:
      return sizeOfPNG(bytes);
    case Format::GIF:
      return sizeOfGIF(bytes);
    case Format::TIFF:
      return sizeOfTIFF(bytes);
    case Format::WebP:
      return sizeOfWebP(bytes);
    case Format::HEIC:
    case Format::AVIF:
      if (const auto picture = readHEIF(bytes)) return picture->size;
      return std::nullopt;
    case Format::BMP:
      return sizeOfBMP(bytes);
  }
  return std::nullopt;
}

}  // namespace

std::optional<std::uint8_t> HeaderBytes::byte(std::uint64_t offset) {
  if (offset < start_ || offset - start_ >= length_) {
    const auto got = source_.readAt(offset, window_, sizeof window_);
    start_ = offset;
    length_ = got > 0 ? static_cast<std::size_t>(got) : 0;
    if (length_ == 0) return std::nullopt;
  }
  return window_[offset - start_];
}

std::optional<std::uint32_t> HeaderBytes::bigEndian(std::uint64_t offset, int bytes) {
  std::uint32_t value = 0;
  for (int i = 0; i < bytes; ++i) {
    const auto next = byte(offset + static_cast<std::uint64_t>(i));
    if (!next) return std::nullopt;
    value = value << 8 | *next;
  }
  return value;
}

std::optional<std::uint32_t> HeaderBytes::littleEndian(std::uint64_t offset, int bytes) {
  std::uint32_t value = 0;
  for (int i = 0; i < bytes; ++i) {
    const auto next = byte(offset + static_cast<std::uint64_t>(i));
    if (!next) return std::nullopt;
    value |= std::uint32_t{*next} << (8 * i);
  }
  return value;
}

std::string HeaderBytes::text(std::uint64_t offset, std::size_t count) {
  if (offset >= source_.size()) return {};
  std::string result(std::min<std::uint64_t>(count, source_.size() - offset), '\0');
  const auto got = source_.readAt(offset, result.data(), result.size());
  result.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
  return result;
}

Result<ImageHeader> readImageHeader(EncodedImage::Format format, const ImageSource& source) {
  HeaderBytes bytes(source);
  const auto size = sizeOf(format, bytes);
  if (!size || size->width == 0 || size->height == 0)
    return NSError{NSError::Kind::Corrupt, "it is damaged: it does not say its size"};
  const std::string dimensions = "it is too large: " + std::to_string(size->width) + " by " +
                                 std::to_string(size->height) + " pixels, at most ";
  if (size->width > kMaximumSide || size->height > kMaximumSide)
    return NSError{NSError::Kind::Unsupported, dimensions + "65500 on a side are possible"};
  if (std::uint64_t{size->width} * size->height > kMaximumPixels)
    return NSError{NSError::Kind::Unsupported, dimensions + "500 million are possible"};
  return ImageHeader{format, size->width, size->height, size->orientation};
}

std::optional<WebPChunk> findWebPChunk(HeaderBytes& bytes, std::string_view name,
                                       std::uint64_t begin, std::uint64_t end) {
  for (int count = 0; count < kMaximumSegments && begin + 8 <= end; ++count) {
    const std::uint64_t length = bytes.littleEndian(begin + 4, 4).value_or(0);
    if (bytes.text(begin, 4) == name)
      return WebPChunk{begin + 8, std::min(length, end - begin - 8)};
    begin += 8 + length + (length & 1);
  }
  return std::nullopt;
}

std::string chunkOfWebP(const ImageSource& source, std::string_view name, std::size_t limit) {
  HeaderBytes bytes(source);
  return textOf(bytes, name, limit);
}

std::string colorProfileOfJPEG(const ImageSource& source) {
  HeaderBytes bytes(source);
  constexpr std::uint32_t kPrefix = 14;
  std::map<int, JPEGSegment> parts;
  int announced = 0;
  bool gray = false;
  std::size_t size = 0;
  const bool whole = forEachSegment(bytes, [&](const JPEGSegment& segment) {
    if (isFrame(segment.marker)) gray = bytes.byte(segment.offset + 5) == 1;
    if (segment.marker != 0xE2 || segment.length <= kPrefix ||
        bytes.text(segment.offset, 12) != std::string_view("ICC_PROFILE\0", 12))
      return true;
    announced = bytes.byte(segment.offset + 13).value_or(0);
    if (parts.emplace(bytes.byte(segment.offset + 12).value_or(0), segment).second)
      size += segment.length - kPrefix;
    return true;
  });
  if (!whole || parts.empty() || size > kMaximumProfile) return {};
  if (parts.begin()->first != 1 || parts.rbegin()->first != announced ||
      static_cast<int>(parts.size()) != announced)
    return {};
  std::string profile;
  for (const auto& [number, segment] : parts)
    profile += bytes.text(segment.offset + kPrefix, segment.length - kPrefix);
  return usableColorProfile(profile, gray);
}

std::optional<int> orientationInExif(std::string_view exif) {
  const auto number = [exif](std::size_t offset,
                             std::size_t count) -> std::optional<std::uint32_t> {
    if (offset > exif.size() || count > exif.size() - offset) return std::nullopt;
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < count; ++i) {
      const std::size_t place = exif[0] == 'I' ? offset + count - 1 - i : offset + i;
      value = value << 8 | static_cast<std::uint8_t>(exif[place]);
    }
    return value;
  };
  if (!exif.starts_with(std::string_view("II*\0", 4)) &&
      !exif.starts_with(std::string_view("MM\0*", 4)))
    return std::nullopt;
  const auto directory = number(4, 4);
  const auto entries = directory ? number(*directory, 2) : std::nullopt;
  for (std::size_t i = 0; entries && i < *entries; ++i) {
    const std::size_t entry = std::size_t{*directory} + 2 + i * 12;
    const auto tag = number(entry, 2), value = number(entry + 8, 2);
    if (!tag || !value) return std::nullopt;
    if (*tag == 0x0112)
      return *value >= 1 && *value <= 8 ? std::optional(static_cast<int>(*value)) : std::nullopt;
  }
  return std::nullopt;
}

std::string usableColorProfile(std::string_view profile, bool gray) {
  if (profile.size() < 132 || profile.size() > kMaximumProfile) return {};
  if (profile.substr(36, 4) != "acsp") return {};
  if (profile.substr(16, 4) != (gray ? "GRAY" : "RGB ")) return {};
  return std::string(profile);
}

}  // namespace tasklane
