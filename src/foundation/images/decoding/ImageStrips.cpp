#include "foundation/images/decoding/ImageStrips.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace tasklane {

namespace {

std::uint32_t ceilingOf(std::uint64_t dividend, std::uint64_t divisor) {
  return static_cast<std::uint32_t>((dividend + divisor - 1) / divisor);
}

}  // namespace

StripLayout StripLayout::interleaved(PixelLayout pixels, std::uint32_t width,
                                     std::uint32_t height) {
  StripLayout layout{pixels, width, height, {}};
  const std::uint32_t bytes = pixels == PixelLayout::RGBA ? 4 : pixels == PixelLayout::RGB ? 3 : 1;
  layout.planes.push_back({width, height, bytes, 1, 1});
  return layout;
}

StripLayout StripLayout::planar(PixelLayout pixels, std::uint32_t width, std::uint32_t height,
                                std::vector<ImagePlane> factors) {
  StripLayout layout{pixels, width, height, std::move(factors)};
  const std::uint64_t horizontal = layout.maximumHorizontalSampling();
  const std::uint64_t vertical = layout.maximumVerticalSampling();
  for (ImagePlane& plane : layout.planes) {
    plane.width = ceilingOf(std::uint64_t{width} * plane.horizontalSampling, horizontal);
    plane.height = ceilingOf(std::uint64_t{height} * plane.verticalSampling, vertical);
  }
  return layout;
}

std::uint32_t StripLayout::maximumHorizontalSampling() const {
  std::uint32_t maximum = 1;
  for (const ImagePlane& plane : planes) maximum = std::max(maximum, plane.horizontalSampling);
  return maximum;
}

std::uint32_t StripLayout::maximumVerticalSampling() const {
  std::uint32_t maximum = 1;
  for (const ImagePlane& plane : planes) maximum = std::max(maximum, plane.verticalSampling);
  return maximum;
}

std::uint32_t StripLayout::planeRowsInStrip(const ImagePlane& plane, std::uint32_t strip) const {
  const std::uint32_t whole = planeRowsPerStrip(plane);
  const std::uint32_t before = strip * whole;
  return before >= plane.height ? 0 : std::min(whole, plane.height - before);
}

void Strip::padPlane(const StripLayout& layout, std::size_t plane, std::uint32_t rows) {
  const ImagePlane& shape = layout.planes[plane];
  const std::size_t used = std::size_t{shape.width} * shape.bytesPerSample;
  for (std::uint32_t y = 0; y < rows; ++y) {
    std::uint8_t* samples = row(plane, y);
    for (std::size_t x = used; x < stride(plane); ++x)
      samples[x] = samples[x - shape.bytesPerSample];
  }
  for (std::uint32_t y = std::max(rows, 1u); y < layout.planeRowsPerStrip(shape); ++y)
    std::memcpy(row(plane, y), row(plane, y - 1), stride(plane));
}

Strip::Strip(const StripLayout& layout) {
  for (const ImagePlane& plane : layout.planes) {
    const std::size_t blocks = ceilingOf(plane.width, StripLayout::kBlock);
    Rows rows;
    rows.stride = blocks * StripLayout::kBlock * plane.bytesPerSample;
    rows.samples.resize(rows.stride * layout.planeRowsPerStrip(plane));
    planes_.push_back(std::move(rows));
  }
}

}  // namespace tasklane
