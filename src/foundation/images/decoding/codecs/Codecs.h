#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "foundation/images/decoding/PictureDecoding.h"

namespace tasklane {

/// What one decoder may hold in memory: as much as its process is allowed, less what it takes
/// besides. Where a header says that it will not do, the refusal can say why.
inline constexpr std::uint64_t kCodecMemory = 64ull * 1024 * 1024;

OpenedImage openBMP(const DecoderInput& input);
OpenedImage openGIF(const DecoderInput& input);
OpenedImage openTIFF(const DecoderInput& input);
OpenedImage openWebP(const DecoderInput& input);
OpenedImage openHEIF(const DecoderInput& input);

/// The refusal of a picture that would take more memory than a decoder may.
NSError needsTooMuchMemory(const DecoderInput& input, std::uint64_t bytes);
NSError damaged(const std::string& how);

/// For each stored value of a sample its value in a JPEG, whose samples use the full range.
using LevelTable = std::array<std::uint8_t, 256>;
/// The tables of brightness and of the two colour differences.
struct Levels {
  LevelTable luma, chroma;
  /// From the range of video, 16 to 235 (chroma 240), or unchanged.
  static const Levels& ofVideo();
  static const Levels& full();
};

/// A decoder that yields RGB row by row.
class RGBRows : public StripProducer {
 public:
  RGBRows(std::uint32_t width, std::uint32_t height)
      : layout_(StripLayout::interleaved(PixelLayout::RGB, width, height)) {}

  const StripLayout& layout() const override { return layout_; }
  int orientation() const override { return orientation_; }
  const std::string& colorProfile() const override { return profile_; }
  Result<void> fill(Strip& strip) override;
  Result<void> finish() override { return {}; }

 protected:
  /// Rows are asked for once each, from the top.
  virtual Result<void> readRow(std::uint32_t y, std::uint8_t* rgb) = 0;

  StripLayout layout_;
  int orientation_ = 1;
  std::string profile_;

 private:
  std::uint32_t next_ = 0;
};

}  // namespace tasklane
