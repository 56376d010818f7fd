#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include "foundation/images/decoding/ImageHeader.h"
#include "foundation/images/decoding/codecs/Codecs.h"

#include <tiffio.h>

namespace tasklane {

namespace {

/// What the library reads through, and the first thing it complains of.
class TIFFFile {
 public:
  explicit TIFFFile(const DecoderInput& input) : input_(input) {
    TIFFOpenOptions* options = TIFFOpenOptionsAlloc();
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, static_cast<tmsize_t>(kCodecMemory / 2));
    TIFFOpenOptionsSetErrorHandlerExtR(options, complain, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options, ignore, this);
    // Not mapped: mapped pages count as the process's memory.
    tiff_ = TIFFClientOpenExt("it", "rm", this, read, write, seek, close, size, nullptr, nullptr,
                              options);
    TIFFOpenOptionsFree(options);
  }
  ~TIFFFile() {
    if (tiff_ != nullptr) TIFFClose(tiff_);
  }
  TIFFFile(const TIFFFile&) = delete;
  TIFFFile& operator=(const TIFFFile&) = delete;

  TIFF* get() const { return tiff_; }
  NSError error() const {
    return damaged(complaint_.empty() ? "it cannot be decoded" : complaint_);
  }

 private:
  static TIFFFile* self(thandle_t handle) { return static_cast<TIFFFile*>(handle); }
  static tmsize_t read(thandle_t handle, void* into, tmsize_t count) {
    const auto got = self(handle)->input_.source->readAt(self(handle)->offset_, into,
                                                         static_cast<std::size_t>(count));
    if (got > 0) self(handle)->offset_ += static_cast<std::uint64_t>(got);
    return static_cast<tmsize_t>(got);
  }
  static tmsize_t write(thandle_t, void*, tmsize_t) { return -1; }
  static toff_t seek(thandle_t handle, toff_t offset, int whence) {
    std::uint64_t& place = self(handle)->offset_;
    if (whence == SEEK_CUR) offset += place;
    if (whence == SEEK_END) offset += self(handle)->input_.source->size();
    return place = offset;
  }
  static int close(thandle_t) { return 0; }
  static toff_t size(thandle_t handle) { return self(handle)->input_.source->size(); }
  static int complain(TIFF*, void* handle, const char*, const char* format, va_list arguments) {
    std::string& complaint = static_cast<TIFFFile*>(handle)->complaint_;
    char text[200] = "";
    std::vsnprintf(text, sizeof text, format, arguments);
    if (complaint.empty()) complaint = text;
    return 1;
  }
  static int ignore(TIFF*, void*, const char*, const char*, va_list) { return 1; }

  DecoderInput input_;
  TIFF* tiff_ = nullptr;
  std::uint64_t offset_ = 0;
  std::string complaint_;
};

template <class T>
T valueOf(TIFF* tiff, std::uint32_t tag, T otherwise) {
  T value{};
  return TIFFGetFieldDefaulted(tiff, tag, &value) ? value : otherwise;
}

/// Pictures of any kind through the library's own conversion to RGBA, some rows at a time.
class TIFFRows final : public RGBRows {
 public:
  explicit TIFFRows(const DecoderInput& input)
      : RGBRows(input.header.width, input.header.height), input_(input), file_(input) {}
  ~TIFFRows() override {
    if (begun_) TIFFRGBAImageEnd(&image_);
  }

  Result<void> start() {
    TIFF* tiff = file_.get();
    if (tiff == nullptr) return file_.error();
    const auto width = valueOf<std::uint32_t>(tiff, TIFFTAG_IMAGEWIDTH, 0);
    const auto height = valueOf<std::uint32_t>(tiff, TIFFTAG_IMAGELENGTH, 0);
    // The sizes that were judged when the picture was opened are the ones to go by.
    if (width != input_.header.width || height != input_.header.height)
      return damaged("it gives its size twice");
    layout_ = StripLayout::interleaved(PixelLayout::RGB, width, height);
    orientation_ = input_.header.orientation;
    takeProfile(tiff);
    readsLines_ = canReadLines(tiff);
    if (readsLines_) {
      line_.resize(static_cast<std::size_t>(TIFFScanlineSize64(tiff)));
      stored_ =
          valueOf<std::uint16_t>(tiff, TIFFTAG_COMPRESSION, 0) == COMPRESSION_NONE &&
          valueOf<std::uint16_t>(tiff, TIFFTAG_FILLORDER, FILLORDER_MSB2LSB) == FILLORDER_MSB2LSB;
      return {};
    }
    return startConversion(tiff);
  }

 protected:
  Result<void> readRow(std::uint32_t y, std::uint8_t* rgb) override {
    if (readsLines_) return readLine(y, rgb);
    if (y >= groupFirst_ + groupRows_ || groupRows_ == 0) {
      groupFirst_ = y;
      groupRows_ = std::min(maximumRows_, layout_.height - y);
      image_.row_offset = static_cast<int>(y);
      if (!TIFFRGBAImageGet(&image_, group_.data(), layout_.width, groupRows_))
        return file_.error();
    }
    const std::uint32_t* pixel = &group_[std::size_t{y - groupFirst_} * layout_.width];
    for (std::uint32_t x = 0; x < layout_.width; ++x, ++pixel, rgb += 3) {
      // The library multiplies alpha in.
      const unsigned int white = 255 - TIFFGetA(*pixel);
      rgb[0] = static_cast<std::uint8_t>(std::min(255u, TIFFGetR(*pixel) + white));
      rgb[1] = static_cast<std::uint8_t>(std::min(255u, TIFFGetG(*pixel) + white));
      rgb[2] = static_cast<std::uint8_t>(std::min(255u, TIFFGetB(*pixel) + white));
    }
    return {};
  }

 private:
  void takeProfile(TIFF* tiff) {
    std::uint32_t length = 0;
    const char* bytes = nullptr;
    if (TIFFGetField(tiff, TIFFTAG_ICCPROFILE, &length, &bytes))
      profile_ = usableColorProfile({bytes, length}, false);
  }

  /// Common pictures of whole samples are read line by line, whatever the size of their strips.
  bool canReadLines(TIFF* tiff) {
    bits_ = valueOf<std::uint16_t>(tiff, TIFFTAG_BITSPERSAMPLE, 1);
    samples_ = valueOf<std::uint16_t>(tiff, TIFFTAG_SAMPLESPERPIXEL, 1);
    photometric_ = valueOf<std::uint16_t>(tiff, TIFFTAG_PHOTOMETRIC, 0);
    const auto planes = valueOf<std::uint16_t>(tiff, TIFFTAG_PLANARCONFIG, 1);
    const auto format = valueOf<std::uint16_t>(tiff, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    if (TIFFIsTiled(tiff) || planes != PLANARCONFIG_CONTIG || format != SAMPLEFORMAT_UINT ||
        (bits_ != 8 && bits_ != 16))
      return false;
    const bool gray =
        photometric_ == PHOTOMETRIC_MINISBLACK || photometric_ == PHOTOMETRIC_MINISWHITE;
    if (!(gray && samples_ == 1) && !(photometric_ == PHOTOMETRIC_RGB && samples_ == 3))
      return false;
    return std::uint64_t{layout_.width} * samples_ * (bits_ / 8) <=
           static_cast<std::uint64_t>(TIFFScanlineSize64(tiff));
  }

  /// Lines that lie in the file as they are are read from there: the library would read a whole
  /// strip at once, which may be the whole picture.
  Result<void> readStored(std::uint32_t y) {
    TIFF* tiff = file_.get();
    const std::uint32_t rows = std::max(
        1u, std::min(valueOf<std::uint32_t>(tiff, TIFFTAG_ROWSPERSTRIP, 1), layout_.height));
    const std::uint64_t offset =
        TIFFGetStrileOffset(tiff, y / rows) + std::uint64_t{y % rows} * line_.size();
    const auto got = input_.source->readAt(offset, line_.data(), line_.size());
    if (got != static_cast<std::int64_t>(line_.size())) return damaged("it ends too early");
    if (bits_ == 16 && TIFFIsByteSwapped(tiff))
      TIFFSwabArrayOfShort(reinterpret_cast<std::uint16_t*>(line_.data()),
                           static_cast<tmsize_t>(line_.size() / 2));
    return {};
  }

  Result<void> readLine(std::uint32_t y, std::uint8_t* rgb) {
    if (stored_) {
      if (auto read = readStored(y); !read) return read;
    } else if (TIFFReadScanline(file_.get(), line_.data(), y, 0) != 1) {
      return file_.error();
    }
    const std::uint8_t flip = photometric_ == PHOTOMETRIC_MINISWHITE ? 255 : 0;
    for (std::size_t x = 0; x < layout_.width; ++x, rgb += 3) {
      for (std::size_t color = 0; color < 3; ++color) {
        const std::size_t sample = x * samples_ + (samples_ == 1 ? 0 : color);
        rgb[color] = sampleAt(sample) ^ flip;
      }
    }
    return {};
  }

  std::uint8_t sampleAt(std::size_t index) const {
    if (bits_ == 8) return line_[index];
    std::uint16_t value = 0;
    std::memcpy(&value, &line_[index * 2], 2);
    return static_cast<std::uint8_t>(value >> 8);
  }

  Result<void> startConversion(TIFF* tiff) {
    std::uint32_t rows = 1, width = layout_.width;
    if (TIFFIsTiled(tiff)) {
      rows = valueOf<std::uint32_t>(tiff, TIFFTAG_TILELENGTH, 1);
      width = std::max(width, valueOf<std::uint32_t>(tiff, TIFFTAG_TILEWIDTH, 1));
    } else {
      rows = valueOf<std::uint32_t>(tiff, TIFFTAG_ROWSPERSTRIP, layout_.height);
    }
    maximumRows_ = std::clamp(rows, 1u, layout_.height);
    // The rows converted, and the strip or row of tiles that they come from.
    const auto depth = std::max<std::uint64_t>(4, std::uint64_t{samples_} * bits_ / 8);
    const std::uint64_t needed = std::uint64_t{width} * maximumRows_ * (4 + depth);
    if (needed > kCodecMemory) return needsTooMuchMemory(input_, needed);
    char text[1024] = "";
    if (!TIFFRGBAImageBegin(&image_, tiff, 1, text)) return damaged(text);
    begun_ = true;
    // As stored, from the top: turning is done by whoever takes the rows.
    image_.orientation = ORIENTATION_TOPLEFT;
    image_.req_orientation = ORIENTATION_TOPLEFT;
    group_.resize(std::size_t{layout_.width} * maximumRows_);
    return {};
  }

  DecoderInput input_;
  TIFFFile file_;
  bool readsLines_ = false;
  bool stored_ = false;  ///< not compressed
  std::uint16_t bits_ = 8;
  std::uint16_t samples_ = 1;
  std::uint16_t photometric_ = 0;
  std::vector<std::uint8_t> line_;
  bool begun_ = false;
  TIFFRGBAImage image_{};
  std::uint32_t maximumRows_ = 1;
  std::uint32_t groupFirst_ = 0;
  std::uint32_t groupRows_ = 0;
  std::vector<std::uint32_t> group_;
};

}  // namespace

OpenedImage openTIFF(const DecoderInput& input) {
  auto rows = std::make_unique<TIFFRows>(input);
  if (auto started = rows->start(); !started) return started.error();
  return std::unique_ptr<StripProducer>(std::move(rows));
}

}  // namespace tasklane
