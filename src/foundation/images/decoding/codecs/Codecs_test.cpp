#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "foundation/images/EncodedImage.h"
#include "foundation/images/decoding/codecs/TestRarePictures.h"

namespace tasklane {
namespace {

using namespace pictures;
using Format = EncodedImage::Format;

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
      {"WebP, animated", Format::WebP, animated(webp(64, 64, false, 255), 0, 0, 64, 64, 64), 64,
       64},
      {"HEIC", Format::HEIC, heic(64, 48, false), 64, 48},
      {"AVIF", Format::AVIF, heic(64, 48, false, heif_compression_AV1), 64, 48},
      {"HEIC, chroma of full resolution", Format::HEIC,
       heic(64, 48, false, heif_compression_HEVC, "444"), 64, 48},
      {"AVIF, chroma of half width", Format::AVIF, heic(64, 48, false, heif_compression_AV1, "422"),
       64, 48},
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

bool near(RGB a, RGB b) { return pictures::near(a, b, 13); }

TEST(ImageCodecs, TurnEveryFormatIntoAnUprightJPEG) {
  for (const Case& each : cases()) {
    SCOPED_TRACE(each.what);
    const bool coded = each.format == Format::HEIC || each.format == Format::AVIF;
    if (each.bytes.empty() && coded) continue;
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

/// Each of two by two tiles shows the quarters.
void expectTiles(const std::string& bytes, std::uint32_t width, std::uint32_t height) {
  const pictures::Decoded result = pictures::decodeJPEG(bytes);
  ASSERT_EQ(width, result.width);
  ASSERT_EQ(height, result.height);
  for (std::uint32_t tile = 0; tile < 4; ++tile) {
    const std::uint32_t left = tile % 2 * 64, top = tile / 2 * 64;
    for (const auto& [x, y] : {std::pair{10u, 10u}, {50u, 10u}, {10u, 30u}, {50u, 30u}})
      EXPECT_TRUE(near(quarters(x, y, 64, 64), result.at(left + x, top + y)))
          << "tile " << tile << " at " << x << ", " << y;
  }
}

TEST(ImageCodecs, DecodeTilesOneAfterTheOther) {
  const std::string tile = heic(64, 64, false);
  ASSERT_FALSE(tile.empty()) << "the library has lost its encoder";
  auto bytes = pictures::imageOf(gridOf(tile, {}));
  ASSERT_TRUE(bytes.ok());
  auto encoded = reencode(*bytes.value());
  ASSERT_TRUE(encoded.ok()) << encoded.error().description;
  expectTiles(encoded.value(), 120, 100);

  // A turn that stands before the size.
  auto turned = pictures::imageOf(gridOf(tile, {.turn = box("irot", number(3, 1))}));
  auto upright = reencode(*turned.value());
  ASSERT_TRUE(upright.ok()) << upright.error().description;
  const pictures::Decoded result = pictures::decodeJPEG(upright.value());
  EXPECT_EQ(100u, result.width);
  EXPECT_EQ(120u, result.height);
  // 90 degrees clockwise: what is at the left below comes to the left above.
  EXPECT_TRUE(near(quarters(10, 30, 64, 64), result.at(99 - (64 + 30), 10)));

  auto larger = pictures::imageOf(gridOf(tile, {.claimedWidth = 400}));
  EXPECT_FALSE(reencode(*larger.value()).ok());
}

TEST(ImageCodecs, KeepColoursThatAHeaderNamesByCode) {
  const std::string tile = heic(64, 64, false);
  ASSERT_FALSE(tile.empty()) << "the library has lost its encoder";
  const auto profileFor = [&](int primaries, int transfer) {
    const std::string nclx = box("colr", "nclx" + number(static_cast<std::uint64_t>(primaries), 2) +
                                             number(static_cast<std::uint64_t>(transfer), 2) +
                                             number(6, 2) + number(0x80, 1));
    auto encoded = reencode(*pictures::imageOf(gridOf(tile, {.colors = nclx})).value());
    EXPECT_TRUE(encoded.ok()) << encoded.error().description;
    return encoded.ok() ? pictures::decodeJPEG(encoded.value()).profile : std::string();
  };
  EXPECT_EQ("", profileFor(1, 13));
  const std::string wide = profileFor(12, 13);
  ASSERT_GT(wide.size(), 132u);
  // The red of Display P3, adapted to a profile's white: 0.5151, 0.2412, -0.0011.
  const std::size_t list = wide.find("rXYZ");
  std::size_t place = 0;
  for (std::size_t i = 4; i < 8; ++i)
    place = place << 8 | static_cast<unsigned char>(wide[list + i]);
  const auto part = [&](std::size_t i) {
    std::uint32_t value = 0;
    for (std::size_t k = 0; k < 4; ++k)
      value = value << 8 | static_cast<unsigned char>(wide[place + 8 + i * 4 + k]);
    return static_cast<std::int32_t>(value) / 65536.0;
  };
  EXPECT_NEAR(0.5151, part(0), 0.001);
  EXPECT_NEAR(0.2412, part(1), 0.001);
  EXPECT_NEAR(-0.0011, part(2), 0.001);
}

TEST(ImageCodecs, ShowAFrameInItsPlace) {
  auto encoded =
      reencode(*pictures::imageOf(animated(webp(32, 24, true, 255), 20, 10, 32, 24, 100)).value());
  ASSERT_TRUE(encoded.ok()) << encoded.error().description;
  const pictures::Decoded result = pictures::decodeJPEG(encoded.value());
  ASSERT_EQ(100u, result.width);
  EXPECT_TRUE(near(pictures::kTopLeft, result.at(28, 16)));
  EXPECT_TRUE(near(pictures::kBottomRight, result.at(44, 28)));
  EXPECT_TRUE(near({255, 255, 255}, result.at(60, 50)));
}

TEST(ImageCodecs, TurnPicturesOfOddSizeWithoutShiftingTheirColours) {
  // The same pixels, stored as they are seen and on their side.
  const std::string seen = webp(61, 47, false, 255);
  const std::string stored = webpWithOrientation(seen, 61, 47, 3);
  const auto upright = reencode(*pictures::imageOf(seen).value());
  const auto turned = reencode(*pictures::imageOf(stored).value());
  ASSERT_TRUE(upright.ok() && turned.ok());
  const pictures::Decoded a = pictures::decodeJPEG(upright.value()),
                          b = pictures::decodeJPEG(turned.value());
  ASSERT_EQ(a.samples.size(), b.samples.size());
  double error = 0;
  for (std::uint32_t y = 0; y < a.height; ++y)
    for (std::uint32_t x = 0; x < a.width; ++x)
      for (const auto part : {&RGB::red, &RGB::green, &RGB::blue}) {
        const double difference = a.at(x, y).*part - b.at(a.width - 1 - x, a.height - 1 - y).*part;
        error += difference * difference;
      }
  const double decibels =
      10 * std::log10(255 * 255 / (error / static_cast<double>(a.samples.size())));
  EXPECT_GE(decibels, 45);
}

TEST(ImageCodecs, KeepAPhotoInOnePieceWithinTheirMemory) {
  for (const auto codec : {heif_compression_HEVC, heif_compression_AV1}) {
    const std::string photo = heic(4000, 3000, false, codec);
    if (photo.empty()) continue;
    auto encoded = reencode(*pictures::imageOf(photo).value());
    ASSERT_TRUE(encoded.ok()) << encoded.error().description;
    EXPECT_EQ(2, pictures::decodeJPEG(encoded.value()).horizontal);
  }
}

TEST(ImageCodecs, NoHeaderTalksThemOutOfTheirLimits) {
  // Claims to be small; the coded picture is not.
  std::string small = heic(4096, 4096, false);
  ASSERT_FALSE(small.empty()) << "the library has lost its encoder";
  const std::size_t size = small.find("ispe") + 8;
  small.replace(size, 8, number(100, 4) + number(75, 4));
  auto encoded = reencode(*pictures::imageOf(small).value());
  EXPECT_FALSE(encoded.ok());
  // A file of a gigabyte that is a hole behind a header that says it goes on.
  std::string hole = box("ftyp", "heic" + number(0, 4) + "heic") + number(0x3FFFFFF0, 4) + "meta";
  const auto path = pathFor("hole.heic");
  std::ofstream(path, std::ios::binary) << hole;
  std::filesystem::resize_file(path, 0x3FFFFFFF);
  auto image = EncodedImage::imageWithContentsOfFile(path);
  ASSERT_TRUE(image.ok());
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(reencode(*image.value()).ok());
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));
  std::filesystem::remove(path);
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
