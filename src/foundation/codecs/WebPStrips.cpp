#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <vector>

#include "foundation/ImageHeader.h"
#include "foundation/UnnamedFile.h"
#include "foundation/UprightStrips.h"
#include "foundation/codecs/Codecs.h"

#include <webp/decode.h>

namespace tasklane {

namespace {

/// Memory for the decoder's output that lies in a nameless file: what has been taken out of it can
/// leave the memory at once, long before the decoder is done.
class OutputFile {
 public:
  OutputFile() = default;
  ~OutputFile() {
    if (bytes_ != nullptr) ::munmap(bytes_, size_);
  }
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  Result<void> make(const std::string& folder, std::size_t size) {
    auto file = UnnamedFile::makeInFolder(folder);
    if (!file.ok()) return file.error();
    file_ = std::move(file).value();
    // Allocated now, because a page that finds no room when it is written to kills the process.
    const int full = ::posix_fallocate(file_->fileDescriptor(), 0, static_cast<off_t>(size));
    if (full != 0) return NSError::fromErrno(full, "cannot make room for decoding in " + folder);
    void* bytes =
        ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file_->fileDescriptor(), 0);
    if (bytes == MAP_FAILED) return NSError::fromErrno(errno, "cannot map a file in " + folder);
    bytes_ = static_cast<std::uint8_t*>(bytes);
    size_ = size;
    return {};
  }
  std::uint8_t* bytes() const { return bytes_; }
  /// What lies in front is not needed in memory any more.
  void drop(std::size_t begin, std::size_t end) const {
    const std::size_t page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    begin = (begin + page - 1) / page * page;
    end = end / page * page;
    if (begin < end) ::madvise(bytes_ + begin, end - begin, MADV_DONTNEED);
  }

 private:
  std::shared_ptr<UnnamedFile> file_;
  std::uint8_t* bytes_ = nullptr;
  std::size_t size_ = 0;
};

struct DeleteDecoder {
  void operator()(WebPIDecoder* decoder) const { WebPIDelete(decoder); }
};

/// The file fed to the library piece by piece, its rows taken as they come.
class WebPStrips : public StripProducer {
 public:
  WebPStrips(const ImageCodecRequest& request, bool lossy) : request_(request), lossy_(lossy) {}

  const StripLayout& layout() const override { return layout_; }
  int orientation() const override { return request_.header.orientation; }
  const std::string& colorProfile() const override { return profile_; }
  Result<void> finish() override {
    while (!done_) {
      if (auto fed = feed(); !fed.ok()) return fed;
    }
    return {};
  }

  Result<void> start() {
    profile_ = usableColorProfile(chunkOfWebP(*request_.source, "ICCP", 4 << 20), false);
    std::vector<std::uint8_t> head(4096);
    const auto got = request_.source->readAt(0, head.data(), head.size());
    WebPBitstreamFeatures features{};
    const std::size_t size = got > 0 ? static_cast<std::size_t>(got) : 0;
    if (WebPGetFeatures(head.data(), size, &features) != VP8_STATUS_OK && features.format == 0 &&
        features.width == 0)
      return damaged(request_, "its header cannot be read");
    if (features.has_animation)
      return NSError{NSError::Kind::Unsupported,
                     request_.source->name() + " is an animation, which cannot be decoded"};
    const bool exchanged = orientationExchangesSides(request_.header.orientation);
    width_ = exchanged ? request_.header.height : request_.header.width;
    height_ = exchanged ? request_.header.width : request_.header.height;
    const std::uint64_t held = request_.source->size() + heldBesides();
    if (held > kCodecMemory) return needsTooMuchMemory(request_, held);
    return prepare();
  }

 protected:
  virtual Result<void> prepare() = 0;

  /// What the library holds besides what it was fed. Of a lossless picture that is all the pixels.
  /// A lossy one leaves memory as it is decoded, row by row, unless it is so plain that one piece
  /// of the file decodes to much of it.
  std::uint64_t heldBesides() const {
    const std::uint64_t pixels = std::uint64_t{width_} * height_;
    if (!lossy_) return pixels * 4;
    const bool plain = request_.source->size() * 40 < pixels;
    return plain ? pixels * 3 / 2 : pixels / 4;
  }

  /// Feeds the library until that many rows are there.
  Result<void> waitForRows(std::uint32_t rows) {
    while (rowsDone() < std::min(rows, height_)) {
      if (done_) return damaged(request_, "it ends too early");
      if (auto fed = feed(); !fed.ok()) return fed;
    }
    return {};
  }
  virtual std::uint32_t rowsDone() const = 0;

  Result<void> feed() {
    std::uint8_t piece[8 * 1024];
    const auto got = request_.source->readAt(offset_, piece, sizeof piece);
    if (got < 0) return NSError::fromErrno(errno, "cannot read " + request_.source->name());
    if (got == 0) return damaged(request_, "it ends too early");
    offset_ += static_cast<std::uint64_t>(got);
    const VP8StatusCode status = WebPIAppend(decoder_.get(), piece, static_cast<std::size_t>(got));
    if (status != VP8_STATUS_OK && status != VP8_STATUS_SUSPENDED)
      return damaged(request_, "its pixels cannot be decoded");
    done_ = status == VP8_STATUS_OK;
    return {};
  }

  ImageCodecRequest request_;
  bool lossy_;
  StripLayout layout_;
  std::string profile_;
  std::uint32_t width_ = 0;
  std::uint32_t height_ = 0;
  OutputFile output_;
  std::unique_ptr<WebPIDecoder, DeleteDecoder> decoder_;
  std::uint64_t offset_ = 0;
  bool done_ = false;
  std::uint32_t next_ = 0;
};

/// A lossy picture: its planes, stretched from the range of video to that of JPEG.
class WebPPlanes final : public WebPStrips {
 public:
  explicit WebPPlanes(const ImageCodecRequest& request) : WebPStrips(request, true) {
    for (int value = 0; value < 256; ++value) {
      const auto clamp = [](double x) {
        return static_cast<std::uint8_t>(std::clamp(x + 0.5, 0.0, 255.0));
      };
      luma_[static_cast<std::size_t>(value)] = clamp((value - 16) * 255.0 / 219);
      chroma_[static_cast<std::size_t>(value)] = clamp((value - 128) * 255.0 / 224 + 128);
    }
  }

  Result<void> fill(Strip& strip) override {
    if (auto waited = waitForRows((next_ + 1) * layout_.rowsPerStrip()); !waited.ok())
      return waited;
    for (std::size_t plane = 0; plane < 3; ++plane) {
      const ImagePlane& shape = layout_.planes[plane];
      const auto& levels = plane == 0 ? luma_ : chroma_;
      const std::size_t first =
          offsets_[plane] + std::size_t{next_} * layout_.planeRowsPerStrip(shape) * shape.width;
      const std::uint32_t rows = layout_.planeRowsInStrip(shape, next_);
      for (std::uint32_t y = 0; y < rows; ++y) {
        const std::uint8_t* from = output_.bytes() + first + std::size_t{y} * shape.width;
        std::uint8_t* to = strip.row(plane, y);
        std::transform(from, from + shape.width, to, [&](std::uint8_t v) { return levels[v]; });
        std::fill(to + shape.width, to + strip.stride(plane), to[shape.width - 1]);
      }
      for (std::uint32_t y = std::max(rows, 1u); y < layout_.planeRowsPerStrip(shape); ++y)
        std::copy_n(strip.row(plane, y - 1), strip.stride(plane), strip.row(plane, y));
      output_.drop(offsets_[plane], first + std::size_t{rows} * shape.width);
    }
    ++next_;
    return {};
  }

 protected:
  Result<void> prepare() override {
    layout_ = StripLayout::planar(PixelLayout::YCbCr, width_, height_,
                                  {{0, 0, 1, 2, 2}, {0, 0, 1, 1, 1}, {0, 0, 1, 1, 1}});
    std::array<std::size_t, 3> sizes{};
    std::size_t total = 0;
    for (std::size_t i = 0; i < 3; ++i) {
      offsets_[i] = total;
      sizes[i] = std::size_t{layout_.planes[i].width} * layout_.planes[i].height;
      total += sizes[i];
    }
    if (auto made = output_.make(request_.scratchFolder, total); !made.ok()) return made;
    std::uint8_t* bytes = output_.bytes();
    const int chromaStride = static_cast<int>(layout_.planes[1].width);
    decoder_.reset(WebPINewYUV(bytes, sizes[0], static_cast<int>(width_), bytes + offsets_[1],
                               sizes[1], chromaStride, bytes + offsets_[2], sizes[2],
                               chromaStride));
    if (!decoder_) return damaged(request_, "no decoder for it");
    return {};
  }

  std::uint32_t rowsDone() const override {
    int last = 0;
    std::uint8_t *u = nullptr, *v = nullptr;
    int width = 0, height = 0, stride = 0, chromaStride = 0;
    if (WebPIDecGetYUV(decoder_.get(), &last, &u, &v, &width, &height, &stride, &chromaStride) ==
        nullptr)
      return 0;
    return static_cast<std::uint32_t>(std::max(last, 0));
  }

 private:
  std::array<std::size_t, 3> offsets_{};
  std::array<std::uint8_t, 256> luma_{};
  std::array<std::uint8_t, 256> chroma_{};
};

/// A lossless or transparent picture: its pixels, laid on white.
class WebPPixels final : public WebPStrips {
 public:
  explicit WebPPixels(const ImageCodecRequest& request) : WebPStrips(request, false) {}

  Result<void> fill(Strip& strip) override {
    if (auto waited = waitForRows((next_ + 1) * layout_.rowsPerStrip()); !waited.ok())
      return waited;
    const std::size_t rowBytes = std::size_t{width_} * 4;
    const std::uint32_t first = next_ * layout_.rowsPerStrip();
    const std::uint32_t rows = layout_.planeRowsInStrip(layout_.planes[0], next_);
    for (std::uint32_t y = 0; y < rows; ++y) {
      const std::uint8_t* from = output_.bytes() + (first + y) * rowBytes;
      std::uint8_t* to = strip.row(0, y);
      for (std::uint32_t x = 0; x < width_; ++x, from += 4, to += 3) {
        for (std::size_t i = 0; i < 3; ++i) to[i] = onWhite(from[i], from[3]);
      }
    }
    output_.drop(0, (first + rows) * rowBytes);
    ++next_;
    return {};
  }

 protected:
  Result<void> prepare() override {
    layout_ = StripLayout::interleaved(PixelLayout::RGB, width_, height_);
    const std::size_t rowBytes = std::size_t{width_} * 4, total = rowBytes * height_;
    if (auto made = output_.make(request_.scratchFolder, total); !made.ok()) return made;
    decoder_.reset(WebPINewRGB(MODE_RGBA, output_.bytes(), total, static_cast<int>(rowBytes)));
    if (!decoder_) return damaged(request_, "no decoder for it");
    return {};
  }

  std::uint32_t rowsDone() const override {
    int last = 0, width = 0, height = 0, stride = 0;
    if (WebPIDecGetRGB(decoder_.get(), &last, &width, &height, &stride) == nullptr) return 0;
    return static_cast<std::uint32_t>(std::max(last, 0));
  }
};

}  // namespace

OpenedImage openWebP(const ImageCodecRequest& request) {
  const bool lossy = !chunkOfWebP(*request.source, "VP8 ", 1).empty() &&
                     chunkOfWebP(*request.source, "ALPH", 1).empty();
  std::unique_ptr<WebPStrips> strips;
  if (lossy)
    strips = std::make_unique<WebPPlanes>(request);
  else
    strips = std::make_unique<WebPPixels>(request);
  if (auto started = strips->start(); !started.ok()) return started.error();
  return std::unique_ptr<StripProducer>(std::move(strips));
}

}  // namespace tasklane
