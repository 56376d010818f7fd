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
#include "foundation/TestPictures.h"

#include <gif_lib.h>
#include <libheif/heif.h>
#include <tiffio.h>
#include <webp/encode.h>

/// The encoder that makes the HEIC pictures here keeps a few kilobytes for ever.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:libx265"; }

namespace tasklane {
namespace {

using Format = EncodedImage::Format;
using pictures::quarters;
using pictures::RGB;

std::filesystem::path pathFor(const char* name) {
  return std::filesystem::path(::testing::TempDir()) /
         ("codecs-" + std::to_string(::getpid()) + "-" + name);
}

std::string takeFile(const std::filesystem::path& path) {
  std::ifstream file(path);
  std::string bytes(std::istreambuf_iterator<char>(file), {});
  std::filesystem::remove(path);
  return bytes;
}

std::vector<std::uint8_t> rgba(std::uint32_t width, std::uint32_t height, int alpha) {
  std::vector<std::uint8_t> pixels;
  for (std::uint32_t y = 0; y < height; ++y) {
    for (std::uint32_t x = 0; x < width; ++x) {
      const RGB color = quarters(x, y, width, height);
      for (const int value : {color.red, color.green, color.blue, alpha})
        pixels.push_back(static_cast<std::uint8_t>(value));
    }
  }
  return pixels;
}

std::string webp(std::uint32_t width, std::uint32_t height, bool lossless, int alpha) {
  const auto pixels = rgba(width, height, alpha);
  const int stride = static_cast<int>(width) * 4;
  std::uint8_t* bytes = nullptr;
  const std::size_t size = lossless
                               ? WebPEncodeLosslessRGBA(pixels.data(), static_cast<int>(width),
                                                        static_cast<int>(height), stride, &bytes)
                               : WebPEncodeRGBA(pixels.data(), static_cast<int>(width),
                                                static_cast<int>(height), stride, 95, &bytes);
  std::string result(reinterpret_cast<char*>(bytes), size);
  WebPFree(bytes);
  return result;
}

/// A frame that leaves a border of a pixel on the screen, the last quarter transparent.
std::string gif(int width, int height, bool interlaced) {
  const auto path = pathFor("gif");
  GifFileType* file = EGifOpenFileName(path.c_str(), false, nullptr);
  GifColorType colors[4];
  const RGB four[] = {pictures::kTopLeft, pictures::kTopRight, pictures::kBottomLeft,
                      pictures::kBottomRight};
  for (int i = 0; i < 4; ++i)
    colors[i] = {static_cast<GifByteType>(four[i].red), static_cast<GifByteType>(four[i].green),
                 static_cast<GifByteType>(four[i].blue)};
  ColorMapObject* map = GifMakeMapObject(4, colors);
  EGifPutScreenDesc(file, width, height, 8, 0, map);
  const GifByteType control[] = {1, 0, 0, 3};
  EGifPutExtension(file, GRAPHICS_EXT_FUNC_CODE, 4, control);
  EGifPutImageDesc(file, 1, 1, width - 2, height - 2, interlaced, nullptr);
  const int steps[][2] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};
  for (const auto& [first, step] : steps) {
    for (int y = interlaced ? first : 0; y < height - 2; y += interlaced ? step : 1) {
      std::vector<GifPixelType> line;
      for (int x = 0; x < width - 2; ++x)
        line.push_back(
            static_cast<GifPixelType>((y + 1 < height / 2 ? 0 : 2) + (x + 1 < width / 2 ? 0 : 1)));
      EGifPutLine(file, line.data(), width - 2);
    }
    if (!interlaced) break;
  }
  EGifCloseFile(file, nullptr);
  GifFreeMapObject(map);
  return takeFile(path);
}

struct TIFFShape {
  std::uint32_t width = 64, height = 48;
  std::uint16_t compression = COMPRESSION_LZW;
  std::uint16_t bits = 8;
  std::uint32_t rowsPerStrip = 16;
  std::uint16_t planes = PLANARCONFIG_CONTIG;
  std::uint16_t orientation = 1;
};

std::string tiff(const TIFFShape& shape) {
  const auto path = pathFor("tiff");
  TIFF* file = TIFFOpen(path.c_str(), "w");
  TIFFSetField(file, TIFFTAG_IMAGEWIDTH, shape.width);
  TIFFSetField(file, TIFFTAG_IMAGELENGTH, shape.height);
  TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, shape.bits);
  TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, 3);
  TIFFSetField(file, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
  TIFFSetField(file, TIFFTAG_COMPRESSION, shape.compression);
  TIFFSetField(file, TIFFTAG_PLANARCONFIG, shape.planes);
  TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, shape.rowsPerStrip);
  TIFFSetField(file, TIFFTAG_ORIENTATION, shape.orientation);
  const bool separate = shape.planes == PLANARCONFIG_SEPARATE;
  for (std::uint16_t plane = 0; plane < (separate ? 3 : 1); ++plane) {
    for (std::uint32_t y = 0; y < shape.height; ++y) {
      std::vector<std::uint8_t> row;
      for (std::uint32_t x = 0; x < shape.width; ++x) {
        const RGB color = quarters(x, y, shape.width, shape.height);
        const int values[] = {color.red, color.green, color.blue};
        for (int i = separate ? plane : 0; i <= (separate ? plane : 2); ++i) {
          for (int byte = 0; byte < shape.bits / 8; ++byte)
            row.push_back(static_cast<std::uint8_t>(values[i]));
        }
      }
      TIFFWriteScanline(file, row.data(), y, plane);
    }
  }
  TIFFClose(file);
  return takeFile(path);
}

/// Or nothing where the library cannot encode.
std::string heic(int width, int height, bool alpha) {
  heif_context* context = heif_context_alloc();
  heif_encoder* encoder = nullptr;
  std::string bytes;
  if (heif_context_get_encoder_for_format(context, heif_compression_HEVC, &encoder).code == 0) {
    heif_encoder_set_lossy_quality(encoder, 95);
    heif_image* image = nullptr;
    heif_image_create(width, height, heif_colorspace_RGB, heif_chroma_interleaved_RGBA, &image);
    heif_image_add_plane(image, heif_channel_interleaved, width, height, 8);
    int stride = 0;
    std::uint8_t* plane = heif_image_get_plane(image, heif_channel_interleaved, &stride);
    const auto pixels = rgba(static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height),
                             alpha ? 128 : 255);
    for (int y = 0; y < height; ++y)
      std::copy_n(&pixels[static_cast<std::size_t>(y * width * 4)], width * 4, plane + y * stride);
    heif_encoding_options* options = heif_encoding_options_alloc();
    options->save_alpha_channel = alpha;
    heif_context_encode_image(context, image, encoder, options, nullptr);
    heif_encoding_options_free(options);
    heif_image_release(image);
    heif_encoder_release(encoder);
    const auto path = pathFor("heic");
    heif_context_write_to_file(context, path.c_str());
    bytes = takeFile(path);
  }
  heif_context_free(context);
  return bytes;
}

std::string bmp(std::uint32_t width, std::uint32_t height, bool topFirst) {
  const auto number = [](std::uint32_t value) {
    std::string text;
    for (int i = 0; i < 4; ++i) text += static_cast<char>(value >> (8 * i));
    return text;
  };
  std::string rows;
  for (std::uint32_t line = 0; line < height; ++line) {
    for (std::uint32_t x = 0; x < width; ++x) {
      const RGB color = quarters(x, topFirst ? line : height - 1 - line, width, height);
      rows += {static_cast<char>(color.blue), static_cast<char>(color.green),
               static_cast<char>(color.red)};
    }
    rows.resize((rows.size() + 3) / 4 * 4);
  }
  return "BM" + number(54 + static_cast<std::uint32_t>(rows.size())) + number(0) + number(54) +
         number(40) + number(width) + number(topFirst ? 0u - height : height) +
         std::string("\1\0\x18\0", 4) + std::string(24, '\0') + rows;
}

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

[[maybe_unused]] const int kModuleIsKnown =
    ::setenv("TASKLANE_IMAGE_CODECS", TASKLANE_IMAGE_CODECS, 0);

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
    auto image = EncodedImage::imageWithData(each.bytes);
    ASSERT_TRUE(image.ok()) << image.error().description;
    EXPECT_EQ(each.format, image.value()->header().format);
    EXPECT_EQ(each.width, image.value()->header().width);
    EXPECT_EQ(each.height, image.value()->header().height);
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
      auto image = EncodedImage::imageWithData(each.bytes.substr(0, length));
      EXPECT_FALSE(image.ok() && reencode(*image.value()).ok()) << length;
    }
  }
}

TEST(ImageCodecs, RefuseWhatWouldTakeTooMuchMemory) {
  // Lossless pictures are held whole by their library: four bytes a pixel.
  auto image = EncodedImage::imageWithData(webp(6000, 4000, true, 255));
  ASSERT_TRUE(image.ok()) << image.error().description;
  auto bytes = reencode(*image.value());
  ASSERT_FALSE(bytes.ok());
  EXPECT_EQ(NSError::Kind::Unsupported, bytes.error().kind);
  EXPECT_THAT(bytes.error().description, ::testing::HasSubstr("memory"));
}

}  // namespace
}  // namespace tasklane
