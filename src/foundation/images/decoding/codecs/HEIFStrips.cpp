#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include "foundation/images/decoding/HEIFContainer.h"
#include "foundation/images/decoding/codecs/Codecs.h"
#include "foundation/images/decoding/codecs/CodedColors.h"

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

/// The library's way to the file, in which a few bytes are others.
struct Reader {
  const ImageSource* source;
  std::vector<HEIFPatch> patches;
  std::uint64_t offset = 0;

  static int64_t position(void* self) {
    return static_cast<int64_t>(static_cast<Reader*>(self)->offset);
  }
  static int read(void* into, size_t count, void* self) {
    auto* reader = static_cast<Reader*>(self);
    const auto got = reader->source->readAt(reader->offset, into, count);
    if (got < 0 || static_cast<size_t>(got) < count) return 1;
    for (const HEIFPatch& patch : reader->patches) {
      for (std::size_t i = 0; i < patch.bytes.size(); ++i) {
        const std::uint64_t place = patch.offset + i;
        if (place >= reader->offset && place - reader->offset < count)
          static_cast<char*>(into)[place - reader->offset] = patch.bytes[i];
      }
    }
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

NSError errorOf(const heif_error& error) {
  if (error.code == heif_error_Memory_allocation_error)
    return {NSError::Kind::Unsupported, "it takes more memory to decode than is allowed"};
  if (error.code == heif_error_Unsupported_feature || error.code == heif_error_Unsupported_filetype)
    return {NSError::Kind::Unsupported, error.message};
  return damaged(error.message);
}

/// A file open with the library, and its primary picture.
class Session {
 public:
  Session(const ImageSource& source, std::vector<HEIFPatch> patches)
      : reader_{&source, std::move(patches)}, context_(heif_context_alloc()) {}

  Result<void> open() {
    static constexpr heif_reader kReader{1, Reader::position, Reader::read, Reader::seek,
                                         Reader::wait};
    const heif_error read =
        heif_context_read_from_reader(context_.get(), &kReader, &reader_, nullptr);
    if (read.code != heif_error_Ok) return errorOf(read);
    heif_context_set_max_decoding_threads(context_.get(), 1);
    heif_image_handle* handle = nullptr;
    const heif_error found = heif_context_get_primary_image_handle(context_.get(), &handle);
    handle_.reset(handle);
    if (found.code != heif_error_Ok) return errorOf(found);
    return {};
  }
  const heif_image_handle* handle() const { return handle_.get(); }

  /// The library converts what is stored otherwise; undefined ones leave the choice to it.
  Result<std::shared_ptr<const heif_image>> decode(heif_colorspace space, heif_chroma chroma,
                                                   bool turned) const {
    const Owned<heif_decoding_options> options(heif_decoding_options_alloc());
    options->ignore_transformations = turned ? 0 : 1;
    options->convert_hdr_to_8bit = space == heif_colorspace_RGB ? 1 : 0;
    options->strict_decoding = 1;
    heif_image* image = nullptr;
    const heif_error decoded =
        heif_decode_image(handle_.get(), &image, space, chroma, options.get());
    if (decoded.code != heif_error_Ok) return errorOf(decoded);
    return std::shared_ptr<const heif_image>(image, Free());
  }

 private:
  Reader reader_;
  Owned<heif_context> context_;
  Owned<heif_image_handle> handle_;
};

/// A picture tile by tile, a row of them at a time; one in one piece is a single tile. Samples are
/// taken as they are stored, in their sampling, unless only the library knows what they mean.
class HEIFStrips final : public StripProducer {
 public:
  HEIFStrips(const DecoderInput& input, HEIFPicture picture)
      : input_(input), picture_(std::move(picture)) {}

  const StripLayout& layout() const override { return layout_; }
  int orientation() const override { return input_.header.orientation; }
  const std::string& colorProfile() const override { return profile_; }
  Result<void> finish() override { return {}; }

  Result<void> start() {
    Session whole(*input_.source, {});
    if (auto opened = whole.open(); !opened) return opened;
    alpha_ = heif_image_handle_has_alpha_channel(whole.handle()) != 0;
    colors_ = codedColorsOf(whole.handle());
    if (alpha_ || picture_.librarysTurns) picture_.tiles.clear();
    if (picture_.tiles.empty()) {
      picture_.rows = picture_.columns = 1;
      if (auto fits = judgeSize(whole.handle()); !fits) return fits;
    }
    takeProfile(whole.handle());
    auto first = decodeFirst(whole);
    if (!first) return first.error();
    images_.push_back(std::move(first).value());
    return layOut();
  }

  Result<void> fill(Strip& strip) override {
    const std::uint32_t y = next_ * layout_.rowsPerStrip();
    if (auto loaded = loadRow(y / tileHeight_); !loaded) return loaded;
    for (std::size_t plane = 0; plane < layout_.planes.size(); ++plane) {
      const ImagePlane& shape = layout_.planes[plane];
      const std::uint32_t rows = layout_.planeRowsInStrip(shape, next_);
      const std::uint32_t inTile =
          y % tileHeight_ / layout_.maximumVerticalSampling() * shape.verticalSampling;
      for (std::uint32_t column = 0; column < picture_.columns; ++column)
        fillFrom(*images_[column], column, plane, inTile, rows, strip);
      strip.padPlane(layout_, plane, rows);
    }
    ++next_;
    return {};
  }

 private:
  /// Of a picture in one piece the decoder holds copies, and what it knows of each block (measured:
  /// five and a half times the pixels).
  Result<void> judgeSize(const heif_image_handle* handle) const {
    const auto pixels = std::uint64_t(heif_image_handle_get_width(handle)) *
                        std::uint64_t(heif_image_handle_get_height(handle));
    const std::uint64_t deep = heif_image_handle_get_luma_bits_per_pixel(handle) > 8 ? 2 : 1;
    const std::uint64_t needed = pixels * deep * (alpha_ ? 8 : 4);
    if (needed > kCodecMemory) return needsTooMuchMemory(input_, needed);
    return {};
  }

  void takeProfile(const heif_image_handle* handle) {
    std::string profile(heif_image_handle_get_raw_color_profile_size(handle), '\0');
    if (!profile.empty() &&
        heif_image_handle_get_raw_color_profile(handle, profile.data()).code == heif_error_Ok)
      profile_ = usableColorProfile(profile, false);
    if (profile_.empty() && colors_) profile_ = colorProfileOf(*colors_);
  }

  Result<std::shared_ptr<const heif_image>> decodeFirst(const Session& whole) {
    if (alpha_) {
      space_ = heif_colorspace_RGB;
      chroma_ = heif_chroma_interleaved_RGBA;
    } else if (picture_.chromaFormat) {
      // The library's own choice is RGB, which takes twice the memory.
      constexpr heif_chroma kChromas[] = {heif_chroma_monochrome, heif_chroma_420, heif_chroma_422,
                                          heif_chroma_444};
      chroma_ = kChromas[*picture_.chromaFormat];
      space_ =
          chroma_ == heif_chroma_monochrome ? heif_colorspace_monochrome : heif_colorspace_YCbCr;
    }
    auto image = decodeTile(0, &whole);
    if (!image || alpha_) return image;
    if (!colors_) colors_ = codedColorsOf(image.value().get());
    const heif_colorspace space = heif_image_get_colorspace(image.value().get());
    if (space == heif_colorspace_monochrome ||
        (space == heif_colorspace_YCbCr && (!colors_ || colors_->hasMatrixOfJPEG())))
      return image;
    space_ = heif_colorspace_RGB;
    chroma_ = heif_chroma_interleaved_RGB;
    image.value().reset();
    return decodeTile(0, &whole);
  }

  /// The whole picture is needed where it has no tiles.
  Result<std::shared_ptr<const heif_image>> decodeTile(std::size_t index, const Session* whole) {
    if (picture_.tiles.empty()) return whole->decode(space_, chroma_, picture_.librarysTurns);
    HeaderBytes bytes(*input_.source);
    Session session(*input_.source, makePrimary(bytes, picture_.tiles[index]));
    if (auto opened = session.open(); !opened) return opened.error();
    return session.decode(space_, chroma_, false);
  }

  Result<void> layOut() {
    const heif_image* first = images_[0].get();
    const std::uint32_t width = input_.header.width, height = input_.header.height;
    const heif_colorspace space = heif_image_get_colorspace(first);
    if (space == heif_colorspace_RGB) {
      layout_ = StripLayout::interleaved(PixelLayout::RGB, width, height);
      channels_ = {heif_channel_interleaved};
    } else if (space == heif_colorspace_monochrome) {
      layout_ = StripLayout::interleaved(PixelLayout::Gray, width, height);
      channels_ = {heif_channel_Y};
      profile_.clear();
    } else {
      const heif_chroma chroma = heif_image_get_chroma_format(first);
      const std::uint32_t across = chroma == heif_chroma_444 ? 1 : 2;
      const std::uint32_t down = chroma == heif_chroma_420 ? 2 : 1;
      layout_ = StripLayout::planar(PixelLayout::YCbCr, width, height,
                                    {{0, 0, 1, across, down}, {0, 0, 1, 1, 1}, {0, 0, 1, 1, 1}});
      channels_ = {heif_channel_Y, heif_channel_Cb, heif_channel_Cr};
    }
    tileWidth_ = sizeOf(heif_image_get_width(first, channels_[0]));
    tileHeight_ = sizeOf(heif_image_get_height(first, channels_[0]));
    const bool covered = std::uint64_t{tileWidth_} * picture_.columns >= width &&
                         std::uint64_t{tileHeight_} * picture_.rows >= height;
    if (!covered || (picture_.tiles.empty() && (tileWidth_ != width || tileHeight_ != height)))
      return damaged("it gives its size twice");
    if (!picture_.tiles.empty() && (tileWidth_ % layout_.maximumHorizontalSampling() != 0 ||
                                    tileHeight_ % layout_.rowsPerStrip() != 0))
      return NSError{NSError::Kind::Unsupported, "its tiles are of an unusual size"};
    const bool full = space != heif_colorspace_YCbCr || !colors_ || colors_->fullRange;
    levels_ = full ? &Levels::full() : &Levels::ofVideo();
    return judgeImage(first);
  }

  static std::uint32_t sizeOf(int length) {
    return static_cast<std::uint32_t>(std::max(length, 0));
  }

  /// Whether an image has all the samples that will be taken from it.
  Result<void> judgeImage(const heif_image* image) const {
    for (std::size_t i = 0; i < channels_.size(); ++i) {
      const ImagePlane& shape = layout_.planes[i];
      const std::uint32_t across = layout_.maximumHorizontalSampling() / shape.horizontalSampling;
      const std::uint32_t down = layout_.maximumVerticalSampling() / shape.verticalSampling;
      const int bits = heif_image_get_bits_per_pixel_range(image, channels_[i]);
      int stride = 0;
      if (heif_image_get_plane_readonly(image, channels_[i], &stride) == nullptr ||
          sizeOf(heif_image_get_width(image, channels_[i])) < (tileWidth_ + across - 1) / across ||
          sizeOf(heif_image_get_height(image, channels_[i])) < (tileHeight_ + down - 1) / down ||
          heif_image_get_colorspace(image) != heif_image_get_colorspace(images_[0].get()) ||
          heif_image_get_chroma_format(image) != heif_image_get_chroma_format(images_[0].get()) ||
          bits < 8 || bits > 16)
        return damaged("a plane is missing");
    }
    return {};
  }

  /// Has the tiles of a row in memory, and no others.
  Result<void> loadRow(std::uint32_t row) {
    if (row == row_ && images_.size() == picture_.columns) return {};
    if (row != row_) images_.resize(1);  // the first stays, to compare with
    for (std::uint32_t column = 0; column < picture_.columns; ++column) {
      if (row == row_ && column == 0) continue;
      auto image = decodeTile(std::size_t{row} * picture_.columns + column, nullptr);
      if (!image) return image.error();
      if (auto whole = judgeImage(image.value().get()); !whole) return whole;
      if (column == 0)
        images_[0] = std::move(image).value();
      else
        images_.push_back(std::move(image).value());
    }
    row_ = row;
    return {};
  }

  void fillFrom(const heif_image& image, std::uint32_t column, std::size_t plane,
                std::uint32_t from, std::uint32_t rows, Strip& strip) const {
    const ImagePlane& shape = layout_.planes[plane];
    const std::uint32_t full = layout_.maximumHorizontalSampling();
    const std::uint32_t tileWidth = (tileWidth_ * shape.horizontalSampling + full - 1) / full;
    const std::uint32_t left = column * tileWidth;
    if (left >= shape.width) return;
    const std::uint32_t width = std::min(tileWidth, shape.width - left);
    const int bits = heif_image_get_bits_per_pixel_range(&image, channels_[plane]);
    int stride = 0;
    const std::uint8_t* samples = heif_image_get_plane_readonly(&image, channels_[plane], &stride);
    const LevelTable& levels = plane == 0 ? levels_->luma : levels_->chroma;
    for (std::uint32_t y = 0; y < rows; ++y) {
      const std::uint8_t* row = samples + std::size_t{from + y} * static_cast<std::size_t>(stride);
      std::uint8_t* to = strip.row(plane, y) + std::size_t{left} * shape.bytesPerSample;
      if (alpha_)
        layOnWhite(row, to, width);
      else if (layout_.pixels == PixelLayout::RGB)
        std::memcpy(to, row, std::size_t{width} * 3);
      else
        for (std::uint32_t x = 0; x < width; ++x) to[x] = levels[sampleOf(row, x, bits)];
    }
  }

  static void layOnWhite(const std::uint8_t* rgba, std::uint8_t* rgb, std::uint32_t count) {
    for (; count > 0; --count, rgba += 4, rgb += 3)
      for (std::size_t i = 0; i < 3; ++i) rgb[i] = onWhite(rgba[i], rgba[3]);
  }

  static std::uint8_t sampleOf(const std::uint8_t* row, std::uint32_t x, int bits) {
    if (bits == 8) return row[x];
    std::uint16_t value = 0;
    std::memcpy(&value, row + std::size_t{x} * 2, 2);
    return static_cast<std::uint8_t>(value >> (bits - 8));
  }

  DecoderInput input_;
  HEIFPicture picture_;
  bool alpha_ = false;
  std::optional<CodedColors> colors_;
  heif_colorspace space_ = heif_colorspace_undefined;
  heif_chroma chroma_ = heif_chroma_undefined;
  StripLayout layout_;
  std::string profile_;
  std::vector<heif_channel> channels_;
  const Levels* levels_ = nullptr;
  std::uint32_t tileWidth_ = 0;
  std::uint32_t tileHeight_ = 0;
  std::vector<std::shared_ptr<const heif_image>> images_;  ///< of one row of tiles
  std::uint32_t row_ = 0;
  std::uint32_t next_ = 0;
};

}  // namespace

OpenedImage openHEIF(const DecoderInput& input) {
  HeaderBytes bytes(*input.source);
  auto picture = readHEIF(bytes);
  if (!picture) return damaged("it does not say its size");
  auto strips = std::make_unique<HEIFStrips>(input, std::move(*picture));
  if (auto started = strips->start(); !started) return started.error();
  return std::unique_ptr<StripProducer>(std::move(strips));
}

}  // namespace tasklane
