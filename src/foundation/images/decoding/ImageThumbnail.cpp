#include "foundation/images/decoding/ImageThumbnail.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "foundation/images/decoding/UprightStrips.h"

namespace tasklane {

namespace {

/// Sums of the pixels that fall on each pixel of a smaller row.
class BoxFilter {
 public:
  BoxFilter(const StripLayout& layout, std::uint32_t width, std::uint32_t height)
      : layout_(layout), width_(width), height_(height), sums_(std::size_t{width} * 5) {
    pixels_.reserve(std::size_t{width} * height);
  }

  void add(const std::uint8_t* row) {
    const std::uint32_t bytes =
        layout_.pixels == PixelLayout::YCbCr ? 3 : layout_.planes[0].bytesPerSample;
    for (std::uint32_t x = 0; x < layout_.width; ++x, row += bytes) {
      const std::size_t target = std::uint64_t{x} * width_ / layout_.width;
      std::uint64_t* sum = &sums_[target * 5];
      const std::uint64_t alpha = bytes == 4 ? row[3] : 255;
      for (std::size_t color = 0; color < 3; ++color)
        sum[color] += alpha * row[bytes == 1 ? 0 : color];
      sum[3] += alpha;
      sum[4] += 1;
    }
    ++row_;
    if (std::uint64_t{row_} * height_ / layout_.height > done_ || row_ == layout_.height) emit();
  }

  std::vector<std::uint32_t> take() { return std::move(pixels_); }

 private:
  void emit() {
    ++done_;
    for (std::size_t x = 0; x < width_; ++x) {
      const std::uint64_t* sum = &sums_[x * 5];
      const std::uint64_t count = std::max<std::uint64_t>(sum[4], 1);
      std::uint32_t argb = static_cast<std::uint32_t>((sum[3] + count / 2) / count) << 24;
      for (std::size_t color = 0; color < 3; ++color) {
        const std::uint64_t value = (sum[color] + 255 * count / 2) / (255 * count);
        argb |= static_cast<std::uint32_t>(value) << (16 - 8 * color);
      }
      pixels_.push_back(argb);
    }
    std::fill(sums_.begin(), sums_.end(), 0);
  }

  const StripLayout& layout_;
  std::uint32_t width_;
  std::uint32_t height_;
  std::uint32_t row_ = 0;
  std::uint32_t done_ = 0;
  /// Red, green, blue (each times alpha), alpha, number of pixels.
  std::vector<std::uint64_t> sums_;
  std::vector<std::uint32_t> pixels_;
};

/// A row of planes as RGB. Each colour sample stands for all pixels that it covers, which is enough
/// for a picture about to be averaged.
void mixRow(const StripLayout& layout, const Strip& strip, std::uint32_t y, std::uint8_t* rgb) {
  const std::uint8_t* rows[3];
  std::uint32_t sampling[3];
  for (std::size_t i = 0; i < 3; ++i) {
    const ImagePlane& plane = layout.planes[i];
    rows[i] = strip.row(i, y * plane.verticalSampling / layout.maximumVerticalSampling());
    sampling[i] = plane.horizontalSampling;
  }
  const std::uint32_t full = layout.maximumHorizontalSampling();
  for (std::uint32_t x = 0; x < layout.width; ++x, rgb += 3) {
    const int luma = rows[0][x * sampling[0] / full];
    const int blue = rows[1][x * sampling[1] / full] - 128;
    const int red = rows[2][x * sampling[2] / full] - 128;
    const int mixed[] = {luma + red * 1402 / 1000, luma - (blue * 344 + red * 714) / 1000,
                         luma + blue * 1772 / 1000};
    for (std::size_t i = 0; i < 3; ++i)
      rgb[i] = static_cast<std::uint8_t>(std::clamp(mixed[i], 0, 255));
  }
}

std::uint32_t scaled(std::uint32_t length, std::uint32_t longest, std::uint32_t side) {
  if (longest <= side) return length;
  return std::max<std::uint32_t>(
      1, static_cast<std::uint32_t>((std::uint64_t{length} * side + longest / 2) / longest));
}

EncodedImage::Pixels turned(const std::vector<std::uint32_t>& stored, std::uint32_t width,
                            std::uint32_t height, int orientation) {
  EncodedImage::Pixels pixels;
  const bool exchanged = orientationExchangesSides(orientation);
  pixels.width = static_cast<int>(exchanged ? height : width);
  pixels.height = static_cast<int>(exchanged ? width : height);
  pixels.argb.reserve(stored.size());
  for (std::uint32_t y = 0; y < (exchanged ? width : height); ++y) {
    for (std::uint32_t x = 0; x < (exchanged ? height : width); ++x) {
      const StoredPlace place = storedPlaceOf(orientation, width, height, x, y);
      pixels.argb.push_back(stored[std::size_t{place.y} * width + place.x]);
    }
  }
  return pixels;
}

}  // namespace

Result<EncodedImage::Pixels> scaleToFit(StripProducer& producer, int side) {
  const StripLayout& layout = producer.layout();
  const std::uint32_t longest = std::max(layout.width, layout.height);
  const auto limit = static_cast<std::uint32_t>(std::max(side, 1));
  const std::uint32_t width = scaled(layout.width, longest, limit);
  const std::uint32_t height = scaled(layout.height, longest, limit);
  BoxFilter filter(layout, width, height);
  Strip strip(layout);
  std::vector<std::uint8_t> mixed(
      layout.pixels == PixelLayout::YCbCr ? std::size_t{layout.width} * 3 : 0);
  for (std::uint32_t index = 0; index < layout.strips(); ++index) {
    if (auto filled = producer.fill(strip); !filled) return filled.error();
    const std::uint32_t rows = layout.planeRowsInStrip(layout.planes[0], index);
    for (std::uint32_t y = 0; y < rows; ++y) {
      if (!mixed.empty()) mixRow(layout, strip, y, mixed.data());
      filter.add(mixed.empty() ? strip.row(0, y) : mixed.data());
    }
  }
  if (auto finished = producer.finish(); !finished) return finished.error();
  return turned(filter.take(), width, height, producer.orientation());
}

}  // namespace tasklane
