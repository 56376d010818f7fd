#include "foundation/images/decoding/UprightStrips.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

#include "foundation/images/decoding/StripPipeline.h"

namespace tasklane {

namespace {

/// What is read back at a time, unless one strip needs more.
constexpr std::size_t kBandBytes = 2 * 1024 * 1024;

/// One plane in the file: its lines are the rows of the result, in order. They come from rows of
/// the stored plane or, when the sides are exchanged, from its columns. Lines are kept in bands: in
/// a band of rows they follow each other, a band of columns is filled row by row as the rows come.
class TurnedPlane {
 public:
  TurnedPlane(const ImagePlane& stored, std::uint32_t stripLines, int orientation,
              std::uint64_t offset)
      : width_(stored.width), sample_(stored.bytesPerSample), offset_(offset) {
    exchanged_ = orientationExchangesSides(orientation);
    lines_ = exchanged_ ? stored.width : stored.height;
    across_ = exchanged_ ? stored.height : stored.width;
    // Where the first sample of the result is taken from tells which ways run backwards.
    const StoredPlace first = storedPlaceOf(orientation, 2, 2, 0, 0);
    linesBackwards_ = (exchanged_ ? first.x : first.y) != 0;
    acrossBackwards_ = (exchanged_ ? first.y : first.x) != 0;
    const std::size_t stripBytes = std::size_t{stripLines} * across_ * sample_;
    const std::size_t strips = std::max<std::size_t>(1, kBandBytes / stripBytes);
    bandLines_ = std::min(stripLines * static_cast<std::uint32_t>(strips), lines_);
  }

  std::uint64_t size() const { return std::uint64_t{lines_} * across_ * sample_; }

  /// Takes stored rows, from y on.
  Result<void> keep(ScratchFile::Part& file, const Strip& strip, std::size_t plane, std::uint32_t y,
                    std::uint32_t rows) {
    const std::size_t rowBytes = std::size_t{width_} * sample_;
    buffer_.resize(rowBytes * rows);
    for (std::uint32_t i = 0; i < rows; ++i) {
      const bool upward = !exchanged_ && linesBackwards_;
      copyRow(strip.row(plane, i), buffer_.data() + (upward ? rows - 1 - i : i) * rowBytes);
    }
    if (!exchanged_) {
      const std::uint32_t line = linesBackwards_ ? lines_ - y - rows : y;
      return file.writeAt(placeOfLine(line), buffer_.data(), buffer_.size());
    }
    for (std::uint32_t first = 0; first < lines_; first += bandLines_) {
      const std::size_t pieceBytes = std::min(bandLines_, lines_ - first) * sample_;
      piece_.resize(pieceBytes * rows);
      for (std::uint32_t i = 0; i < rows; ++i)
        std::memcpy(piece_.data() + i * pieceBytes, buffer_.data() + i * rowBytes + first * sample_,
                    pieceBytes);
      auto kept = file.writeAt(placeOfLine(first) + y * pieceBytes, piece_.data(), piece_.size());
      if (!kept) return kept;
    }
    return {};
  }

  /// Yields a strip's rows of the result, from y on; strips are asked for in order.
  Result<void> give(const ScratchFile::Part& file, std::uint32_t y, std::uint32_t rows,
                    Strip& strip, std::size_t plane) {
    if (rows == 0) return {};
    if (auto loaded = loadBand(file, y / bandLines_ * bandLines_); !loaded) return loaded;
    const std::uint8_t* start = buffer_.data();
    if (exchanged_) {
      start += (y - bandFirst_) * sample_;
      if (sample_ == 1)
        turnBlocks(start, rows, strip, plane);
      else if (sample_ == 3)
        turn<3>(start, 0, across_, rows, strip, plane);
      else
        turn<4>(start, 0, across_, rows, strip, plane);
      return {};
    }
    start += std::size_t{y - bandFirst_} * across_ * sample_;
    for (std::uint32_t row = 0; row < rows; ++row)
      std::memcpy(strip.row(plane, row), start + row * across_ * sample_, across_ * sample_);
    return {};
  }

 private:
  std::uint64_t placeOfLine(std::uint32_t line) const {
    return offset_ + std::uint64_t{line} * across_ * sample_;
  }

  /// Columns of the band into rows, from one place in the rows to another.
  template <std::size_t kSample>
  void turn(const std::uint8_t* start, std::uint32_t begin, std::uint32_t end, std::uint32_t rows,
            Strip& strip, std::size_t plane) const {
    const std::size_t bandBytes = std::min(bandLines_, lines_ - bandFirst_) * kSample;
    for (std::uint32_t x = begin; x < end; ++x) {
      const std::uint8_t* samples = start + (acrossBackwards_ ? across_ - 1 - x : x) * bandBytes;
      for (std::uint32_t row = 0; row < rows; ++row)
        std::memcpy(strip.row(plane, row) + x * kSample, samples + row * kSample, kSample);
    }
  }

  /// The same for samples of a byte, in squares of eight, which is what makes turning a photo
  /// cheaper than encoding it.
  void turnBlocks(const std::uint8_t* start, std::uint32_t rows, Strip& strip,
                  std::size_t plane) const {
    const std::size_t bandBytes = std::min(bandLines_, lines_ - bandFirst_);
    const std::uint32_t wholeRows = rows / 8 * 8, wholeAcross = across_ / 8 * 8;
    for (std::uint32_t x = 0; x < wholeAcross; x += 8) {
      for (std::uint32_t row = 0; row < wholeRows; row += 8) {
        std::uint64_t square[8];
        for (std::uint32_t i = 0; i < 8; ++i) {
          const std::uint32_t from = acrossBackwards_ ? across_ - 1 - x - i : x + i;
          std::memcpy(&square[i], start + from * bandBytes + row, 8);
        }
        transpose(square);
        for (std::uint32_t i = 0; i < 8; ++i)
          std::memcpy(strip.row(plane, row + i) + x, &square[i], 8);
      }
    }
    turn<1>(start, wholeAcross, across_, rows, strip, plane);
    for (std::uint32_t row = wholeRows; row < rows; ++row) {
      for (std::uint32_t x = 0; x < wholeAcross; ++x) {
        const std::uint32_t from = acrossBackwards_ ? across_ - 1 - x : x;
        strip.row(plane, row)[x] = start[from * bandBytes + row];
      }
    }
  }

  /// Exchanges rows and columns of eight by eight bytes: halves, then quarters, then single ones.
  static void transpose(std::uint64_t (&square)[8]) {
    static_assert(std::endian::native == std::endian::little, "shifts move towards the end");
    constexpr std::uint64_t kMasks[] = {0x00000000FFFFFFFF, 0x0000FFFF0000FFFF, 0x00FF00FF00FF00FF};
    for (int step = 4, level = 0; step > 0; step /= 2, ++level) {
      const int shift = step * 8;
      for (int i = 0; i < 8; ++i) {
        if (i & step) continue;
        const std::uint64_t first = square[i], second = square[i + step];
        square[i] = (first & kMasks[level]) | (second & kMasks[level]) << shift;
        square[i + step] = (first >> shift & kMasks[level]) | (second & ~kMasks[level]);
      }
    }
  }

  /// A stored row, turned round where the result needs it so.
  void copyRow(const std::uint8_t* from, std::uint8_t* to) const {
    const bool backwards = exchanged_ ? linesBackwards_ : acrossBackwards_;
    if (!backwards) {
      std::memcpy(to, from, width_ * sample_);
    } else if (sample_ == 1) {
      std::reverse_copy(from, from + width_, to);
    } else {
      for (std::size_t x = 0; x < width_; ++x)
        std::memcpy(to + x * sample_, from + (width_ - 1 - x) * sample_, sample_);
    }
  }

  Result<void> loadBand(const ScratchFile::Part& file, std::uint32_t first) {
    if (loaded_ && first == bandFirst_) return {};
    const std::uint32_t count = std::min(bandLines_, lines_ - first);
    buffer_.resize(std::size_t{count} * across_ * sample_);
    loaded_ = true;
    bandFirst_ = first;
    return file.readAt(placeOfLine(first), buffer_.data(), buffer_.size());
  }

  std::size_t width_;  ///< of the stored plane
  std::size_t sample_;
  std::uint64_t offset_;
  bool exchanged_;
  bool linesBackwards_;
  bool acrossBackwards_;
  std::uint32_t lines_;      ///< rows of the result
  std::uint32_t across_;     ///< samples in a row of the result
  std::uint32_t bandLines_;  ///< lines that lie together
  bool loaded_ = false;
  std::uint32_t bandFirst_ = 0;
  std::vector<std::uint8_t> buffer_;
  std::vector<std::uint8_t> piece_;
};

StripLayout uprightLayout(const StripLayout& stored, int orientation) {
  StripLayout layout = stored;
  if (!orientationExchangesSides(orientation)) return layout;
  std::swap(layout.width, layout.height);
  for (ImagePlane& plane : layout.planes) {
    std::swap(plane.width, plane.height);
    std::swap(plane.horizontalSampling, plane.verticalSampling);
  }
  return layout;
}

class UprightStrips final : public StripProducer {
 public:
  UprightStrips(std::unique_ptr<StripProducer> stored, ScratchFile::Part file)
      : stored_(std::move(stored)),
        file_(file),
        layout_(uprightLayout(stored_->layout(), stored_->orientation())) {
    std::uint64_t offset = 0;
    for (std::size_t i = 0; i < layout_.planes.size(); ++i) {
      planes_.emplace_back(stored_->layout().planes[i],
                           layout_.planeRowsPerStrip(layout_.planes[i]), stored_->orientation(),
                           offset);
      offset += planes_.back().size();
    }
  }

  const StripLayout& layout() const override { return layout_; }
  const std::string& colorProfile() const override { return stored_->colorProfile(); }
  Result<void> finish() override { return {}; }

  Result<void> fill(Strip& strip) override {
    if (next_ == 0) {
      if (auto kept = keepAll(); !kept) return kept;
    }
    for (std::size_t plane = 0; plane < planes_.size(); ++plane) {
      if (auto given = fillPlane(strip, plane); !given) return given;
    }
    ++next_;
    return {};
  }

 private:
  Result<void> keepAll() {
    const StripLayout& layout = stored_->layout();
    std::uint32_t index = 0;
    return runStripPipeline(*stored_, [&](const Strip& strip) -> Result<void> {
      for (std::size_t plane = 0; plane < planes_.size(); ++plane) {
        const ImagePlane& shape = layout.planes[plane];
        const std::uint32_t y = index * layout.planeRowsPerStrip(shape);
        auto kept =
            planes_[plane].keep(file_, strip, plane, y, layout.planeRowsInStrip(shape, index));
        if (!kept) return kept;
      }
      ++index;
      return {};
    });
  }

  Result<void> fillPlane(Strip& strip, std::size_t plane) {
    const ImagePlane& shape = layout_.planes[plane];
    const std::uint32_t rows = layout_.planeRowsInStrip(shape, next_);
    const std::uint32_t first = next_ * layout_.planeRowsPerStrip(shape);
    auto given = planes_[plane].give(file_, first, rows, strip, plane);
    if (!given) return given;
    strip.padPlane(layout_, plane, rows);
    return {};
  }

  std::unique_ptr<StripProducer> stored_;
  ScratchFile::Part file_;
  StripLayout layout_;
  std::vector<TurnedPlane> planes_;
  std::uint32_t next_ = 0;
};

}  // namespace

Result<std::unique_ptr<StripProducer>> makeUpright(std::unique_ptr<StripProducer> stored,
                                                   ScratchFile& scratch) {
  if (stored->orientation() == 1) return stored;
  std::uint64_t size = 0;
  for (const ImagePlane& plane : stored->layout().planes)
    size += std::uint64_t{plane.width} * plane.height * plane.bytesPerSample;
  auto file = scratch.take(size);
  if (!file) return file.error();
  std::unique_ptr<StripProducer> upright =
      std::make_unique<UprightStrips>(std::move(stored), std::move(file).value());
  return upright;
}

}  // namespace tasklane
