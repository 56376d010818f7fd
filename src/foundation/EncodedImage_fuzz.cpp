// Feeds damaged pictures to every reader: EncodedImage_fuzz [SECONDS [SEED [PICTURE...]]].
//
// The same seed makes the same pictures in the same order. Files given are damaged too, besides the
// built-in ones. A picture that is accepted must come out whole, in the size that its header says;
// everything else is for the sanitisers to find. The picture being read is kept in the file
// EncodedImage_fuzz.last, for the case that the program does not live to tell.

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

#include "foundation/EncodedImage.h"
#include "foundation/RandomDamage.h"
#include "foundation/TestPictures.h"

using namespace tasklane;

namespace {

/// Larger ones are decoded by the same code, only longer.
constexpr std::uint64_t kMostPixels = 500'000;

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
  using namespace pictures;
  return {
      jpeg({.orientation = 6, .profile = profile("RGB ", 300)}),
      jpeg({.progressive = true, .orientation = 3}),
      jpeg({.width = 33, .height = 17, .components = 1, .horizontal = 1, .vertical = 1}),
      jpeg({.components = 4, .horizontal = 1, .vertical = 1}),
      png({.profile = profile("RGB ", 300), .orientation = 5}),
      png({.colorType = PNG_COLOR_TYPE_RGB_ALPHA, .interlaced = true}, 100),
      png({.colorType = PNG_COLOR_TYPE_PALETTE}),
      png({.colorType = PNG_COLOR_TYPE_GRAY, .depth = 16, .gamma = 1.0}),
      std::string("BM\x4e\0\0\0\0\0\0\0\x36\0\0\0\x28\0\0\0\2\0\0\0\2\0\0\0\1\0\x18\0", 30) +
          std::string(60, '\x42'),
  };
}

/// What is wrong with how a picture was read, or nothing.
std::string check(const std::string& bytes) {
  auto image = EncodedImage::imageWithData(bytes);
  if (!image.ok()) return image.error().description.empty() ? "an error without a word" : "";
  const EncodedImage::Header header = image.value()->header();
  if (std::uint64_t{header.width} * header.height > kMostPixels) return "";
  auto small = image.value()->thumbnail(16);
  if (small.ok() &&
      (small.value().width > 16 || small.value().height > 16 ||
       small.value().argb.size() != static_cast<std::size_t>(small.value().width) *
                                        static_cast<std::size_t>(small.value().height)))
    return "a thumbnail of the wrong size";
  auto file = UnnamedFile::makeInFolder("/tmp");
  if (!file.ok()) return file.error().description;
  if (!image.value()->writeJPEGRepresentation(1.0, *file.value()).ok()) return "";
  auto result = EncodedImage::imageWithContentsOfFile(
      "/proc/self/fd/" + std::to_string(file.value()->fileDescriptor()));
  if (!result.ok()) return "wrote what cannot be read: " + result.error().description;
  if (result.value()->header().width != header.width ||
      result.value()->header().height != header.height || result.value()->header().orientation != 1)
    return "wrote another size";
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
    const auto start = std::chrono::steady_clock::now();
    std::string wrong = check(bytes);
    if (std::chrono::steady_clock::now() - start > std::chrono::seconds(20))
      wrong = "took for ever";
    if (wrong.empty()) continue;
    std::printf("picture %ld, kept as EncodedImage_fuzz.last: %s\n", count, wrong.c_str());
    return 1;
  }
  std::remove("EncodedImage_fuzz.last");
  std::printf("%ld pictures\n", count);
  return 0;
}
