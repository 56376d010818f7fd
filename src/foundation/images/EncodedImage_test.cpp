#include "foundation/images/EncodedImage.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "foundation/base/ScratchFolderTesting.h"
#include "foundation/images/TestPictures.h"

namespace tasklane {
namespace {

using pictures::Decoded;
using pictures::JPEGShape;
using pictures::near;
using pictures::PNGShape;
using pictures::reencode;
using pictures::RGB;
using Kind = NSError::Kind;

Result<std::string> reencode(const std::string& bytes) {
  auto image = pictures::imageOf(bytes);
  if (!image.ok()) return image.error();
  return reencode(*image.value());
}

/// Whether the middles of the four quarters have the colours given, row by row.
::testing::AssertionResult shows(const Decoded& picture, const std::array<RGB, 4>& colors,
                                 int tolerance = 12) {
  for (std::uint32_t i = 0; i < 4; ++i) {
    const RGB found =
        picture.at(picture.width * (1 + 2 * (i % 2)) / 4, picture.height * (1 + 2 * (i / 2)) / 4);
    if (!near(found, colors[i], tolerance))
      return ::testing::AssertionFailure()
             << "quarter " << i << " is " << found.red << " " << found.green << " " << found.blue;
  }
  return ::testing::AssertionSuccess();
}

const std::array<RGB, 4> kUpright = {pictures::kTopLeft, pictures::kTopRight, pictures::kBottomLeft,
                                     pictures::kBottomRight};

/// The quarters of a picture that is stored as drawn and has an orientation, when seen upright.
std::array<RGB, 4> seen(int orientation) {
  const auto [a, b, c, d] = kUpright;
  const std::array<RGB, 4> all[] = {{a, b, c, d}, {b, a, d, c}, {d, c, b, a}, {c, d, a, b},
                                    {a, c, b, d}, {c, a, d, b}, {d, b, c, a}, {b, d, a, c}};
  return all[orientation - 1];
}

TEST(EncodedImage, TurnsEveryOrientationUpright) {
  struct Case {
    const char* what;
    JPEGShape shape;
  };
  const Case cases[] = {
      {"4:2:0", {.width = 64, .height = 48}},
      {"4:2:0, part of a block at the edges", {.width = 70, .height = 42}},
      {"4:2:2", {.width = 600, .height = 300, .vertical = 1}},
      {"4:4:4", {.width = 61, .height = 33, .horizontal = 1, .vertical = 1}},
      {"odd, so that colours cannot be mirrored as stored", {.width = 61, .height = 33}},
      {"gray", {.width = 61, .height = 33, .components = 1, .horizontal = 1, .vertical = 1}},
      {"progressive", {.width = 320, .height = 200, .progressive = true}},
  };
  for (const Case& each : cases) {
    for (int orientation = 1; orientation <= 8; ++orientation) {
      SCOPED_TRACE(std::string(each.what) + ", orientation " + std::to_string(orientation));
      JPEGShape shape = each.shape;
      shape.orientation = orientation;
      auto image = pictures::imageOf(pictures::jpeg(shape));
      ASSERT_TRUE(image.ok()) << image.error().description;
      auto bytes = reencode(*image.value());
      ASSERT_TRUE(bytes.ok()) << bytes.error().description;
      const Decoded result = pictures::decodeJPEG(bytes.value());
      const bool exchanged = orientation > 4;
      EXPECT_EQ(exchanged ? shape.height : shape.width, result.width);
      EXPECT_EQ(exchanged ? shape.width : shape.height, result.height);
      EXPECT_EQ(shape.components, result.components);
      auto colors = seen(orientation);
      if (shape.components == 1)
        for (RGB& color : colors) color = {color.red, color.red, color.red};
      EXPECT_TRUE(shows(result, colors));
      EXPECT_EQ("", result.other);
    }
  }
}

TEST(EncodedImage, KeepsPlanesSamplingAndProfileAndDropsTheRest) {
  // Two segments' worth of profile, since one segment holds 64 KB.
  const std::string rgb = pictures::profile("RGB ", 100000);
  const std::string gray = pictures::profile("GRAY", 400);
  struct Case {
    JPEGShape shape;
    std::string profile;
  };
  const Case cases[] = {
      {{.orientation = 1, .profile = rgb}, rgb},
      {{.horizontal = 2, .vertical = 1, .orientation = 6, .profile = rgb}, rgb},
      {{.horizontal = 1, .vertical = 1, .profile = rgb}, rgb},
      {{.components = 1, .horizontal = 1, .vertical = 1, .profile = gray}, gray},
      {{.profile = gray}, ""},
      {{.components = 4, .horizontal = 1, .vertical = 1, .profile = rgb}, ""},
  };
  for (const Case& each : cases) {
    auto bytes = reencode(pictures::jpeg(each.shape));
    ASSERT_TRUE(bytes.ok()) << bytes.error().description;
    const Decoded result = pictures::decodeJPEG(bytes.value());
    EXPECT_EQ(each.profile, result.profile);
    EXPECT_EQ("", result.other);
    EXPECT_EQ(std::string::npos, bytes.value().find("GPS"));
    const bool turned = each.shape.orientation > 4;
    EXPECT_EQ(turned ? each.shape.vertical : each.shape.horizontal, result.horizontal);
    EXPECT_EQ(turned ? each.shape.horizontal : each.shape.vertical, result.vertical);
  }
}

TEST(EncodedImage, LosesNextToNothingOfAJPEG) {
  const std::string original = pictures::jpeg({.width = 83, .height = 47, .quality = 80});
  auto bytes = reencode(original);
  ASSERT_TRUE(bytes.ok()) << bytes.error().description;
  const Decoded before = pictures::decodeJPEG(original),
                after = pictures::decodeJPEG(bytes.value());
  ASSERT_EQ(before.samples.size(), after.samples.size());
  int worst = 0;
  for (std::size_t i = 0; i < before.samples.size(); ++i)
    worst = std::max(worst, std::abs(before.samples[i] - after.samples[i]));
  EXPECT_LE(worst, 4);
}

TEST(EncodedImage, TurnsInksIntoColours) {
  auto bytes = reencode(pictures::jpeg({.components = 4, .horizontal = 1, .vertical = 1}));
  ASSERT_TRUE(bytes.ok()) << bytes.error().description;
  EXPECT_TRUE(shows(pictures::decodeJPEG(bytes.value()), kUpright));
}

TEST(EncodedImage, ReadsEveryKindOfPNG) {
  const std::string rgb = pictures::profile("RGB ", 400);
  struct Case {
    const char* what;
    PNGShape shape;
    int alpha;
    std::array<RGB, 4> colors;
    std::string profile;
  };
  const auto lightened = [](std::array<RGB, 4> colors, bool gray) {
    for (RGB& color : colors) {
      if (gray) color = {color.red, color.red, color.red};
      color = {(color.red + 255) / 2, (color.green + 255) / 2, (color.blue + 255) / 2};
    }
    return colors;
  };
  std::array<RGB, 4> gray = kUpright;
  for (RGB& color : gray) color = {color.red, color.red, color.red};
  const Case cases[] = {
      {"RGB", {.width = 61, .height = 33, .profile = rgb}, 255, kUpright, rgb},
      {"RGB, 16 bits", {.depth = 16}, 255, kUpright, ""},
      {"palette", {.colorType = PNG_COLOR_TYPE_PALETTE}, 255, kUpright, ""},
      {"gray", {.width = 61, .colorType = PNG_COLOR_TYPE_GRAY}, 255, gray, ""},
      {"half transparent",
       {.colorType = PNG_COLOR_TYPE_RGB_ALPHA},
       128,
       lightened(kUpright, false),
       ""},
      {"half transparent gray",
       {.colorType = PNG_COLOR_TYPE_GRAY_ALPHA, .depth = 16},
       128,
       lightened(kUpright, true),
       ""},
      {"interlaced", {.width = 67, .height = 35, .interlaced = true}, 255, kUpright, ""},
      {"interlaced, several windows",
       {.width = 700, .height = 900, .interlaced = true},
       255,
       kUpright,
       ""},
      {"turned", {.orientation = 6}, 255, seen(6), ""},
      {"turned, as is said behind the pixels",
       {.orientation = 6, .exifAtEnd = true},
       255,
       seen(6),
       ""},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.what);
    auto image = pictures::imageOf(pictures::png(each.shape, each.alpha));
    ASSERT_TRUE(image.ok()) << image.error().description;
    auto bytes = reencode(*image.value());
    ASSERT_TRUE(bytes.ok()) << bytes.error().description;
    const Decoded result = pictures::decodeJPEG(bytes.value());
    const bool exchanged = each.shape.orientation > 4;
    EXPECT_EQ(exchanged ? each.shape.height : each.shape.width, result.width);
    EXPECT_EQ(exchanged ? each.shape.width : each.shape.height, result.height);
    EXPECT_TRUE(shows(result, each.colors, 3));
    EXPECT_EQ(each.profile, result.profile);
  }
}

TEST(EncodedImage, BringsALinearPNGIntoTheStandardSpace) {
  auto bytes = reencode(pictures::png({.colorType = PNG_COLOR_TYPE_GRAY, .gamma = 1.0}));
  ASSERT_TRUE(bytes.ok()) << bytes.error().description;
  // 30 of 255 in linear light is 96 in the standard space.
  EXPECT_NEAR(96, pictures::decodeJPEG(bytes.value()).at(48, 12).red, 4);
}

TEST(EncodedImage, AnythingCutShortIsAnErrorAndLeavesNoPicture) {
  const std::string pictures[] = {
      pictures::jpeg({.width = 50, .height = 40, .quality = 60}),
      pictures::jpeg({.width = 50, .height = 40, .progressive = true, .orientation = 6}),
      pictures::png({.width = 50, .height = 40}),
      pictures::png({.width = 50, .height = 40, .interlaced = true}),
  };
  for (const std::string& whole : pictures) {
    // The end mark of a JPEG may be missing, as may the checks at the end of a PNG not.
    const std::size_t needed = whole.size() - (whole.starts_with("\xFF\xD8") ? 3 : 0);
    for (std::size_t length = 0; length < needed; length += length < 700 ? 1 : 7) {
      auto bytes = reencode(whole.substr(0, length));
      ASSERT_FALSE(bytes.ok()) << length << " of " << whole.size() << " bytes";
      EXPECT_THAT(bytes.error().kind, ::testing::AnyOf(Kind::Corrupt, Kind::Unsupported));
      EXPECT_NE("", bytes.error().description);
    }
    EXPECT_TRUE(reencode(whole).ok());
  }
}

TEST(EncodedImage, AJPEGMayLackItsEndMarkAlone) {
  const JPEGShape shapes[] = {{.width = 50, .height = 40},
                              {.width = 50, .height = 40, .progressive = true},
                              {.components = 1, .horizontal = 1, .vertical = 1}};
  for (const JPEGShape& shape : shapes) {
    const std::string whole = pictures::jpeg(shape);
    const auto marked = reencode(whole), unmarked = reencode(whole.substr(0, whole.size() - 2));
    ASSERT_TRUE(unmarked.ok()) << unmarked.error().description;
    EXPECT_EQ(marked.value(), unmarked.value());
    EXPECT_FALSE(reencode(whole.substr(0, whole.size() - 12)).ok());
  }
}

TEST(EncodedImage, RefusesWhatIsNoPictureOfASaneSize) {
  std::string damaged = pictures::jpeg({});
  for (std::size_t i = damaged.size() / 2; i < damaged.size() / 2 + 40; ++i) damaged[i] = '\x55';
  std::string large = pictures::png({});
  large.replace(16, 8, std::string("\0\x01\0\0\0\0\0\x10", 8));
  struct Case {
    std::string bytes;
    Kind kind;
  };
  const Case cases[] = {{"", Kind::Unsupported},
                        {"no picture at all", Kind::Unsupported},
                        {damaged, Kind::Corrupt},
                        {large, Kind::Unsupported}};
  for (const Case& each : cases) {
    auto bytes = reencode(each.bytes);
    ASSERT_FALSE(bytes.ok());
    EXPECT_EQ(each.kind, bytes.error().kind) << bytes.error().description;
  }
}

class EncodedImageFile : public ::testing::Test {
 protected:
  const ScratchFolder scratch_;
  const std::filesystem::path& folder_ = scratch_.path();
};

TEST_F(EncodedImageFile, ATubeOrAFolderIsRefusedWithoutWaiting) {
  const std::string tube = folder_ / "tube.jpg";
  ASSERT_EQ(0, ::mkfifo(tube.c_str(), 0600));
  EXPECT_EQ(Kind::Unsupported, EncodedImage::imageWithContentsOfFile(tube).error().kind);
  EXPECT_EQ(Kind::Unsupported, EncodedImage::imageWithContentsOfFile(folder_).error().kind);
  EXPECT_EQ(Kind::FileNotFound,
            EncodedImage::imageWithContentsOfFile(folder_ / "none.jpg").error().kind);
}

TEST_F(EncodedImageFile, AFileThatChangedSinceItWasOpenedIsAnError) {
  const std::string path = folder_ / "photo.jpg";
  std::ofstream(path) << pictures::jpeg({});
  auto image = EncodedImage::imageWithContentsOfFile(path);
  ASSERT_TRUE(image.ok()) << image.error().description;
  EXPECT_TRUE(reencode(*image.value()).ok());
  std::ofstream(path, std::ios::app) << "more";
  auto bytes = reencode(*image.value());
  ASSERT_FALSE(bytes.ok());
  EXPECT_THAT(bytes.error().description, ::testing::HasSubstr("changed"));
}

TEST(EncodedImage, AFullDiskIsSaidToBeFull) {
  auto image = pictures::imageOf(pictures::jpeg({.width = 900, .height = 900}));
  ASSERT_TRUE(image.ok());
  auto file = UnnamedFile::makeInFolder(::testing::TempDir());
  ASSERT_TRUE(file.ok());
  // A device that is always full stands in for the disk.
  const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
  ASSERT_LE(0, full);
  ASSERT_LE(0, ::dup2(full, file.value()->fileDescriptor()));
  ::close(full);
  auto written = image.value()->writeJPEGRepresentation(1.0, *file.value());
  ASSERT_FALSE(written.ok());
  EXPECT_EQ(Kind::NoSpace, written.error().kind) << written.error().description;
}

TEST(EncodedImage, ThumbnailsAreUprightAndFit) {
  struct Case {
    std::string bytes;
    int side, width, height, orientation;
    std::uint32_t alpha;
  };
  const Case cases[] = {
      {pictures::jpeg({.width = 640, .height = 320}), 64, 64, 32, 1, 255},
      {pictures::jpeg({.width = 640, .height = 320, .progressive = true, .orientation = 8}), 50, 25,
       50, 8, 255},
      {pictures::jpeg({.width = 20, .height = 10}), 64, 20, 10, 1, 255},
      {pictures::png({.width = 301, .height = 199, .interlaced = true}), 30, 30, 20, 1, 255},
      {pictures::png({.width = 300, .height = 600, .colorType = PNG_COLOR_TYPE_RGB_ALPHA}, 51), 60,
       30, 60, 1, 51},
  };
  for (const Case& each : cases) {
    auto image = pictures::imageOf(each.bytes);
    ASSERT_TRUE(image.ok()) << image.error().description;
    auto small = image.value()->thumbnail(each.side);
    ASSERT_TRUE(small.ok()) << small.error().description;
    const EncodedImage::Pixels& pixels = small.value();
    ASSERT_EQ(each.width, pixels.width);
    ASSERT_EQ(each.height, pixels.height);
    ASSERT_EQ(static_cast<std::size_t>(each.width * each.height), pixels.argb.size());
    const auto colors = seen(each.orientation);
    for (int i = 0; i < 4; ++i) {
      const int x = pixels.width * (1 + 2 * (i % 2)) / 4, y = pixels.height * (1 + 2 * (i / 2)) / 4;
      const std::uint32_t argb = pixels.argb[static_cast<std::size_t>(y * pixels.width + x)];
      EXPECT_EQ(each.alpha, argb >> 24);
      const auto premultiplied = [&](int value) {
        return value * static_cast<int>(each.alpha) / 255;
      };
      const RGB& color = colors[static_cast<std::size_t>(i)];
      EXPECT_TRUE(near(
          {static_cast<int>(argb >> 16 & 255), static_cast<int>(argb >> 8 & 255),
           static_cast<int>(argb & 255)},
          {premultiplied(color.red), premultiplied(color.green), premultiplied(color.blue)}, 16))
          << std::hex << argb;
    }
  }
}

}  // namespace
}  // namespace tasklane
