#include "foundation/images/decoding/PNGStrips.h"

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include "foundation/images/decoding/ImageHeader.h"

#include <png.h>

namespace tasklane {

namespace {

constexpr std::size_t kMaximumChunk = 8 * 1024 * 1024;
/// Every one of them goes to the disk and back seven times.
constexpr std::uint64_t kMaximumInterlacedPixels = 150'000'000;
constexpr std::size_t kWindowBytes = 1024 * 1024;

/// The library's session. As with JPEG, nothing with a destructor may live between attempt() and a
/// failure of the library.
class PNGReader {
 public:
  explicit PNGReader(const ImageSource& source) : source_(source) {}
  ~PNGReader() { png_destroy_read_struct(&png_, &info_, nullptr); }
  PNGReader(const PNGReader&) = delete;
  PNGReader& operator=(const PNGReader&) = delete;

  template <class Work>
  Result<void> attempt(Work&& work) {
    if (tried(work)) return {};
    if (errno_ != 0) return NSError::fromErrno(errno_, "it cannot be read");
    return NSError{NSError::Kind::Corrupt, text_};
  }

  void create() {
    png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, fail, ignore);
    if (png_ != nullptr) info_ = png_create_info_struct(png_);
    if (info_ == nullptr) giveUp("not enough memory for a PNG");
    png_set_read_fn(png_, this, read);
  }
  [[noreturn]] void giveUp(const char* text) {
    std::snprintf(text_, sizeof text_, "%s", text);
    std::longjmp(jump_, 1);
  }
  png_structp png() const { return png_; }
  png_infop info() const { return info_; }

 private:
  template <class Work>
  [[gnu::noinline]] bool tried(Work&& work) {
    if (setjmp(jump_) != 0) return false;
    work();
    return true;
  }
  [[noreturn]] static void fail(png_structp png, png_const_charp text) {
    static_cast<PNGReader*>(png_get_error_ptr(png))->giveUp(text);
  }
  static void ignore(png_structp, png_const_charp) {}
  static void read(png_structp png, png_bytep into, std::size_t count) {
    auto* reader = static_cast<PNGReader*>(png_get_io_ptr(png));
    const auto got = reader->source_.readAt(reader->offset_, into, count);
    if (got < 0) reader->errno_ = errno;
    if (got < 0 || static_cast<std::size_t>(got) < count) reader->giveUp("the PNG ends too early");
    reader->offset_ += count;
  }

  const ImageSource& source_;
  png_structp png_ = nullptr;
  png_infop info_ = nullptr;
  std::uint64_t offset_ = 0;
  int errno_ = 0;
  char text_[200] = "";
  std::jmp_buf jump_;
};

class PNGDecoder final : public StripProducer {
 public:
  PNGDecoder(const DecoderInput& input, bool keepsAlpha)
      : reader_(*input.source), input_(input), keepsAlpha_(keepsAlpha) {}

  const StripLayout& layout() const override { return layout_; }
  int orientation() const override { return input_.header.orientation; }
  const std::string& colorProfile() const override { return profile_; }

  Result<void> start() {
    auto started = reader_.attempt([this] { readHeader(); });
    if (!started) return started;
    channels_ = png_get_channels(reader_.png(), reader_.info());
    const bool alpha = channels_ == 2 || channels_ == 4;
    const bool color = channels_ >= 3;
    const auto pixels = alpha && keepsAlpha_ ? PixelLayout::RGBA
                        : color              ? PixelLayout::RGB
                                             : PixelLayout::Gray;
    layout_ = StripLayout::interleaved(pixels, png_get_image_width(reader_.png(), reader_.info()),
                                       png_get_image_height(reader_.png(), reader_.info()));
    rowBytes_ = png_get_rowbytes(reader_.png(), reader_.info());
    takeProfile();
    if (passes_ == 1) {
      row_.resize(rowBytes_);
      return {};
    }
    return readEarlyPasses();
  }

  Result<void> fill(Strip& strip) override {
    for (std::uint32_t y = 0; y < layout_.rowsPerStrip() && next_ < layout_.height; ++y, ++next_) {
      std::uint8_t* row = row_.data();
      if (passes_ > 1) {
        auto waiting = interlacedRow(next_);
        if (!waiting) return waiting.error();
        row = waiting.value();
      }
      auto read = reader_.attempt([this, row] { png_read_row(reader_.png(), row, nullptr); });
      if (!read) return read;
      convert(row, strip.row(0, y));
    }
    return {};
  }

  Result<void> finish() override {
    return reader_.attempt([this] { png_read_end(reader_.png(), nullptr); });
  }

 private:
  void readHeader() {
    reader_.create();
    png_structp png = reader_.png();
    png_infop info = reader_.info();
    png_set_chunk_malloc_max(png, kMaximumChunk);
    // Texts are of no use here and may unpack to much.
    static constexpr png_byte kTexts[] = "tEXt\0zTXt\0iTXt";
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, kTexts, 3);
    png_read_info(png, info);
    png_set_expand(png);
    png_set_scale_16(png);
    double gamma = 0;
    if (!png_get_valid(png, info, PNG_INFO_iCCP) && !png_get_valid(png, info, PNG_INFO_sRGB) &&
        png_get_gAMA(png, info, &gamma) && gamma > 0.1 && gamma < 10)
      png_set_gamma(png, PNG_DEFAULT_sRGB, gamma);
    if (keepsAlpha_ && !(png_get_color_type(png, info) & PNG_COLOR_MASK_COLOR) &&
        (png_get_color_type(png, info) & PNG_COLOR_MASK_ALPHA ||
         png_get_valid(png, info, PNG_INFO_tRNS)))
      png_set_gray_to_rgb(png);
    passes_ = png_set_interlace_handling(png);
    png_read_update_info(png, info);
  }

  void takeProfile() {
    png_charp name = nullptr;
    int compression = 0;
    png_bytep bytes = nullptr;
    png_uint_32 length = 0;
    if (png_get_iCCP(reader_.png(), reader_.info(), &name, &compression, &bytes, &length))
      profile_ = usableColorProfile({reinterpret_cast<const char*>(bytes), length},
                                    layout_.pixels == PixelLayout::Gray);
  }

  /// All passes but the last, into the file; the last one completes row after row.
  Result<void> readEarlyPasses() {
    if (std::uint64_t{layout_.width} * layout_.height > kMaximumInterlacedPixels)
      return NSError{NSError::Kind::Unsupported,
                     "an interlaced PNG may have 150 million pixels at most; save it otherwise"};
    auto part = input_.scratch->take(std::uint64_t{rowBytes_} * layout_.height);
    if (!part) return part.error();
    waiting_ = part.value();
    windowRows_ = static_cast<std::uint32_t>(
        std::clamp<std::size_t>(kWindowBytes / rowBytes_, 1, layout_.height));
    window_.resize(rowBytes_ * windowRows_);
    for (int pass = 0; pass + 1 < passes_; ++pass) {
      for (std::uint32_t y = 0; y < layout_.height; ++y) {
        auto row = interlacedRow(y);
        if (!row) return row.error();
        std::uint8_t* bytes = row.value();
        auto read = reader_.attempt([this, bytes] { png_read_row(reader_.png(), bytes, nullptr); });
        if (!read) return read;
      }
    }
    return {};
  }

  /// The row as the passes so far have left it, to be completed in place.
  Result<std::uint8_t*> interlacedRow(std::uint32_t y) {
    const std::uint32_t first = y / windowRows_ * windowRows_;
    if (!windowLoaded_ || first != windowFirst_) {
      if (windowLoaded_) {
        if (auto kept = moveWindow(true); !kept) return kept.error();
      }
      windowFirst_ = first;
      windowLoaded_ = true;
      if (auto loaded = moveWindow(false); !loaded) return loaded.error();
    }
    return window_.data() + (y - first) * rowBytes_;
  }

  Result<void> moveWindow(bool writing) {
    const std::uint32_t rows = std::min(windowRows_, layout_.height - windowFirst_);
    const std::uint64_t offset = std::uint64_t{windowFirst_} * rowBytes_;
    return writing ? waiting_.writeAt(offset, window_.data(), rows * rowBytes_)
                   : waiting_.readAt(offset, window_.data(), rows * rowBytes_);
  }

  /// From the library's row to the strip's: as it is, or laid on white.
  void convert(const std::uint8_t* from, std::uint8_t* to) const {
    const bool blend = (channels_ == 2 || channels_ == 4) && layout_.pixels != PixelLayout::RGBA;
    if (!blend) {
      std::memcpy(to, from, rowBytes_);
      return;
    }
    const std::size_t colors = channels_ - 1u;
    for (std::uint32_t x = 0; x < layout_.width; ++x, from += channels_, to += colors) {
      const unsigned int alpha = from[colors];
      for (std::size_t i = 0; i < colors; ++i) to[i] = onWhite(from[i], alpha);
    }
  }

  PNGReader reader_;
  DecoderInput input_;
  bool keepsAlpha_;
  StripLayout layout_;
  std::string profile_;
  int passes_ = 1;
  std::size_t channels_ = 0;
  std::size_t rowBytes_ = 0;
  std::uint32_t next_ = 0;
  std::vector<std::uint8_t> row_;
  ScratchFile::Part waiting_;
  std::vector<std::uint8_t> window_;
  std::uint32_t windowRows_ = 0;
  std::uint32_t windowFirst_ = 0;
  bool windowLoaded_ = false;
};

}  // namespace

OpenedImage openPNG(const DecoderInput& input, bool keepsAlpha) {
  auto decoder = std::make_unique<PNGDecoder>(input, keepsAlpha);
  if (auto started = decoder->start(); !started) return started.error();
  return std::unique_ptr<StripProducer>(std::move(decoder));
}

}  // namespace tasklane
