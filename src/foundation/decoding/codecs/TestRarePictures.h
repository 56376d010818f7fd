#pragma once

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "foundation/TestPictures.h"

#include <gif_lib.h>
#include <libheif/heif.h>
#include <tiffio.h>
#include <webp/encode.h>

/// The encoder that makes the HEIC pictures here keeps a few kilobytes for ever.
extern "C" const char* __lsan_default_suppressions();
extern "C" inline const char* __lsan_default_suppressions() { return "leak:libx265"; }

/// Small pictures of the rarer formats, made by their libraries.
namespace tasklane::pictures {

inline std::filesystem::path pathFor(const char* name) {
  return std::filesystem::temp_directory_path() /
         ("codecs-" + std::to_string(::getpid()) + "-" + name);
}

inline std::string takeFile(const std::filesystem::path& path) {
  std::ifstream file(path);
  std::string bytes(std::istreambuf_iterator<char>(file), {});
  std::filesystem::remove(path);
  return bytes;
}

inline std::vector<std::uint8_t> rgba(std::uint32_t width, std::uint32_t height, int alpha) {
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

inline std::string webp(std::uint32_t width, std::uint32_t height, bool lossless, int alpha) {
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
inline std::string gif(int width, int height, bool interlaced) {
  const auto path = pathFor("gif");
  GifFileType* file = EGifOpenFileName(path.c_str(), false, nullptr);
  GifColorType colors[4];
  const RGB four[] = {kTopLeft, kTopRight, kBottomLeft, kBottomRight};
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

inline std::string tiff(const TIFFShape& shape) {
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
inline std::string heic(int width, int height, bool alpha) {
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

inline std::string bmp(std::uint32_t width, std::uint32_t height, bool topFirst) {
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

}  // namespace tasklane::pictures
