#include "foundation/EncodedImage.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "foundation/ImageCodec.h"
#include "foundation/ImageHeader.h"
#include "foundation/ImageSource.h"
#include "foundation/ImageThumbnail.h"
#include "foundation/JPEGStrips.h"
#include "foundation/PNGStrips.h"
#include "foundation/StripPipeline.h"
#include "foundation/UprightStrips.h"

namespace tasklane {

namespace {

/// Where a thumbnail's decoder may keep what does not fit in memory: on a disk, which a folder for
/// temporary files need not be on.
std::string scratchFolder() {
  const char* chosen = std::getenv("TMPDIR");
  return chosen != nullptr && *chosen != '\0' ? chosen : "/var/tmp";
}

/// The largest reduction by eighths that still covers the side asked for.
unsigned int eighthsFor(const EncodedImage::Header& header, int side) {
  const std::uint64_t longest = std::max(header.width, header.height);
  const std::uint64_t eighths = (std::uint64_t(std::max(side, 1)) * 8 + longest - 1) / longest;
  return static_cast<unsigned int>(std::clamp<std::uint64_t>(eighths, 1, 8));
}

}  // namespace

struct EncodedImage::State {
  std::shared_ptr<const ImageSource> source;
  Header header;

  static Result<std::unique_ptr<State>> make(Result<std::shared_ptr<const ImageSource>> source) {
    if (!source.ok()) return source.error();
    auto header = readImageHeader(*source.value());
    if (!header.ok()) return header.error();
    return std::make_unique<State>(State{std::move(source).value(), header.value()});
  }

  Result<std::unique_ptr<StripProducer>> openForEncoding(const std::string& scratch) const {
    if (header.format == Format::JPEG) {
      JPEGDecoding decoding;
      decoding.orientation = header.orientation;
      decoding.colorProfile = colorProfileOfJPEG(*source);
      decoding.scratchFolder = scratch;
      return openJPEG(*source, std::move(decoding));
    }
    if (header.format == Format::PNG) return openPNG(*source, {false, header.orientation, scratch});
    return openWithCodecModule({source.get(), header, scratch});
  }

  Result<std::unique_ptr<StripProducer>> openForThumbnail(int side) const {
    if (header.format == Format::JPEG) {
      JPEGDecoding decoding;
      decoding.planes = false;
      decoding.orientation = header.orientation;
      decoding.eighths = eighthsFor(header, side);
      decoding.scratchFolder = scratchFolder();
      return openJPEG(*source, std::move(decoding));
    }
    if (header.format == Format::PNG)
      return openPNG(*source, {true, header.orientation, scratchFolder()});
    return openWithCodecModule({source.get(), header, scratchFolder()});
  }
};

EncodedImage::EncodedImage(std::unique_ptr<State> state) : state_(std::move(state)) {}
EncodedImage::~EncodedImage() = default;

Result<std::shared_ptr<const EncodedImage>> EncodedImage::imageWithContentsOfFile(
    const std::string& path) {
  auto state = State::make(ImageSource::makeWithFile(path));
  if (!state.ok()) return state.error();
  return std::shared_ptr<const EncodedImage>(new EncodedImage(std::move(state).value()));
}

Result<std::shared_ptr<const EncodedImage>> EncodedImage::imageWithData(std::string bytes) {
  auto state = State::make(ImageSource::makeWithData(std::move(bytes)));
  if (!state.ok()) return state.error();
  return std::shared_ptr<const EncodedImage>(new EncodedImage(std::move(state).value()));
}

const EncodedImage::Header& EncodedImage::header() const { return state_->header; }

Result<void> EncodedImage::writeJPEGRepresentation(double compressionQuality,
                                                   UnnamedFile& into) const {
  auto opened = state_->openForEncoding(into.folder());
  if (!opened.ok()) return opened.error();
  auto upright = makeUpright(std::move(opened).value(), into.folder());
  if (!upright.ok()) return upright.error();
  StripProducer& producer = *upright.value();
  auto encoder =
      makeJPEGEncoder(producer.layout(), producer.colorProfile(), compressionQuality, into);
  if (!encoder.ok()) return encoder.error();
  auto moved = runStripPipeline(
      producer, [&encoder](const Strip& strip) { return encoder.value()->add(strip); });
  // A file that changes under the decoder looks damaged; the change is what to tell.
  if (auto unchanged = state_->source->checkUnchanged(); !unchanged.ok()) return unchanged;
  if (!moved.ok()) return moved;
  return encoder.value()->finish();
}

Result<EncodedImage::Pixels> EncodedImage::thumbnail(int side) const {
  auto opened = state_->openForThumbnail(side);
  if (!opened.ok()) return opened.error();
  return scaleToFit(*opened.value(), side);
}

}  // namespace tasklane
