// Feeds damaged pictures to every decoder: EncodedImage_fuzz [SECONDS [SEED [PICTURE...]]].
//
// The same seed makes the same pictures in the same order. Files given are damaged too, besides the
// built-in ones. The decoders run in this process, for the sanitisers to watch; one picture of
// eight also goes to the picture decoder itself, which must answer for it within its limits. A
// picture that is accepted must come out whole. The picture being read is kept in the file
// EncodedImage_fuzz.last, for the case that the program does not live to tell: one that takes too
// long ends it by SIGPROF.

#include <sched.h>
#include <sys/mman.h>
#include <unistd.h>
#include <zlib.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "foundation/images/EncodedImage.h"
#include "foundation/images/decoding/Confinement.h"
#include "foundation/images/decoding/ImageCodecs.h"
#include "foundation/images/decoding/PictureDecoding.h"
#include "foundation/images/decoding/UprightStrips.h"
#include "foundation/images/decoding/codecs/TestRarePictures.h"
#include "foundation/property-lists/RandomDamage.h"

using namespace tasklane;
using namespace tasklane::pictures;

namespace {

/// Larger ones are decoded by the same code, only longer.
constexpr std::uint64_t kMostPixels = 500'000;
constexpr std::chrono::seconds kMostTime{20};

/// A file in memory.
class MemoryFile {
 public:
  explicit MemoryFile(const std::string& bytes = {})
      : descriptor_(::memfd_create("fuzz", MFD_CLOEXEC)) {
    if (::pwrite(descriptor_, bytes.data(), bytes.size(), 0) < 0) std::perror("write");
  }
  ~MemoryFile() { ::close(descriptor_); }
  MemoryFile(const MemoryFile&) = delete;
  MemoryFile& operator=(const MemoryFile&) = delete;
  int descriptor() const { return descriptor_; }

 private:
  int descriptor_;
};

/// Otherwise nearly every damaged chunk would be refused before it is looked at.
void repairChecksums(std::string& bytes) {
  std::size_t at = 8;
  while (at + 12 <= bytes.size()) {
    std::size_t length = 0;
    for (std::size_t i = 0; i < 4; ++i)
      length = length << 8 | static_cast<unsigned char>(bytes[at + i]);
    if (length > bytes.size() - at - 12) return;
    const auto* chunk = reinterpret_cast<const Bytef*>(bytes.data() + at + 4);
    const unsigned long sum = crc32(0, chunk, static_cast<uInt>(length + 4));
    for (std::size_t i = 0; i < 4; ++i)
      bytes[at + 8 + length + i] = static_cast<char>(sum >> (24 - 8 * i));
    at += 12 + length;
  }
}

std::vector<std::string> builtIn() {
  return {
      jpeg({.orientation = 6, .profile = profile("RGB ", 300)}),
      jpeg({.progressive = true, .orientation = 3}),
      jpeg({.width = 33, .height = 17, .components = 1, .horizontal = 1, .vertical = 1}),
      jpeg({.components = 4, .horizontal = 1, .vertical = 1}),
      png({.profile = profile("RGB ", 300), .orientation = 5}),
      png({.colorType = PNG_COLOR_TYPE_RGB_ALPHA, .interlaced = true}, 100),
      png({.colorType = PNG_COLOR_TYPE_PALETTE}),
      png({.colorType = PNG_COLOR_TYPE_GRAY, .depth = 16, .gamma = 1.0}),
      bmp(12, 9, false),
      gif(20, 14, false),
      gif(21, 13, true),
      pictures::tiff({.width = 20, .height = 30}),
      pictures::tiff({.width = 20, .height = 30, .bits = 16, .planes = PLANARCONFIG_SEPARATE}),
      webp(33, 17, false, 255),
      webp(33, 17, true, 255),
      webp(33, 17, false, 128),
      heic(64, 64, false),
      heic(64, 64, true),
      heic(64, 64, false, heif_compression_AV1),
      gridOf(heic(64, 64, false), {}),
      animated(webp(33, 17, false, 255), 2, 4, 33, 17, 50),
  };
}

/// What is wrong with how this process reads a picture, or nothing.
std::string checkHere(const std::string& bytes, EncodedImage::Format format,
                      OpenImageFunction openOther) {
  const MemoryFile picture(bytes), scratch, smallScratch, written;
  const ImageSource source(picture.descriptor());
  const auto header = readImageHeader(format, source);
  if (!header.ok()) return header.error().description.empty() ? "an error without a word" : "";
  if (std::uint64_t{header.value().width} * header.value().height > kMostPixels) return "";
  ScratchFile smallFile(smallScratch.descriptor());
  const auto small = makeThumbnail(format, source, smallFile, openOther, 16);
  if (small.ok() &&
      (small.value().width > 16 || small.value().height > 16 ||
       small.value().argb.size() != static_cast<std::size_t>(small.value().width) *
                                        static_cast<std::size_t>(small.value().height)))
    return "a thumbnail of the wrong size";
  ScratchFile file(scratch.descriptor());
  if (!encodeJPEG(format, source, file, openOther, 1.0, written.descriptor()).ok()) return "";
  const auto result =
      readImageHeader(EncodedImage::Format::JPEG, ImageSource(written.descriptor()));
  if (!result.ok()) return "wrote what cannot be read: " + result.error().description;
  const bool exchanged = orientationExchangesSides(header.value().orientation);
  if (result.value().width != (exchanged ? header.value().height : header.value().width) ||
      result.value().height != (exchanged ? header.value().width : header.value().height) ||
      result.value().orientation != 1)
    return "wrote another size";
  return "";
}

/// The same by way of the picture decoder.
std::string checkThere(const std::string& bytes) {
  const auto image = imageOf(bytes);
  auto file = UnnamedFile::makeInFolder("/tmp");
  if (!image.ok() || !file.ok()) return "it cannot be opened";
  const auto written = image.value()->writeJPEGRepresentation(1.0, *file.value());
  if (written.ok()) return "";
  const std::string& text = written.error().description;
  for (const char* fatal : {"broke its decoder", "was killed", "takes longer", "does not answer"})
    if (text.find(fatal) != std::string::npos) return text;
  return "";
}

/// Overwritten in place: opening it anew for every picture would wait for the disk each time.
void keep(std::FILE* file, const std::string& bytes) {
  std::rewind(file);
  std::fwrite(bytes.data(), 1, bytes.size(), file);
  std::fflush(file);
  if (::ftruncate(::fileno(file), static_cast<off_t>(bytes.size())) != 0) std::perror("truncate");
}

}  // namespace

int main(int argc, char** argv) {
  const int seconds = argc > 1 ? std::atoi(argv[1]) : 10;
  RandomDamage damage(argc > 2 ? static_cast<unsigned int>(std::atoi(argv[2])) : 1,
                      RandomDamage::Places::MoreOftenInHeaders, {});
  // As in the picture decoder, where decoders make no threads.
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(::sched_getcpu(), &one);
  ::sched_setaffinity(0, sizeof one, &one);
  const OpenImageFunction openOther = loadImageCodecs(TASKLANE_HELPERS);
  if (openOther == nullptr) return 1;
  std::vector<std::string> seeds = builtIn();
  for (int i = 3; i < argc; ++i) {
    std::ifstream file(argv[i], std::ios::binary);
    seeds.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> last(
      std::fopen("EncodedImage_fuzz.last", "wb"), std::fclose);
  if (!last) return 1;
  long count = 0;
  for (; std::chrono::steady_clock::now() < end; ++count) {
    std::string bytes = damage.damaged(seeds);
    if (bytes.starts_with("\x89PNG") && damage.below(4) != 0) repairChecksums(bytes);
    keep(last.get(), bytes);
    allowProcessorTime(kMostTime);
    const auto format = imageFormatOfBytes(std::string_view(bytes).substr(0, kImageMagicBytes));
    std::string wrong = format ? checkHere(bytes, *format, openOther) : "";
    if (wrong.empty() && format && count % 8 == 0) wrong = checkThere(bytes);
    if (wrong.empty()) continue;
    std::printf("picture %ld, kept as EncodedImage_fuzz.last: %s\n", count, wrong.c_str());
    return 1;
  }
  std::remove("EncodedImage_fuzz.last");
  std::printf("%ld pictures\n", count);
  return 0;
}
