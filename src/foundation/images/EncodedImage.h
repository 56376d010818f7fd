#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/base/NSError.h"
#include "foundation/files/UnnamedFile.h"

namespace tasklane {

/// A picture as it came: an open file whose first bytes are those of a known format. This process
/// reads no more of it than these; all else is done by the picture decoder (PictureDecoder.h).
/// Immutable; any thread.
class EncodedImage {
 public:
  enum class Format { JPEG, PNG, GIF, TIFF, WebP, HEIC, AVIF, BMP };

  /// Opens a regular file, without ever waiting for one. An error when its first bytes tell no
  /// known format; whether the rest is whole shows when it is decoded.
  static Result<std::shared_ptr<const EncodedImage>> imageWithContentsOfFile(
      const std::string& path);
  ~EncodedImage();
  EncodedImage(const EncodedImage&) = delete;
  EncodedImage& operator=(const EncodedImage&) = delete;

  Format format() const { return format_; }
  const std::string& path() const { return path_; }
  int fileDescriptor() const { return fileDescriptor_; }

  /// Re-encodes as a JPEG of the given quality (0 to 1), upright, with the colour profile and
  /// without any other metadata (location above all), into a file, and flushes that to the disk.
  /// Waits for both; an error names the picture and says why there is no JPEG of it.
  Result<void> writeJPEGRepresentation(double compressionQuality, UnnamedFile& into) const;

  struct Pixels {
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> argb;  ///< premultiplied 0xAARRGGBB, row by row, top first
  };
  /// The largest side of a thumbnail, in pixels.
  static constexpr int kLargestThumbnail = 1024;
  /// An upright copy that fits a square of the given side in pixels, never larger than the picture.
  Result<Pixels> thumbnail(int side) const;

 private:
  EncodedImage(int fileDescriptor, std::string path)
      : fileDescriptor_(fileDescriptor), path_(std::move(path)) {}
  Result<void> identify();
  Result<void> checkUnchanged() const;

  int fileDescriptor_;
  std::string path_;
  Format format_ = Format::JPEG;
  std::int64_t size_ = 0;
  std::int64_t changedSeconds_ = 0;
  std::int64_t changedNanoseconds_ = 0;
};

/// The format that the first bytes tell, or none. Looks at the first kImageMagicBytes at most.
inline constexpr std::size_t kImageMagicBytes = 256;
std::optional<EncodedImage::Format> imageFormatOfBytes(std::string_view start);

}  // namespace tasklane
