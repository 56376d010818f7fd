#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include "foundation/decoding/ImageHeader.h"
#include "foundation/decoding/UprightStrips.h"
#include "foundation/decoding/codecs/Codecs.h"

#include <libheif/heif.h>

namespace tasklane {

namespace {

struct Free {
  void operator()(heif_context* context) const { heif_context_free(context); }
  void operator()(const heif_image_handle* handle) const { heif_image_handle_release(handle); }
  void operator()(const heif_image* image) const { heif_image_release(image); }
  void operator()(heif_decoding_options* options) const { heif_decoding_options_free(options); }
};
template <class T>
using Owned = std::unique_ptr<T, Free>;

/// The library's way to the file.
struct Reader {
  const ImageSource* source;
  std::uint64_t offset = 0;

  static int64_t position(void* self) {
    return static_cast<int64_t>(static_cast<Reader*>(self)->offset);
  }
  static int read(void* into, size_t count, void* self) {
    auto* reader = static_cast<Reader*>(self);
    const auto got = reader->source->readAt(reader->offset, into, count);
    if (got < 0 || static_cast<size_t>(got) < count) return 1;
    reader->offset += count;
    return 0;
  }
  static int seek(int64_t place, void* self) {
    static_cast<Reader*>(self)->offset = static_cast<std::uint64_t>(place);
    return 0;
  }
  static heif_reader_grow_status wait(int64_t size, void* self) {
    return static_cast<std::uint64_t>(size) <= static_cast<Reader*>(self)->source->size()
               ? heif_reader_grow_status_size_reached
               : heif_reader_grow_status_size_beyond_eof;
  }
};

/// The library decodes a picture whole. Its planes are taken as they are, so that they are all that
/// is held.
class HEICStrips final : public StripProducer {
 public:
  explicit HEICStrips(const DecoderInput& input) : input_(input) { reader_.source = input.source; }

  const StripLayout& layout() const override { return layout_; }
  int orientation() const override { return input_.header.orientation; }
  const std::string& colorProfile() const override { return profile_; }
  Result<void> finish() override { return {}; }

  Result<void> start() {
    context_.reset(heif_context_alloc());
    static constexpr heif_reader kReader{1, Reader::position, Reader::read, Reader::seek,
                                         Reader::wait};
    if (auto read =
            judge(heif_context_read_from_reader(context_.get(), &kReader, &reader_, nullptr));
        !read.ok())
      return read;
    heif_context_set_max_decoding_threads(context_.get(), 1);
    heif_image_handle* handle = nullptr;
    auto found = judge(heif_context_get_primary_image_handle(context_.get(), &handle));
    if (!found.ok()) return found;
    const Owned<heif_image_handle> owned(handle);
    if (auto fits = judgeSize(handle); !fits.ok()) return fits;
    takeProfile(handle);
    if (auto decoded = decode(handle); !decoded.ok()) return decoded;
    context_.reset();
    return layOut();
  }

  Result<void> fill(Strip& strip) override {
    if (layout_.pixels == PixelLayout::RGB)
      fillPixels(strip);
    else
      fillPlanes(strip);
    ++next_;
    return {};
  }

 private:
  Result<void> judge(const heif_error& error) const {
    if (error.code == heif_error_Ok) return {};
    if (error.code == heif_error_Unsupported_feature ||
        error.code == heif_error_Unsupported_filetype)
      return NSError{NSError::Kind::Unsupported, error.message};
    return damaged(error.message);
  }

  Result<void> judgeSize(heif_image_handle* handle) {
    turnsItself_ = input_.header.orientation == 1;
    alpha_ = heif_image_handle_has_alpha_channel(handle) != 0;
    const auto pixels = std::uint64_t(heif_image_handle_get_width(handle)) *
                        std::uint64_t(heif_image_handle_get_height(handle));
    const std::uint64_t deep = heif_image_handle_get_luma_bits_per_pixel(handle) > 8 ? 2 : 1;
    // The planes take half as much again as the pixels; of a picture in one piece the decoder holds
    // another copy and what it knows of each block (measured: five and a half times the pixels).
    const std::uint64_t copies = alpha_ ? 8 : 5;
    const std::uint64_t needed = pixels * deep * copies;
    if (needed > kCodecMemory) return needsTooMuchMemory(input_, needed);
    return {};
  }

  void takeProfile(heif_image_handle* handle) {
    std::string profile(heif_image_handle_get_raw_color_profile_size(handle), '\0');
    if (profile.empty()) return;
    if (heif_image_handle_get_raw_color_profile(handle, profile.data()).code == heif_error_Ok)
      profile_ = usableColorProfile(profile, false);
  }

  Result<void> decode(heif_image_handle* handle) {
    // Asked for in the sampling that such pictures have: what the library would choose by itself is
    // RGB, twice as much.
    const Owned<heif_decoding_options> options(heif_decoding_options_alloc());
    options->ignore_transformations = turnsItself_ ? 0 : 1;
    options->convert_hdr_to_8bit = alpha_ ? 1 : 0;
    options->strict_decoding = 1;
    heif_image* image = nullptr;
    auto decoded = judge(
        heif_decode_image(handle, &image, alpha_ ? heif_colorspace_RGB : heif_colorspace_YCbCr,
                          alpha_ ? heif_chroma_interleaved_RGBA : heif_chroma_420, options.get()));
    image_.reset(image);
    return decoded;
  }

  Result<void> layOut() {
    const heif_channel first = alpha_ ? heif_channel_interleaved : heif_channel_Y;
    const int width = heif_image_get_width(image_.get(), first);
    const int height = heif_image_get_height(image_.get(), first);
    const std::uint32_t expectedWidth = input_.header.width;
    const std::uint32_t expectedHeight = input_.header.height;
    if (width != static_cast<int>(expectedWidth) || height != static_cast<int>(expectedHeight))
      return damaged("it gives its size twice");
    if (alpha_) {
      layout_ = StripLayout::interleaved(PixelLayout::RGB, expectedWidth, expectedHeight);
      return takePlanes({heif_channel_interleaved});
    }
    layout_ = StripLayout::planar(PixelLayout::YCbCr, expectedWidth, expectedHeight,
                                  {{0, 0, 1, 2, 2}, {0, 0, 1, 1, 1}, {0, 0, 1, 1, 1}});
    return takePlanes({heif_channel_Y, heif_channel_Cb, heif_channel_Cr});
  }

  Result<void> takePlanes(const std::vector<heif_channel>& channels) {
    for (std::size_t i = 0; i < channels.size(); ++i) {
      Plane plane;
      plane.bytes = heif_image_get_plane_readonly(image_.get(), channels[i], &plane.stride);
      plane.bits = heif_image_get_bits_per_pixel_range(image_.get(), channels[i]);
      const ImagePlane& shape = layout_.planes[i];
      const bool whole =
          heif_image_get_width(image_.get(), channels[i]) >= static_cast<int>(shape.width) &&
          heif_image_get_height(image_.get(), channels[i]) >= static_cast<int>(shape.height);
      if (plane.bytes == nullptr || !whole || plane.bits < 8 || plane.bits > 16)
        return damaged("a plane is missing");
      planes_.push_back(plane);
    }
    chooseLevels();
    return {};
  }

  /// Video range is stretched to the full range of a JPEG.
  void chooseLevels() {
    heif_color_profile_nclx* nclx = nullptr;
    bool full = true;
    if (heif_image_get_nclx_color_profile(image_.get(), &nclx).code == heif_error_Ok) {
      full = nclx->full_range_flag != 0;
      heif_nclx_color_profile_free(nclx);
    }
    for (std::size_t value = 0; value < 256; ++value) {
      const auto stretch = [&](double zero, double range, double center) {
        const double level = (static_cast<double>(value) - zero) * 255 / range + center;
        return static_cast<std::uint8_t>(full ? static_cast<double>(value)
                                              : std::clamp(level + 0.5, 0.0, 255.0));
      };
      luma_[value] = stretch(16, 219, 0);
      chroma_[value] = stretch(128, 224, 128);
    }
  }

  void fillPixels(Strip& strip) const {
    const std::uint32_t rows = layout_.planeRowsInStrip(layout_.planes[0], next_);
    for (std::uint32_t y = 0; y < rows; ++y) {
      const std::uint8_t* from = rowOf(planes_[0], next_ * layout_.rowsPerStrip() + y);
      std::uint8_t* to = strip.row(0, y);
      for (std::uint32_t x = 0; x < layout_.width; ++x, from += 4, to += 3) {
        for (std::size_t i = 0; i < 3; ++i) to[i] = onWhite(from[i], from[3]);
      }
    }
  }

  void fillPlanes(Strip& strip) const {
    for (std::size_t plane = 0; plane < planes_.size(); ++plane) {
      const ImagePlane& shape = layout_.planes[plane];
      const auto& levels = plane == 0 ? luma_ : chroma_;
      const std::uint32_t rows = layout_.planeRowsInStrip(shape, next_);
      for (std::uint32_t y = 0; y < rows; ++y) {
        const std::uint8_t* from =
            rowOf(planes_[plane], next_ * layout_.planeRowsPerStrip(shape) + y);
        std::uint8_t* to = strip.row(plane, y);
        for (std::uint32_t x = 0; x < shape.width; ++x)
          to[x] = levels[sampleOf(planes_[plane], from, x)];
        std::fill(to + shape.width, to + strip.stride(plane), to[shape.width - 1]);
      }
      for (std::uint32_t y = std::max(rows, 1u); y < layout_.planeRowsPerStrip(shape); ++y)
        std::copy_n(strip.row(plane, y - 1), strip.stride(plane), strip.row(plane, y));
    }
  }

  struct Plane {
    const std::uint8_t* bytes = nullptr;
    int stride = 0;
    int bits = 8;
  };
  static const std::uint8_t* rowOf(const Plane& plane, std::uint32_t y) {
    return plane.bytes + std::size_t{y} * static_cast<std::size_t>(plane.stride);
  }
  static std::uint8_t sampleOf(const Plane& plane, const std::uint8_t* row, std::uint32_t x) {
    if (plane.bits == 8) return row[x];
    std::uint16_t value = 0;
    std::memcpy(&value, row + std::size_t{x} * 2, 2);
    return static_cast<std::uint8_t>(value >> (plane.bits - 8));
  }

  DecoderInput input_;
  Reader reader_{};
  Owned<heif_context> context_;
  Owned<heif_image> image_;
  bool turnsItself_ = true;
  bool alpha_ = false;
  StripLayout layout_;
  std::string profile_;
  std::vector<Plane> planes_;
  std::array<std::uint8_t, 256> luma_{};
  std::array<std::uint8_t, 256> chroma_{};
  std::uint32_t next_ = 0;
};

}  // namespace

OpenedImage openHEIF(const DecoderInput& input) {
  auto strips = std::make_unique<HEICStrips>(input);
  if (auto started = strips->start(); !started.ok()) return started.error();
  return std::unique_ptr<StripProducer>(std::move(strips));
}

}  // namespace tasklane
