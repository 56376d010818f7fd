#include "foundation/images/decoding/JPEGStrips.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <utility>
#include <vector>

#include "foundation/images/decoding/JPEGSession.h"

namespace tasklane {

namespace {

/// Row pointers of a strip in the library's form: for each component its rows.
class RowPointers {
 public:
  explicit RowPointers(const StripLayout& layout) {
    for (const ImagePlane& plane : layout.planes)
      rows_.emplace_back(layout.planeRowsPerStrip(plane));
    for (auto& plane : rows_) planes_.push_back(plane.data());
  }
  JSAMPIMAGE pointInto(Strip& strip) {
    for (std::size_t plane = 0; plane < rows_.size(); ++plane)
      for (std::size_t y = 0; y < rows_[plane].size(); ++y)
        rows_[plane][y] = strip.row(plane, static_cast<std::uint32_t>(y));
    return planes_.data();
  }

 private:
  std::vector<std::vector<JSAMPROW>> rows_;
  std::vector<JSAMPARRAY> planes_;
};

std::vector<ImagePlane> samplingOf(const jpeg_decompress_struct& info) {
  std::vector<ImagePlane> planes(static_cast<std::size_t>(info.num_components));
  for (std::size_t i = 0; i < planes.size(); ++i) {
    planes[i].horizontalSampling = static_cast<std::uint32_t>(info.comp_info[i].h_samp_factor);
    planes[i].verticalSampling = static_cast<std::uint32_t>(info.comp_info[i].v_samp_factor);
  }
  return planes;
}

/// Whether the planes can go into the encoder as they are, in their place once upright.
bool planesFit(const jpeg_decompress_struct& info, const StripLayout& layout, int orientation) {
  if (info.jpeg_color_space == JCS_GRAYSCALE) return info.num_components == 1;
  if (info.jpeg_color_space != JCS_YCbCr || info.num_components != 3) return false;
  std::uint32_t blocks = 0;
  for (const ImagePlane& plane : layout.planes)
    blocks += plane.horizontalSampling * plane.verticalSampling;
  if (blocks > C_MAX_BLOCKS_IN_MCU) return false;
  return orientation == 1 || (layout.width % layout.maximumHorizontalSampling() == 0 &&
                              layout.height % layout.maximumVerticalSampling() == 0);
}

class JPEGDecoder final : public StripProducer {
 public:
  JPEGDecoder(const DecoderInput& input, JPEGDecoding decoding)
      : reader_(*input.source, *input.scratch),
        orientation_(input.header.orientation),
        decoding_(std::move(decoding)) {}

  const StripLayout& layout() const override { return layout_; }
  int orientation() const override { return orientation_; }
  const std::string& colorProfile() const override { return decoding_.colorProfile; }

  Result<void> start() {
    if (auto read = reader_.readHeader(); !read) return read;
    jpeg_decompress_struct& info = reader_.info();
    layout_ = StripLayout::planar(info.num_components == 1 ? PixelLayout::Gray : PixelLayout::YCbCr,
                                  info.image_width, info.image_height, samplingOf(info));
    planes_ = decoding_.planes && planesFit(info, layout_, orientation_);
    if (!planes_) choosePixels(info);
    info.do_block_smoothing = FALSE;
    return reader_.attempt([this, &info] {
      if (planes_) info.raw_data_out = TRUE;
      jpeg_start_decompress(&info);
    });
  }

  Result<void> fill(Strip& strip) override {
    if (!planes_) return fillPixels(strip);
    if (!pointers_) pointers_ = std::make_unique<RowPointers>(layout_);
    JSAMPIMAGE rows = pointers_->pointInto(strip);
    return reader_.attempt(
        [this, rows] { jpeg_read_raw_data(&reader_.info(), rows, layout_.rowsPerStrip()); });
  }

  Result<void> finish() override {
    return reader_.attempt([this] { jpeg_finish_decompress(&reader_.info()); });
  }

 private:
  void choosePixels(jpeg_decompress_struct& info) {
    info.scale_num = decoding_.eighths;
    info.scale_denom = 8;
    cmyk_ = info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK;
    const bool gray = info.jpeg_color_space == JCS_GRAYSCALE;
    info.out_color_space = cmyk_ ? JCS_CMYK : gray ? JCS_GRAYSCALE : JCS_RGB;
    // A profile of inks says nothing about the RGB that they are turned into.
    if (cmyk_) decoding_.colorProfile.clear();
    jpeg_calc_output_dimensions(&info);
    layout_ = StripLayout::interleaved(gray ? PixelLayout::Gray : PixelLayout::RGB,
                                       info.output_width, info.output_height);
    if (cmyk_) inks_.resize(std::size_t{info.output_width} * 4);
  }

  Result<void> fillPixels(Strip& strip) {
    jpeg_decompress_struct& info = reader_.info();
    for (std::uint32_t y = 0; y < layout_.rowsPerStrip() && next_ < layout_.height; ++y, ++next_) {
      JSAMPROW row = cmyk_ ? inks_.data() : strip.row(0, y);
      auto read = reader_.attempt([&info, &row] { jpeg_read_scanlines(&info, &row, 1); });
      if (!read) return read;
      if (cmyk_) turnInksToRGB(strip.row(0, y));
    }
    return {};
  }

  /// Files of the marker that says how inks are stored hold them inverted; all others are rare.
  void turnInksToRGB(std::uint8_t* rgb) {
    const unsigned int flip = reader_.info().saw_Adobe_marker ? 0 : 255;
    for (std::size_t i = 0; i < inks_.size(); i += 4, rgb += 3) {
      const unsigned int black = inks_[i + 3] ^ flip;
      for (std::size_t ink = 0; ink < 3; ++ink)
        rgb[ink] = static_cast<std::uint8_t>(((inks_[i + ink] ^ flip) * black + 127) / 255);
    }
  }

  JPEGReader reader_;
  int orientation_;
  JPEGDecoding decoding_;
  StripLayout layout_;
  bool planes_ = false;
  bool cmyk_ = false;
  std::uint32_t next_ = 0;
  std::unique_ptr<RowPointers> pointers_;
  std::vector<JSAMPLE> inks_;
};

class JPEGFileEncoder final : public JPEGEncoder {
 public:
  JPEGFileEncoder(const StripLayout& layout, int fileDescriptor)
      : layout_(layout), writer_(fileDescriptor), pointers_(layout) {}

  Result<void> start(const std::string& profile, double quality) {
    if (auto made = writer_.create(); !made) return made;
    const int percent = static_cast<int>(std::lround(std::clamp(quality, 0.0, 1.0) * 100));
    return writer_.attempt([&, percent] {
      jpeg_compress_struct& info = writer_.info();
      info.image_width = layout_.width;
      info.image_height = layout_.height;
      const bool gray = layout_.pixels == PixelLayout::Gray;
      const bool rgb = layout_.pixels == PixelLayout::RGB;
      info.input_components = gray ? 1 : 3;
      info.in_color_space = gray ? JCS_GRAYSCALE : rgb ? JCS_RGB : JCS_YCbCr;
      jpeg_set_defaults(&info);
      jpeg_set_quality(&info, percent, TRUE);
      planes_ = !gray && !rgb;
      for (std::size_t i = 0; i < static_cast<std::size_t>(info.num_components); ++i) {
        const ImagePlane& plane = layout_.planes[planes_ ? i : 0];
        info.comp_info[i].h_samp_factor = planes_ ? static_cast<int>(plane.horizontalSampling) : 1;
        info.comp_info[i].v_samp_factor = planes_ ? static_cast<int>(plane.verticalSampling) : 1;
      }
      info.raw_data_in = planes_ ? TRUE : FALSE;
      jpeg_start_compress(&info, TRUE);
      if (!profile.empty())
        jpeg_write_icc_profile(&info, reinterpret_cast<const JOCTET*>(profile.data()),
                               static_cast<unsigned int>(profile.size()));
    });
  }

  Result<void> add(const Strip& strip) override {
    // The library takes rows as changeable, but an encoder's input is never written to.
    JSAMPIMAGE rows = pointers_.pointInto(const_cast<Strip&>(strip));
    jpeg_compress_struct& info = writer_.info();
    return writer_.attempt([this, rows, &info] {
      if (!planes_) {
        const JDIMENSION left = info.image_height - info.next_scanline;
        jpeg_write_scanlines(&info, rows[0], std::min<JDIMENSION>(left, layout_.rowsPerStrip()));
      } else {
        jpeg_write_raw_data(&info, rows, layout_.rowsPerStrip());
      }
    });
  }

  Result<void> finish() override {
    return writer_.attempt([this] { jpeg_finish_compress(&writer_.info()); });
  }

 private:
  StripLayout layout_;
  JPEGWriter writer_;
  RowPointers pointers_;
  bool planes_ = false;
};

}  // namespace

OpenedImage openJPEG(const DecoderInput& input, JPEGDecoding decoding) {
  auto decoder = std::make_unique<JPEGDecoder>(input, std::move(decoding));
  if (auto started = decoder->start(); !started) return started.error();
  return std::unique_ptr<StripProducer>(std::move(decoder));
}

Result<std::unique_ptr<JPEGEncoder>> makeJPEGEncoder(const StripLayout& layout,
                                                     const std::string& colorProfile,
                                                     double quality, int fileDescriptor) {
  auto encoder = std::make_unique<JPEGFileEncoder>(layout, fileDescriptor);
  if (auto started = encoder->start(colorProfile, quality); !started) return started.error();
  return std::unique_ptr<JPEGEncoder>(std::move(encoder));
}

}  // namespace tasklane
