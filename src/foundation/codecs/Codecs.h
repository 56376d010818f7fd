#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "foundation/ImageCodec.h"

namespace tasklane {

using OpenedImage = Result<std::unique_ptr<StripProducer>>;

/// What one decoder may hold in memory. With a second photo being loaded, and a sheet on the
/// screen, the process stays under its promise of 120 MB.
inline constexpr std::uint64_t kCodecMemory = 64ull * 1024 * 1024;

OpenedImage openBMP(const ImageCodecRequest& request);
OpenedImage openGIF(const ImageCodecRequest& request);
OpenedImage openTIFF(const ImageCodecRequest& request);
OpenedImage openWebP(const ImageCodecRequest& request);
OpenedImage openHEIC(const ImageCodecRequest& request);

/// The refusal of a picture that would take more memory than a decoder may.
NSError needsTooMuchMemory(const ImageCodecRequest& request, std::uint64_t bytes);
NSError damaged(const ImageCodecRequest& request, const std::string& how);

/// A color laid on white: straight alpha, 0 to 255.
constexpr std::uint8_t onWhite(unsigned int color, unsigned int alpha) {
  return static_cast<std::uint8_t>((color * alpha + 255 * (255 - alpha) + 127) / 255);
}

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
