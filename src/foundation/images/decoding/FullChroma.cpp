#include "foundation/images/decoding/FullChroma.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

namespace tasklane {

namespace {

/// The neighbour of a halved sample that the full one is nearer to: of the first of a pair the one
/// before, of the second the one behind.
std::uint32_t neighbourOf(std::uint32_t full, std::uint32_t count) {
  const std::uint32_t half = full / 2;
  if (full % 2 == 0) return half == 0 ? 0 : half - 1;
  return std::min(half + 1, count - 1);
}

class FullChroma final : public StripProducer {
 public:
  explicit FullChroma(std::unique_ptr<StripProducer> stored)
      : stored_(std::move(stored)),
        layout_(StripLayout::planar(PixelLayout::YCbCr, stored_->layout().width,
                                    stored_->layout().height,
                                    {{0, 0, 1, 1, 1}, {0, 0, 1, 1, 1}, {0, 0, 1, 1, 1}})),
        strips_(3, Strip(stored_->layout())) {}

  const StripLayout& layout() const override { return layout_; }
  int orientation() const override { return stored_->orientation(); }
  const std::string& colorProfile() const override { return stored_->colorProfile(); }
  Result<void> finish() override { return stored_->finish(); }

  Result<void> fill(Strip& strip) override {
    const std::uint32_t first = next_ * layout_.rowsPerStrip();
    const std::uint32_t rows = layout_.planeRowsInStrip(layout_.planes[0], next_);
    // A row of colour needs the one below it, which may be in the next strip.
    const std::uint32_t last = (first + rows - 1) / stored_->layout().rowsPerStrip() + 1;
    while (loaded_ < stored_->layout().strips() && loaded_ <= last) {
      if (auto filled = stored_->fill(strips_[loaded_ % strips_.size()]); !filled) return filled;
      ++loaded_;
    }
    for (std::size_t plane = 0; plane < 3; ++plane) {
      for (std::uint32_t y = 0; y < rows; ++y) fillRow(plane, first + y, strip.row(plane, y));
      strip.padPlane(layout_, plane, rows);
    }
    ++next_;
    return {};
  }

 private:
  const std::uint8_t* rowOf(std::size_t plane, std::uint32_t y) const {
    const std::uint32_t rows = stored_->layout().planeRowsPerStrip(stored_->layout().planes[plane]);
    return strips_[y / rows % strips_.size()].row(plane, y % rows);
  }

  /// Three parts of the nearest sample and one of its neighbour, in either direction.
  void fillRow(std::size_t plane, std::uint32_t y, std::uint8_t* to) const {
    const ImagePlane& shape = stored_->layout().planes[plane];
    const bool halvedDown = shape.verticalSampling < stored_->layout().maximumVerticalSampling();
    const bool halvedAcross =
        shape.horizontalSampling < stored_->layout().maximumHorizontalSampling();
    const std::uint8_t* row = rowOf(plane, halvedDown ? y / 2 : y);
    if (!halvedDown && !halvedAcross) {
      std::memcpy(to, row, layout_.width);
      return;
    }
    const std::uint8_t* beside = halvedDown ? rowOf(plane, neighbourOf(y, shape.height)) : row;
    const auto column = [&](std::uint32_t x) { return row[x] * 3u + beside[x]; };
    for (std::uint32_t x = 0; x < layout_.width; ++x) {
      const std::uint32_t near = column(halvedAcross ? x / 2 : x);
      const std::uint32_t far = halvedAcross ? column(neighbourOf(x, shape.width)) : near;
      to[x] = static_cast<std::uint8_t>((near * 3 + far + 8) / 16);
    }
  }

  std::unique_ptr<StripProducer> stored_;
  StripLayout layout_;
  std::vector<Strip> strips_;  ///< the last three, by number
  std::uint32_t loaded_ = 0;
  std::uint32_t next_ = 0;
};

}  // namespace

std::unique_ptr<StripProducer> makeFullChroma(std::unique_ptr<StripProducer> stored) {
  return std::make_unique<FullChroma>(std::move(stored));
}

bool needsFullChroma(const StripProducer& stored) {
  const StripLayout& layout = stored.layout();
  const std::uint32_t across = layout.maximumHorizontalSampling();
  const std::uint32_t down = layout.maximumVerticalSampling();
  return stored.orientation() != 1 && layout.pixels == PixelLayout::YCbCr &&
         (layout.width % across != 0 || layout.height % down != 0) && across <= 2 && down <= 2;
}

}  // namespace tasklane
