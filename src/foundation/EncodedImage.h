#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "foundation/NSError.h"
#include "foundation/UnnamedFile.h"

namespace tasklane {

/// A picture as it came: its encoded bytes (or the open file that holds them), known by its header
/// and never decoded whole. Immutable; any thread.
class EncodedImage {
 public:
  enum class Format { JPEG, PNG, GIF, TIFF, WebP, HEIC, BMP };
  struct Header {
    Format format;
    /// Pixels as the picture is meant to be seen (the stored orientation applied).
    std::uint32_t width;
    std::uint32_t height;
    /// The stored orientation, 1 to 8 (Exif 2.3, tag 0x0112).
    int orientation = 1;
  };

  static Result<std::shared_ptr<const EncodedImage>> imageWithContentsOfFile(
      const std::string& path);
  static Result<std::shared_ptr<const EncodedImage>> imageWithData(std::string bytes);
  ~EncodedImage();

  const Header& header() const;

  /// Re-encodes as a JPEG of the given quality (0 to 1), upright, with the colour profile and
  /// without any other metadata (location above all), into a file. JPEG and PNG stream row by row;
  /// other formats go through their codec libraries within the same memory or are refused with an
  /// error that says so.
  Result<void> writeJPEGRepresentation(double compressionQuality, UnnamedFile& into) const;

  struct Pixels {
    int width = 0;
    int height = 0;
    std::vector<std::uint32_t> argb;  ///< premultiplied 0xAARRGGBB, row by row, top first
  };
  /// A small upright copy that fits a square of the given side in pixels, decoded at reduced size.
  Result<Pixels> thumbnail(int side) const;

 private:
  struct State;
  explicit EncodedImage(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace tasklane
