#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "foundation/base/NSError.h"

namespace tasklane {

/// How the samples of a picture lie in memory on their way from a decoder to an encoder.
enum class PixelLayout {
  Gray,   ///< one plane of one byte
  RGB,    ///< one plane of three bytes
  RGBA,   ///< one plane of four bytes, alpha last and not multiplied in
  YCbCr,  ///< three planes of one byte, each with its own sampling
};

/// One plane: its size in samples, and its sampling factors as a JPEG has them.
struct ImagePlane {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint32_t bytesPerSample = 1;
  std::uint32_t horizontalSampling = 1;
  std::uint32_t verticalSampling = 1;
};

/// A picture as a sequence of strips, each of the same number of rows (the last may lack some).
struct StripLayout {
  PixelLayout pixels = PixelLayout::RGB;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::vector<ImagePlane> planes;

  static constexpr std::uint32_t kBlock = 8;

  /// One plane of full resolution.
  static StripLayout interleaved(PixelLayout pixels, std::uint32_t width, std::uint32_t height);
  /// Planes with the sampling factors given, in a picture of that size.
  static StripLayout planar(PixelLayout pixels, std::uint32_t width, std::uint32_t height,
                            std::vector<ImagePlane> factors);

  std::uint32_t maximumHorizontalSampling() const;
  std::uint32_t maximumVerticalSampling() const;
  std::uint32_t rowsPerStrip() const { return kBlock * maximumVerticalSampling(); }
  std::uint32_t strips() const { return (height + rowsPerStrip() - 1) / rowsPerStrip(); }
  std::uint32_t planeRowsPerStrip(const ImagePlane& plane) const {
    return kBlock * plane.verticalSampling;
  }
  /// Rows of a plane that a strip really holds.
  std::uint32_t planeRowsInStrip(const ImagePlane& plane, std::uint32_t strip) const;
};

/// A color laid on white: straight alpha, 0 to 255.
constexpr std::uint8_t onWhite(unsigned int color, unsigned int alpha) {
  return static_cast<std::uint8_t>((color * alpha + 255 * (255 - alpha) + 127) / 255);
}

/// The memory of one strip: for each plane its rows, each padded to whole blocks.
class Strip {
 public:
  explicit Strip(const StripLayout& layout);

  std::uint8_t* row(std::size_t plane, std::uint32_t y) {
    return planes_[plane].samples.data() + std::size_t{y} * planes_[plane].stride;
  }
  const std::uint8_t* row(std::size_t plane, std::uint32_t y) const {
    return planes_[plane].samples.data() + std::size_t{y} * planes_[plane].stride;
  }

  std::size_t stride(std::size_t plane) const { return planes_[plane].stride; }

  /// An encoder reads whole blocks: the picture's edge is carried on beyond it. For a plane of
  /// which so many rows are filled.
  void padPlane(const StripLayout& layout, std::size_t plane, std::uint32_t rows);

 private:
  struct Rows {
    std::size_t stride = 0;
    std::vector<std::uint8_t> samples;
  };
  std::vector<Rows> planes_;
};

/// A decoder that yields a picture strip by strip, from the top. One thread at a time.
class StripProducer {
 public:
  virtual ~StripProducer() = default;
  virtual const StripLayout& layout() const = 0;
  /// The stored orientation of what it yields (1 to 8), still to be applied.
  virtual int orientation() const { return 1; }
  /// The colour profile that belongs to the samples (ICC), or empty.
  virtual const std::string& colorProfile() const = 0;
  /// Decodes the next strip. Called exactly layout().strips() times.
  virtual Result<void> fill(Strip& strip) = 0;
  /// Called after the last strip: an error when the picture turns out to be cut short or damaged.
  virtual Result<void> finish() = 0;
};

}  // namespace tasklane
