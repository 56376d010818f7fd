#include "foundation/UprightStrips.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "foundation/UnnamedFile.h"

namespace tasklane {

namespace {

/// What is read back at a time, unless one strip needs more.
constexpr std::size_t kBandBytes = 2 * 1024 * 1024;

/// One plane in the file. Rows of the result are taken from rows of the stored plane, or, when the
/// sides are exchanged, from its columns. The plane is cut into bands of such rows or columns, and
/// a band lies together in the file, so that a strip of the result is one read.
class TurnedPlane {
 public:
  TurnedPlane(const ImagePlane& stored, std::uint32_t stripRows, int orientation,
              std::uint64_t offset)
      : stored_(stored), orientation_(orientation), offset_(offset) {
    sample_ = stored.bytesPerSample;
    exchanged_ = orientationExchangesSides(orientation);
    lines_ = exchanged_ ? stored.width : stored.height;
    across_ = exchanged_ ? stored.height : stored.width;
    const std::size_t stripBytes = std::size_t{stripRows} * across_ * sample_;
    const auto strips =
        static_cast<std::uint32_t>(std::max<std::size_t>(1, kBandBytes / stripBytes));
    bandLines_ = std::min(stripRows * strips, lines_);
  }

  std::uint64_t size() const { return std::uint64_t{lines_} * across_ * sample_; }

  /// Takes stored rows, from y on.
  Result<void> keep(UnnamedFile& file, const Strip& strip, std::size_t plane, std::uint32_t y,
                    std::uint32_t rows) {
    const std::size_t rowBytes = std::size_t{stored_.width} * sample_;
    buffer_.resize(rowBytes * rows);
    if (!exchanged_) {
      for (std::uint32_t i = 0; i < rows; ++i)
        std::memcpy(buffer_.data() + i * rowBytes, strip.row(plane, i), rowBytes);
      return file.writeAt(offset_ + y * rowBytes, buffer_.data(), buffer_.size());
    }
    for (std::uint32_t first = 0; first < lines_; first += bandLines_) {
      const std::uint32_t count = std::min(bandLines_, lines_ - first);
      const std::size_t pieceBytes = std::size_t{count} * sample_;
      for (std::uint32_t i = 0; i < rows; ++i)
        std::memcpy(buffer_.data() + i * pieceBytes,
                    strip.row(plane, i) + std::size_t{first} * sample_, pieceBytes);
      auto kept =
          file.writeAt(placeOfLine(first) + y * pieceBytes, buffer_.data(), pieceBytes * rows);
      if (!kept.ok()) return kept;
    }
    return {};
  }

  /// Yields a row of the result; rows are asked for in order.
  Result<void> give(const UnnamedFile& file, std::uint32_t y, std::uint8_t* into) {
    const StoredPlace first = storedPlaceOf(orientation_, stored_.width, stored_.height, 0, y);
    const std::uint32_t line = exchanged_ ? first.x : first.y;
    if (auto loaded = loadBand(file, line / bandLines_ * bandLines_); !loaded.ok()) return loaded;
    const std::uint32_t bandCount = std::min(bandLines_, lines_ - bandFirst_);
    const std::ptrdiff_t step = exchanged_ ? std::ptrdiff_t{bandCount} * sample_ : sample_;
    const std::uint8_t* start = buffer_.data();
    start += exchanged_ ? std::size_t{line - bandFirst_} * sample_
                        : std::size_t{line - bandFirst_} * across_ * sample_;
    const bool backwards = (exchanged_ ? first.y : first.x) != 0;
    if (backwards) start += (across_ - 1) * step;
    copyLine(start, backwards ? -step : step, into);
    return {};
  }

 private:
  std::uint64_t placeOfLine(std::uint32_t line) const {
    return offset_ + std::uint64_t{line} * across_ * sample_;
  }

  void copyLine(const std::uint8_t* from, std::ptrdiff_t step, std::uint8_t* into) const {
    if (sample_ == 1) {
      for (std::uint32_t x = 0; x < across_; ++x, from += step) into[x] = *from;
    } else {
      for (std::uint32_t x = 0; x < across_; ++x, from += step, into += sample_)
        std::memcpy(into, from, sample_);
    }
  }

  Result<void> loadBand(const UnnamedFile& file, std::uint32_t first) {
    if (loaded_ && first == bandFirst_) return {};
    const std::uint32_t count = std::min(bandLines_, lines_ - first);
    buffer_.resize(std::size_t{count} * across_ * sample_);
    loaded_ = true;
    bandFirst_ = first;
    return file.readAt(placeOfLine(first), buffer_.data(), buffer_.size());
  }

  ImagePlane stored_;
  int orientation_;
  std::uint64_t offset_;
  std::size_t sample_;
  bool exchanged_;
  std::uint32_t lines_;      ///< rows of the result
  std::uint32_t across_;     ///< samples in a row of the result
  std::uint32_t bandLines_;  ///< lines that lie together
  bool loaded_ = false;
  std::uint32_t bandFirst_ = 0;
  std::vector<std::uint8_t> buffer_;
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
  UprightStrips(std::unique_ptr<StripProducer> stored, std::shared_ptr<UnnamedFile> file)
      : stored_(std::move(stored)),
        file_(std::move(file)),
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
      if (auto kept = keepAll(); !kept.ok()) return kept;
    }
    for (std::size_t plane = 0; plane < planes_.size(); ++plane) {
      if (auto given = fillPlane(strip, plane); !given.ok()) return given;
    }
    ++next_;
    return {};
  }

 private:
  Result<void> keepAll() {
    const StripLayout& layout = stored_->layout();
    Strip strip(layout);
    for (std::uint32_t index = 0; index < layout.strips(); ++index) {
      if (auto filled = stored_->fill(strip); !filled.ok()) return filled;
      for (std::size_t plane = 0; plane < planes_.size(); ++plane) {
        const ImagePlane& shape = layout.planes[plane];
        auto kept =
            planes_[plane].keep(*file_, strip, plane, index * layout.planeRowsPerStrip(shape),
                                layout.planeRowsInStrip(shape, index));
        if (!kept.ok()) return kept;
      }
    }
    return stored_->finish();
  }

  Result<void> fillPlane(Strip& strip, std::size_t plane) {
    const ImagePlane& shape = layout_.planes[plane];
    const std::uint32_t rows = layout_.planeRowsInStrip(shape, next_);
    const std::size_t used = std::size_t{shape.width} * shape.bytesPerSample;
    for (std::uint32_t y = 0; y < rows; ++y) {
      std::uint8_t* row = strip.row(plane, y);
      auto given = planes_[plane].give(*file_, next_ * layout_.planeRowsPerStrip(shape) + y, row);
      if (!given.ok()) return given;
      // An encoder reads whole blocks: the edge goes on beyond the picture, as if it were larger.
      for (std::size_t x = used; x < strip.stride(plane); ++x)
        row[x] = row[x - shape.bytesPerSample];
    }
    for (std::uint32_t y = std::max(rows, 1u); y < layout_.planeRowsPerStrip(shape); ++y)
      std::memcpy(strip.row(plane, y), strip.row(plane, y - 1), strip.stride(plane));
    return {};
  }

  std::unique_ptr<StripProducer> stored_;
  std::shared_ptr<UnnamedFile> file_;
  StripLayout layout_;
  std::vector<TurnedPlane> planes_;
  std::uint32_t next_ = 0;
};

}  // namespace

Result<std::unique_ptr<StripProducer>> makeUpright(std::unique_ptr<StripProducer> stored,
                                                   const std::string& scratchFolder) {
  if (stored->orientation() == 1) return stored;
  auto file = UnnamedFile::makeInFolder(scratchFolder);
  if (!file.ok()) return file.error();
  std::unique_ptr<StripProducer> upright =
      std::make_unique<UprightStrips>(std::move(stored), std::move(file).value());
  return upright;
}

}  // namespace tasklane
