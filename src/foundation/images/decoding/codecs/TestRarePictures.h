#pragma once

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "foundation/images/TestPictures.h"

#include <gif_lib.h>
#include <libheif/heif.h>
#include <tiffio.h>
#include <webp/encode.h>

/// Some libraries lose memory: an encoder a few kilobytes, decoders what belongs to a damaged
/// picture. (Ours live for one picture.)
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libx265\nleak:libheif\nleak:libdav1d";
}

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
  const std::uint16_t planes = separate ? 3 : 1;
  for (std::uint16_t plane = 0; plane < planes; ++plane) {
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
inline std::string heic(int width, int height, bool alpha,
                        heif_compression_format codec = heif_compression_HEVC,
                        const char* chroma = "420") {
  heif_context* context = heif_context_alloc();
  heif_encoder* encoder = nullptr;
  std::string bytes;
  if (heif_context_get_encoder_for_format(context, codec, &encoder).code == 0) {
    heif_encoder_set_lossy_quality(encoder, 95);
    heif_encoder_set_parameter_string(encoder, "chroma", chroma);
    if (codec == heif_compression_AV1) heif_encoder_set_parameter_integer(encoder, "speed", 9);
    if (codec == heif_compression_HEVC)
      heif_encoder_set_parameter_string(encoder, "preset", "ultrafast");
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

inline std::string number(std::uint64_t value, int bytes) {
  std::string text;
  for (int i = bytes; i-- > 0;) text += static_cast<char>(value >> (8 * i));
  return text;
}

inline std::string box(const std::string& type, const std::string& contents) {
  return number(contents.size() + 8, 4) + type + contents;
}

/// The first box of a type, whole, wherever it stands.
inline std::string boxOf(const std::string& bytes, const std::string& type) {
  const std::size_t name = bytes.find(type);
  if (name == std::string::npos || name < 4) return {};
  std::size_t size = 0;
  for (std::size_t i = name - 4; i < name; ++i)
    size = size << 8 | static_cast<unsigned char>(bytes[i]);
  return bytes.substr(name - 4, size);
}

struct GridShape {
  std::uint32_t width = 120, height = 100;  ///< of the whole
  std::uint32_t claimedWidth = 0;           ///< what the header says instead, if not 0
  std::string turn = {};                    ///< a box that stands before the size
  std::string colors = {};                  ///< a box
};

/// A HEIC of two by two tiles, each a picture of 64 by 64 made by the library: the four quarters.
inline std::string gridOf(const std::string& tile, const GridShape& shape) {
  const std::string data = boxOf(tile, "mdat").substr(8);
  const auto full = [](const std::string& type, const std::string& contents, int version = 0) {
    return box(type, number(static_cast<std::uint64_t>(version) << 24, 4) + contents);
  };
  std::string infos, places, links;
  for (std::uint64_t item = 1; item <= 5; ++item) {
    const std::string flags = number(2 << 24 | (item < 5 ? 1 : 0), 4);
    infos += box("infe", flags + number(item, 2) + number(0, 2) + (item < 5 ? "hvc1" : "grid") +
                             std::string(1, '\0'));
    const int own = shape.turn.empty() ? 0 : 1, coded = shape.colors.empty() ? 0 : 1;
    links += number(item, 2);
    if (item < 5) {
      links += number(2, 1) + number(0x81, 1) + number(2, 1);
    } else {
      links += number(static_cast<std::uint64_t>(1 + own + coded), 1);
      if (own) links += number(0x84, 1);
      links += number(3, 1);
      if (coded) links += number(static_cast<std::uint64_t>(4 + own), 1);
    }
  }
  const auto extent = [&](std::uint64_t start) {
    std::string result;
    for (std::uint64_t item = 1; item <= 5; ++item)
      result += number(item, 2) + number(item < 5 ? 0 : 1, 2) + number(0, 2) + number(1, 2) +
                number(item < 5 ? start : 0, 4) + number(item < 5 ? data.size() : 8, 4);
    return result;
  };
  const auto size = [&full](std::uint32_t width, std::uint32_t height) {
    return full("ispe", number(width, 4) + number(height, 4));
  };
  const std::string properties =
      boxOf(tile, "hvcC") + size(64, 64) +
      size(shape.claimedWidth != 0 ? shape.claimedWidth : shape.width, shape.height) + shape.turn +
      shape.colors;
  const std::string type = box("ftyp", "heic" + number(0, 4) + "mif1heic");
  const auto meta = [&](std::uint64_t start) {
    return full("meta",
                full("hdlr", number(0, 4) + "pict" + std::string(13, '\0')) +
                    full("pitm", number(5, 2)) + full("iinf", number(5, 2) + infos) +
                    full("iref", box("dimg", number(5, 2) + number(4, 2) + number(1, 2) +
                                                 number(2, 2) + number(3, 2) + number(4, 2))) +
                    box("iprp", box("ipco", properties) + full("ipma", number(5, 4) + links)) +
                    full("iloc", number(0x4400, 2) + number(5, 2) + extent(start), 1) +
                    box("idat", number(0, 2) + number(1, 1) + number(1, 1) +
                                    number(shape.width, 2) + number(shape.height, 2)));
  };
  return type + meta(type.size() + meta(0).size() + 8) + box("mdat", data);
}

/// An animation of one frame, which lies at a place in a larger picture.
inline std::string animated(const std::string& frame, std::uint32_t left, std::uint32_t top,
                            std::uint32_t width, std::uint32_t height, std::uint32_t canvas) {
  const auto little = [](std::uint64_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i));
    return text;
  };
  const auto chunk = [&](const std::string& name, const std::string& contents) {
    return name + little(static_cast<std::uint32_t>(contents.size()), 4) + contents;
  };
  const std::string file =
      "WEBP" + chunk("VP8X", little(2, 4) + little(canvas - 1, 3) + little(canvas - 1, 3)) +
      chunk("ANIM", little(0, 6)) +
      chunk("ANMF", little(left / 2, 3) + little(top / 2, 3) + little(width - 1, 3) +
                        little(height - 1, 3) + little(100, 4) + frame.substr(12));
  return "RIFF" + little(static_cast<std::uint32_t>(file.size()), 4) + file;
}

/// A lossy WebP with an orientation.
inline std::string webpWithOrientation(const std::string& plain, std::uint32_t width,
                                       std::uint32_t height, int orientation) {
  const auto little = [](std::uint64_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) text += static_cast<char>(value >> (8 * i));
    return text;
  };
  std::string block = exif(orientation).substr(6);
  const std::string file = "WEBPVP8X" + little(10, 4) + little(8, 4) + little(width - 1, 3) +
                           little(height - 1, 3) + plain.substr(12) + "EXIF" +
                           little(static_cast<std::uint32_t>(block.size()), 4) + block;
  return "RIFF" + little(static_cast<std::uint32_t>(file.size()), 4) + file;
}

}  // namespace tasklane::pictures
