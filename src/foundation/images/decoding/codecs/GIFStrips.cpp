#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "foundation/images/decoding/codecs/Codecs.h"

#include <gif_lib.h>

namespace tasklane {

namespace {

/// The first frame, laid on a white screen.
class GIFRows final : public RGBRows {
 public:
  explicit GIFRows(const DecoderInput& input)
      : RGBRows(input.header.width, input.header.height), input_(input) {}
  ~GIFRows() override {
    if (gif_ != nullptr) DGifCloseFile(gif_, nullptr);
  }

  Result<void> start() {
    gif_ = DGifOpen(this, read, nullptr);
    if (gif_ == nullptr) return damaged("its header cannot be read");
    if (auto found = findFrame(); !found) return found;
    const GifImageDesc& frame = gif_->Image;
    const ColorMapObject* colors = frame.ColorMap != nullptr ? frame.ColorMap : gif_->SColorMap;
    if (colors == nullptr) return damaged("it has no colors");
    if (frame.Width <= 0 || frame.Height <= 0) return damaged("an empty frame");
    for (int i = 0; i < 256; ++i) {
      const bool shown = i < colors->ColorCount && i != transparent_;
      const GifColorType color = shown ? colors->Colors[i] : GifColorType{255, 255, 255};
      colors_[static_cast<std::size_t>(i)] = {color.Red, color.Green, color.Blue};
    }
    line_.resize(static_cast<std::size_t>(frame.Width));
    return frame.Interlace ? readInterlaced() : Result<void>();
  }

 protected:
  Result<void> readRow(std::uint32_t y, std::uint8_t* rgb) override {
    std::fill(rgb, rgb + std::size_t{layout_.width} * 3, std::uint8_t{255});
    const GifImageDesc& frame = gif_->Image;
    const auto line = static_cast<std::int64_t>(y) - frame.Top;
    if (line < 0 || line >= frame.Height) return {};
    const GifPixelType* pixels = line_.data();
    if (frame.Interlace) {
      pixels = &frame_[static_cast<std::size_t>(line) * line_.size()];
    } else if (DGifGetLine(gif_, line_.data(), frame.Width) == GIF_ERROR) {
      return damaged("it ends too early");
    }
    for (std::size_t x = 0; x < line_.size(); ++x) {
      const auto place = static_cast<std::int64_t>(x) + frame.Left;
      if (place < 0 || place >= layout_.width) continue;
      std::copy_n(colors_[pixels[x]].data(), 3, rgb + place * 3);
    }
    return {};
  }

 private:
  static int read(GifFileType* gif, GifByteType* into, int count) {
    auto* self = static_cast<GIFRows*>(gif->UserData);
    const auto got =
        self->input_.source->readAt(self->offset_, into, static_cast<std::size_t>(count));
    if (got > 0) self->offset_ += static_cast<std::uint64_t>(got);
    return got > 0 ? static_cast<int>(got) : 0;
  }

  Result<void> findFrame() {
    for (;;) {
      GifRecordType type = UNDEFINED_RECORD_TYPE;
      if (DGifGetRecordType(gif_, &type) == GIF_ERROR) return damaged("no frame in it");
      if (type == IMAGE_DESC_RECORD_TYPE) {
        if (DGifGetImageDesc(gif_) == GIF_ERROR) return damaged("a broken frame");
        return {};
      }
      if (type != EXTENSION_RECORD_TYPE) return damaged("no frame in it");
      int code = 0;
      GifByteType* block = nullptr;
      int got = DGifGetExtension(gif_, &code, &block);
      while (got != GIF_ERROR && block != nullptr) {
        GraphicsControlBlock control;
        if (code == GRAPHICS_EXT_FUNC_CODE &&
            DGifExtensionToGCB(block[0], block + 1, &control) == GIF_OK)
          transparent_ = control.TransparentColor;
        got = DGifGetExtensionNext(gif_, &block);
      }
      if (got == GIF_ERROR) return damaged("a broken extension");
    }
  }

  Result<void> readInterlaced() {
    const GifImageDesc& frame = gif_->Image;
    const std::uint64_t size = std::uint64_t{line_.size()} * static_cast<unsigned>(frame.Height);
    if (size > kCodecMemory) return needsTooMuchMemory(input_, size);
    frame_.resize(size);
    constexpr int kPasses[][2] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};
    for (const auto& [first, step] : kPasses) {
      for (int y = first; y < frame.Height; y += step) {
        if (DGifGetLine(gif_, &frame_[static_cast<std::size_t>(y) * line_.size()], frame.Width) ==
            GIF_ERROR)
          return damaged("it ends too early");
      }
    }
    return {};
  }

  DecoderInput input_;
  GifFileType* gif_ = nullptr;
  std::uint64_t offset_ = 0;
  int transparent_ = NO_TRANSPARENT_COLOR;
  std::array<std::array<std::uint8_t, 3>, 256> colors_{};
  std::vector<GifPixelType> line_;
  std::vector<GifPixelType> frame_;
};

}  // namespace

OpenedImage openGIF(const DecoderInput& input) {
  auto rows = std::make_unique<GIFRows>(input);
  if (auto started = rows->start(); !started) return started.error();
  return std::unique_ptr<StripProducer>(std::move(rows));
}

}  // namespace tasklane
