#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/images/EncodedImage.h"
#include "foundation/images/decoding/ImageSource.h"

namespace tasklane {

/// A picture as its first bytes describe it, claims and all.
struct ImageHeader {
  EncodedImage::Format format = EncodedImage::Format::JPEG;
  /// Pixels as they are stored.
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  /// What is to be done to them, 1 to 8 (Exif 2.3, tag 0x0112).
  int orientation = 1;
};

/// What a picture's header says. Only the first few kilobytes are read, whatever the file claims.
/// An error when it is no picture, when the header is damaged, or when the picture is larger than a
/// JPEG can be.
Result<ImageHeader> readImageHeader(EncodedImage::Format format, const ImageSource& source);

/// The colour profile in a JPEG's segments, whole, or empty.
std::string colorProfileOfJPEG(const ImageSource& source);

/// The orientation (1 to 8) in a block of Exif data, or none.
std::optional<int> orientationInExif(std::string_view exif);

/// The profile when it is one that a picture of gray or of RGB samples may carry, else empty.
std::string usableColorProfile(std::string_view profile, bool gray);

/// Bytes of a header at any position, read through a small window.
class HeaderBytes {
 public:
  explicit HeaderBytes(const ImageSource& source) : source_(source) {}
  std::uint64_t size() const { return source_.size(); }
  /// Each is none beyond the end.
  std::optional<std::uint8_t> byte(std::uint64_t offset);
  std::optional<std::uint32_t> bigEndian(std::uint64_t offset, int bytes);
  std::optional<std::uint32_t> littleEndian(std::uint64_t offset, int bytes);
  std::string text(std::uint64_t offset, std::size_t count);

 private:
  const ImageSource& source_;
  std::uint64_t start_ = 0;
  std::size_t length_ = 0;
  std::uint8_t window_[4096];
};

/// Pixels as they are stored, and what is to be done to them.
struct ImageSize {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  int orientation = 1;
};

/// The first chunk of that name in a piece of a WebP, cut to the piece.
struct WebPChunk {
  std::uint64_t begin;  ///< of the contents
  std::uint64_t length;
};
std::optional<WebPChunk> findWebPChunk(HeaderBytes& bytes, std::string_view name,
                                       std::uint64_t begin, std::uint64_t end);

/// The contents of a WebP's chunk of that name, or empty. A longer one than the limit is cut.
std::string chunkOfWebP(const ImageSource& source, std::string_view name, std::size_t limit);

}  // namespace tasklane
