#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "foundation/images/decoding/ImageHeader.h"
#include "foundation/images/decoding/codecs/Codecs.h"

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

  Result<void> make(ScratchFile& scratch, std::size_t size) {
    auto part = scratch.take(size);
    if (!part) return part.error();
    const int file = part.value().fileDescriptor();
    const auto offset = static_cast<off_t>(part.value().offset());
    // Allocated now, because a page that finds no room when it is written to kills the process.
    const int full = ::posix_fallocate(file, offset, static_cast<off_t>(size));
    if (full != 0) return NSError::fromErrno(full, "no room on the disk for decoding");
    void* bytes = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, offset);
    if (bytes == MAP_FAILED) return NSError::fromErrno(errno, "cannot decode it");
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
  std::uint8_t* bytes_ = nullptr;
  std::size_t size_ = 0;
};

/// What is to be shown of a file: its picture, or the first frame of an animation. Either lies in
/// one piece of the file, in front of which the library may need a header of its own.
struct Frame {
  std::string header;
  std::uint64_t begin = 0;
  std::uint64_t end = 0;
  /// Its place in the picture.
  std::uint32_t left = 0;
  std::uint32_t top = 0;
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  bool lossy = false;  ///< and without transparency
};

std::string littleEndian(std::uint32_t value, int bytes) {
  std::string text;
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i));
  return text;
}

/// The first frame of an animation: a chunk with its place and size, and chunks of its own like
/// those of a picture, which are made one by a header.
std::optional<Frame> firstFrameOf(HeaderBytes& bytes) {
  constexpr std::uint64_t kPlace = 16;
  const auto chunk = findWebPChunk(bytes, "ANMF", 12, bytes.size());
  if (!chunk || chunk->length < kPlace) return std::nullopt;
  Frame frame;
  const auto number = [&](std::uint64_t place) {
    return bytes.littleEndian(chunk->begin + place, 3).value_or(0);
  };
  frame.left = number(0) * 2;
  frame.top = number(3) * 2;
  frame.width = number(6) + 1;
  frame.height = number(9) + 1;
  frame.begin = chunk->begin + kPlace;
  frame.end = chunk->begin + chunk->length;
  const bool transparent = findWebPChunk(bytes, "ALPH", frame.begin, frame.end).has_value();
  frame.lossy = !transparent && findWebPChunk(bytes, "VP8 ", frame.begin, frame.end);
  constexpr std::uint32_t kTransparent = 0x10;
  const std::string extended = "VP8X" + littleEndian(10, 4) +
                               littleEndian(transparent ? kTransparent : 0, 4) +
                               littleEndian(frame.width - 1, 3) + littleEndian(frame.height - 1, 3);
  const auto size = static_cast<std::uint32_t>(4 + extended.size() + frame.end - frame.begin);
  frame.header = "RIFF" + littleEndian(size, 4) + "WEBP" + extended;
  return frame;
}

Frame frameOf(const DecoderInput& input) {
  HeaderBytes bytes(*input.source);
  if (auto first = firstFrameOf(bytes)) return *first;
  Frame whole;
  whole.end = bytes.size();
  whole.width = input.header.width;
  whole.height = input.header.height;
  whole.lossy = findWebPChunk(bytes, "VP8 ", 12, bytes.size()) &&
                !findWebPChunk(bytes, "ALPH", 12, bytes.size());
  return whole;
}

struct DeleteDecoder {
  void operator()(WebPIDecoder* decoder) const { WebPIDelete(decoder); }
};

/// The file fed to the library piece by piece, its rows taken as they come.
class WebPStrips : public StripProducer {
 public:
  WebPStrips(const DecoderInput& input, Frame frame) : input_(input), frame_(std::move(frame)) {}

  const StripLayout& layout() const override { return layout_; }
  int orientation() const override { return input_.header.orientation; }
  const std::string& colorProfile() const override { return profile_; }
  Result<void> finish() override {
    while (!done_) {
      if (auto fed = feed(); !fed) return fed;
    }
    return {};
  }

  Result<void> start() {
    const ImageHeader& header = input_.header;
    if (frame_.left > header.width || frame_.width > header.width - frame_.left ||
        frame_.top > header.height || frame_.height > header.height - frame_.top)
      return damaged("a frame outside of the picture");
    profile_ = usableColorProfile(chunkOfWebP(*input_.source, "ICCP", 4 << 20), false);
    const std::uint64_t held = frame_.end - frame_.begin + heldBesides();
    if (held > kCodecMemory) return needsTooMuchMemory(input_, held);
    return prepare();
  }

 protected:
  virtual Result<void> prepare() = 0;

  /// What the library holds besides what it was fed. Of a lossless picture that is all the pixels.
  /// A lossy one leaves memory as it is decoded, row by row, unless it is so plain that one piece
  /// of the file decodes to much of it.
  std::uint64_t heldBesides() const {
    const std::uint64_t pixels = std::uint64_t{frame_.width} * frame_.height;
    if (!frame_.lossy) return pixels * 4;
    const bool plain = (frame_.end - frame_.begin) * 40 < pixels;
    return plain ? pixels * 3 / 2 : pixels / 4;
  }

  /// Feeds the library until that many rows of the frame are there.
  Result<void> waitForRows(std::uint32_t rows) {
    while (rowsDone() < std::min(rows, frame_.height)) {
      if (done_) return damaged("it ends too early");
      if (auto fed = feed(); !fed) return fed;
    }
    return {};
  }
  virtual std::uint32_t rowsDone() const = 0;

  Result<void> feed() {
    std::uint8_t piece[8 * 1024];
    std::size_t size = 0;
    if (!begun_) {
      begun_ = true;
      offset_ = frame_.begin;
      size = frame_.header.size();
      std::copy(frame_.header.begin(), frame_.header.end(), piece);
    }
    if (size == 0) {
      const auto wanted = std::min<std::uint64_t>(sizeof piece, frame_.end - offset_);
      const auto got = input_.source->readAt(offset_, piece, wanted);
      if (got < 0) return NSError::fromErrno(errno, "it cannot be read");
      if (got == 0) return damaged("it ends too early");
      size = static_cast<std::size_t>(got);
      offset_ += size;
    }
    const VP8StatusCode status = WebPIAppend(decoder_.get(), piece, size);
    if (status != VP8_STATUS_OK && status != VP8_STATUS_SUSPENDED)
      return damaged("its pixels cannot be decoded");
    done_ = status == VP8_STATUS_OK;
    return {};
  }

  DecoderInput input_;
  Frame frame_;
  StripLayout layout_;
  std::string profile_;
  OutputFile output_;
  std::unique_ptr<WebPIDecoder, DeleteDecoder> decoder_;
  bool begun_ = false;
  std::uint64_t offset_ = 0;
  bool done_ = false;
  std::uint32_t next_ = 0;
};

/// A lossy picture: its planes, stretched from the range of video to that of JPEG.
class WebPPlanes final : public WebPStrips {
 public:
  using WebPStrips::WebPStrips;

  Result<void> fill(Strip& strip) override {
    if (auto waited = waitForRows((next_ + 1) * layout_.rowsPerStrip()); !waited) return waited;
    for (std::size_t plane = 0; plane < 3; ++plane) {
      const ImagePlane& shape = layout_.planes[plane];
      const Levels& levels = Levels::ofVideo();
      const LevelTable& table = plane == 0 ? levels.luma : levels.chroma;
      const std::size_t first =
          offsets_[plane] + std::size_t{next_} * layout_.planeRowsPerStrip(shape) * shape.width;
      const std::uint32_t rows = layout_.planeRowsInStrip(shape, next_);
      for (std::uint32_t y = 0; y < rows; ++y) {
        const std::uint8_t* from = output_.bytes() + first + std::size_t{y} * shape.width;
        std::transform(from, from + shape.width, strip.row(plane, y),
                       [&table](std::uint8_t value) { return table[value]; });
      }
      strip.padPlane(layout_, plane, rows);
      output_.drop(offsets_[plane], first + std::size_t{rows} * shape.width);
    }
    ++next_;
    return {};
  }

 protected:
  Result<void> prepare() override {
    layout_ = StripLayout::planar(PixelLayout::YCbCr, frame_.width, frame_.height,
                                  {{0, 0, 1, 2, 2}, {0, 0, 1, 1, 1}, {0, 0, 1, 1, 1}});
    std::array<std::size_t, 3> sizes{};
    std::size_t total = 0;
    for (std::size_t i = 0; i < 3; ++i) {
      offsets_[i] = total;
      sizes[i] = std::size_t{layout_.planes[i].width} * layout_.planes[i].height;
      total += sizes[i];
    }
    if (auto made = output_.make(*input_.scratch, total); !made) return made;
    std::uint8_t* bytes = output_.bytes();
    const int chromaStride = static_cast<int>(layout_.planes[1].width);
    decoder_.reset(WebPINewYUV(bytes, sizes[0], static_cast<int>(frame_.width), bytes + offsets_[1],
                               sizes[1], chromaStride, bytes + offsets_[2], sizes[2],
                               chromaStride));
    if (!decoder_) return damaged("no decoder for it");
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
};

/// A lossless or transparent picture, or a frame smaller than its picture: pixels, laid on white.
class WebPPixels final : public WebPStrips {
 public:
  using WebPStrips::WebPStrips;

  Result<void> fill(Strip& strip) override {
    const std::size_t rowBytes = std::size_t{frame_.width} * 4;
    const std::uint32_t first = next_ * layout_.rowsPerStrip();
    const std::uint32_t rows = layout_.planeRowsInStrip(layout_.planes[0], next_);
    const std::uint32_t end = first + rows;
    if (end > frame_.top)
      if (auto waited = waitForRows(end - frame_.top); !waited) return waited;
    for (std::uint32_t y = 0; y < rows; ++y) {
      std::uint8_t* to = strip.row(0, y);
      std::fill(to, to + std::size_t{layout_.width} * 3, std::uint8_t{255});
      if (first + y < frame_.top || first + y - frame_.top >= frame_.height) continue;
      const std::uint8_t* from = output_.bytes() + (first + y - frame_.top) * rowBytes;
      to += std::size_t{frame_.left} * 3;
      for (std::uint32_t x = 0; x < frame_.width; ++x, from += 4, to += 3) {
        for (std::size_t i = 0; i < 3; ++i) to[i] = onWhite(from[i], from[3]);
      }
    }
    if (end > frame_.top) output_.drop(0, std::min(end - frame_.top, frame_.height) * rowBytes);
    ++next_;
    return {};
  }

 protected:
  Result<void> prepare() override {
    layout_ = StripLayout::interleaved(PixelLayout::RGB, input_.header.width, input_.header.height);
    const std::size_t rowBytes = std::size_t{frame_.width} * 4, total = rowBytes * frame_.height;
    if (auto made = output_.make(*input_.scratch, total); !made) return made;
    decoder_.reset(WebPINewRGB(MODE_RGBA, output_.bytes(), total, static_cast<int>(rowBytes)));
    if (!decoder_) return damaged("no decoder for it");
    return {};
  }

  std::uint32_t rowsDone() const override {
    int last = 0, width = 0, height = 0, stride = 0;
    if (WebPIDecGetRGB(decoder_.get(), &last, &width, &height, &stride) == nullptr) return 0;
    return static_cast<std::uint32_t>(std::max(last, 0));
  }
};

}  // namespace

OpenedImage openWebP(const DecoderInput& input) {
  Frame frame = frameOf(input);
  const bool planes =
      frame.lossy && frame.width == input.header.width && frame.height == input.header.height;
  std::unique_ptr<WebPStrips> strips;
  if (planes)
    strips = std::make_unique<WebPPlanes>(input, std::move(frame));
  else
    strips = std::make_unique<WebPPixels>(input, std::move(frame));
  if (auto started = strips->start(); !started) return started.error();
  return std::unique_ptr<StripProducer>(std::move(strips));
}

}  // namespace tasklane
