#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "foundation/EncodedImage.h"
#include "foundation/decoding/codecs/TestRarePictures.h"

namespace tasklane {
namespace {

using namespace pictures;
using Format = EncodedImage::Format;

Result<std::string> reencode(const EncodedImage& image) {
  auto file = UnnamedFile::makeInFolder(::testing::TempDir());
  if (!file.ok()) return file.error();
  auto written = image.writeJPEGRepresentation(1.0, *file.value());
  if (!written.ok()) return written.error();
  struct stat status {};
  ::fstat(file.value()->fileDescriptor(), &status);
  std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
  if (auto read = file.value()->readAt(0, bytes.data(), bytes.size()); !read.ok())
    return read.error();
  return bytes;
}

struct Case {
  const char* what;
  Format format;
  std::string bytes;
  std::uint32_t width, height;
  int alpha = 255;        ///< of all
  bool turned = false;    ///< stored on its side (orientation 6)
  bool lastOpen = false;  ///< the last quarter is transparent
};

std::vector<Case> cases() {
  return {
      {"BMP", Format::BMP, bmp(61, 47, false), 61, 47},
      {"BMP from the top", Format::BMP, bmp(64, 48, true), 64, 48},
      {"GIF", Format::GIF, gif(64, 48, false), 64, 48, 255, false, true},
      {"GIF, interlaced", Format::GIF, gif(61, 47, true), 61, 47, 255, false, true},
      {"TIFF", Format::TIFF, tiff({}), 64, 48},
      {"TIFF, one strip of 16 bits", Format::TIFF,
       tiff({.compression = COMPRESSION_NONE, .bits = 16, .rowsPerStrip = 48}), 64, 48},
      {"TIFF, planes", Format::TIFF, tiff({.planes = PLANARCONFIG_SEPARATE}), 64, 48},
      {"TIFF, turned", Format::TIFF, tiff({.planes = PLANARCONFIG_SEPARATE, .orientation = 6}), 48,
       64, 255, true},
      {"WebP", Format::WebP, webp(61, 47, false, 255), 61, 47},
      {"WebP, large", Format::WebP, webp(1500, 1100, false, 255), 1500, 1100},
      {"WebP, lossless", Format::WebP, webp(61, 47, true, 255), 61, 47},
      {"WebP, transparent", Format::WebP, webp(64, 48, false, 128), 64, 48, 128},
      {"HEIC", Format::HEIC, heic(64, 48, false), 64, 48},
      {"HEIC, transparent", Format::HEIC, heic(128, 96, true), 128, 96, 128},
  };
}

RGB expected(const Case& each, int quarter) {
  const RGB colors[] = {pictures::kTopLeft, pictures::kTopRight, pictures::kBottomLeft,
                        pictures::kBottomRight};
  const int onItsSide[] = {2, 0, 3, 1};
  if (quarter == 3 && each.lastOpen) return {255, 255, 255};
  RGB color = colors[each.turned ? onItsSide[quarter] : quarter];
  for (int* value : {&color.red, &color.green, &color.blue})
    *value = (*value * each.alpha + 255 * (255 - each.alpha)) / 255;
  return color;
}

bool near(RGB a, RGB b) {
  return std::abs(a.red - b.red) < 14 && std::abs(a.green - b.green) < 14 &&
         std::abs(a.blue - b.blue) < 14;
}

TEST(ImageCodecs, TurnEveryFormatIntoAnUprightJPEG) {
  for (const Case& each : cases()) {
    SCOPED_TRACE(each.what);
    if (each.bytes.empty() && each.format == Format::HEIC) continue;
    auto image = pictures::imageOf(each.bytes);
    ASSERT_TRUE(image.ok()) << image.error().description;
    EXPECT_EQ(each.format, image.value()->format());
    auto bytes = reencode(*image.value());
    ASSERT_TRUE(bytes.ok()) << bytes.error().description;
    const pictures::Decoded result = pictures::decodeJPEG(bytes.value());
    ASSERT_EQ(each.width, result.width);
    ASSERT_EQ(each.height, result.height);
    auto small = image.value()->thumbnail(32);
    ASSERT_TRUE(small.ok()) << small.error().description;
    for (int i = 0; i < 4; ++i) {
      const RGB color = expected(each, i);
      const RGB found = result.at(each.width * static_cast<std::uint32_t>(1 + 2 * (i % 2)) / 4,
                                  each.height * static_cast<std::uint32_t>(1 + 2 * (i / 2)) / 4);
      EXPECT_TRUE(near(color, found))
          << i << ": " << found.red << " " << found.green << " " << found.blue;
      const int x = small.value().width * (1 + 2 * (i % 2)) / 4;
      const int y = small.value().height * (1 + 2 * (i / 2)) / 4;
      const std::uint32_t argb =
          small.value().argb[static_cast<std::size_t>(y * small.value().width + x)];
      EXPECT_TRUE(near(color, {static_cast<int>(argb >> 16 & 255),
                               static_cast<int>(argb >> 8 & 255), static_cast<int>(argb & 255)}))
          << i << ": " << std::hex << argb;
    }
  }
}

TEST(ImageCodecs, WhatIsCutShortIsAnError) {
  for (const Case& each : cases()) {
    SCOPED_TRACE(each.what);
    for (std::size_t length = 0; length + 40 < each.bytes.size();
         length += 1 + each.bytes.size() / 50) {
      auto image = pictures::imageOf(each.bytes.substr(0, length));
      EXPECT_FALSE(image.ok() && reencode(*image.value()).ok()) << length;
    }
  }
}

TEST(ImageCodecs, RefuseWhatWouldTakeTooMuchMemory) {
  // Lossless pictures are held whole by their library: four bytes a pixel.
  auto image = pictures::imageOf(webp(6000, 4000, true, 255));
  ASSERT_TRUE(image.ok()) << image.error().description;
  auto bytes = reencode(*image.value());
  ASSERT_FALSE(bytes.ok());
  EXPECT_EQ(NSError::Kind::Unsupported, bytes.error().kind);
  EXPECT_THAT(bytes.error().description, ::testing::HasSubstr("memory"));
}

}  // namespace
}  // namespace tasklane
