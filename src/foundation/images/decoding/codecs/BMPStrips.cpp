#include <bit>
#include <vector>

#include "foundation/images/decoding/ImageHeader.h"
#include "foundation/images/decoding/codecs/Codecs.h"

namespace tasklane {

namespace {

/// One channel in a pixel's bits.
struct Channel {
  std::uint32_t mask = 0;

  std::uint8_t of(std::uint32_t pixel) const {
    if (mask == 0) return 0;
    const int shift = std::countr_zero(mask);
    const std::uint64_t largest = mask >> shift;
    return static_cast<std::uint8_t>((std::uint64_t{(pixel & mask) >> shift} * 255 + largest / 2) /
                                     largest);
  }
};

/// Rows of an uncompressed bitmap, each read where it lies, so that it does not matter that they
/// usually run from the bottom up.
class BMPRows final : public RGBRows {
 public:
  explicit BMPRows(const DecoderInput& input)
      : RGBRows(input.header.width, input.header.height), input_(input) {}

  Result<void> start() {
    HeaderBytes bytes(*input_.source);
    const auto number = [&bytes](std::uint64_t offset, int count) {
      return bytes.littleEndian(offset, count).value_or(0);
    };
    const std::uint32_t header = number(14, 4);
    const bool old = header == 12;
    pixels_ = number(10, 4);
    bits_ = number(old ? 24 : 28, 2);
    const std::uint32_t compression = old ? 0 : number(30, 4);
    topFirst_ = !old && number(22, 4) >> 31 != 0;
    if (compression != 0 && compression != 3 && compression != 6)
      return NSError{NSError::Kind::Unsupported,
                     "it is a compressed bitmap, which is not supported"};
    if (bits_ <= 8) {
      readPalette(bytes, 14 + std::uint64_t{header}, old ? 3 : 4, old ? 0 : number(46, 4));
    } else {
      chooseChannels(bytes, compression != 0);
    }
    if (bits_ != 1 && bits_ != 4 && bits_ != 8 && bits_ != 16 && bits_ != 24 && bits_ != 32)
      return damaged("a bitmap of " + std::to_string(bits_) + " bits a pixel");
    rowBytes_ = (std::uint64_t{layout_.width} * bits_ + 31) / 32 * 4;
    if (pixels_ + rowBytes_ * layout_.height > bytes.size()) return damaged("it ends too early");
    row_.resize(rowBytes_);
    return {};
  }

 protected:
  Result<void> readRow(std::uint32_t y, std::uint8_t* rgb) override {
    const std::uint64_t line = topFirst_ ? y : layout_.height - 1 - y;
    const auto got = input_.source->readAt(pixels_ + line * rowBytes_, row_.data(), rowBytes_);
    if (got != static_cast<std::int64_t>(rowBytes_)) return damaged("it ends too early");
    for (std::uint32_t x = 0; x < layout_.width; ++x, rgb += 3) {
      const std::uint32_t pixel = pixelAt(x);
      for (std::size_t i = 0; i < 3; ++i)
        rgb[i] = bits_ <= 8 ? palette_[pixel * 3 + i] : channels_[i].of(pixel);
    }
    return {};
  }

 private:
  void readPalette(HeaderBytes& bytes, std::uint64_t offset, std::uint32_t step,
                   std::uint32_t count) {
    palette_.resize(std::size_t{256} * 3);
    if (count == 0 || count > 256) count = 1u << bits_;
    for (std::uint32_t i = 0; i < count; ++i) {
      for (std::uint32_t color = 0; color < 3; ++color)
        palette_[i * 3 + color] = bytes.byte(offset + i * step + 2 - color).value_or(0);
    }
  }

  void chooseChannels(HeaderBytes& bytes, bool given) {
    for (std::uint32_t i = 0; i < 3; ++i) {
      if (given)
        channels_[i].mask = bytes.littleEndian(54 + i * 4, 4).value_or(0);
      else
        channels_[i].mask = bits_ == 16 ? 0x7C00u >> (5 * i) : 0xFF0000u >> (8 * i);
    }
  }

  std::uint32_t pixelAt(std::uint32_t x) const {
    if (bits_ < 8) {
      const std::uint32_t bit = x * bits_;
      return row_[bit / 8] >> (8 - bits_ - bit % 8) & ((1u << bits_) - 1);
    }
    std::uint32_t pixel = 0;
    for (std::uint32_t i = 0; i < bits_ / 8; ++i)
      pixel |= std::uint32_t{row_[std::size_t{x} * (bits_ / 8) + i]} << (8 * i);
    return pixel;
  }

  DecoderInput input_;
  std::uint64_t pixels_ = 0;
  std::uint64_t rowBytes_ = 0;
  std::uint32_t bits_ = 0;
  bool topFirst_ = false;
  std::vector<std::uint8_t> palette_;
  Channel channels_[3];
  std::vector<std::uint8_t> row_;
};

}  // namespace

OpenedImage openBMP(const DecoderInput& input) {
  auto rows = std::make_unique<BMPRows>(input);
  if (auto started = rows->start(); !started) return started.error();
  return std::unique_ptr<StripProducer>(std::move(rows));
}

}  // namespace tasklane
