#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/base/FileSystem.h"
#include "foundation/images/EncodedImage.h"

#include <jpeglib.h>
#include <png.h>

/// Small pictures for tests, made by the codec libraries directly.
namespace tasklane::pictures {

/// A picture whose file is in memory only.
inline Result<std::shared_ptr<const EncodedImage>> imageOf(std::string_view bytes) {
  const int file = ::memfd_create("picture", MFD_CLOEXEC);
  for (std::size_t done = 0; done < bytes.size();) {
    const ssize_t written = ::write(file, bytes.data() + done, bytes.size() - done);
    if (written < 0) return NSError::fromErrno(errno, "cannot write a picture");
    done += static_cast<std::size_t>(written);
  }
  auto image = EncodedImage::imageWithContentsOfFile("/proc/self/fd/" + std::to_string(file));
  ::close(file);
  return image;
}

/// What a picture becomes as a JPEG.
inline Result<std::string> reencode(const EncodedImage& image) {
  auto file = UnnamedFile::makeInFolder(std::filesystem::temp_directory_path());
  if (!file.ok()) return file.error();
  if (auto written = image.writeJPEGRepresentation(1.0, *file.value()); !written.ok())
    return written.error();
  ::lseek(file.value()->fileDescriptor(), 0, SEEK_SET);
  return readAll(file.value()->fileDescriptor(), "the result");
}

struct RGB {
  int red, green, blue;
};

inline bool near(RGB a, RGB b, int tolerance) {
  return std::abs(a.red - b.red) <= tolerance && std::abs(a.green - b.green) <= tolerance &&
         std::abs(a.blue - b.blue) <= tolerance;
}

/// Four quarters, each of another colour, so that any turn shows.
inline constexpr RGB kTopLeft{200, 30, 30}, kTopRight{30, 180, 30}, kBottomLeft{30, 30, 200},
    kBottomRight{220, 220, 40};

inline RGB quarters(std::uint32_t x, std::uint32_t y, std::uint32_t width, std::uint32_t height) {
  if (y < height / 2) return x < width / 2 ? kTopLeft : kTopRight;
  return x < width / 2 ? kBottomLeft : kBottomRight;
}

/// What a JPEG made for a test is like.
struct JPEGShape {
  std::uint32_t width = 64;
  std::uint32_t height = 48;
  int components = 3;  ///< 1 gray, 3 colours, 4 inks as such files hold them (inverted)
  int horizontal = 2;
  int vertical = 2;
  bool progressive = false;
  int orientation = 0;  ///< 0: no Exif
  std::string profile = {};
  int quality = 95;
};

/// An Exif block with an orientation and a made-up place.
inline std::string exif(int orientation) {
  std::string block("Exif\0\0MM\0*\0\0\0\x08\0\x01\x01\x12\0\x03\0\0\0\x01\0", 25);
  block += static_cast<char>(orientation);
  block += std::string("\0\0\0\0\0\0", 6) + "GPS 48.8584 N 2.2945 E";
  return block;
}

/// The smallest thing that passes for a colour profile.
inline std::string profile(const char* space, std::size_t size) {
  std::string bytes(size, '\0');
  bytes.replace(0, 4,
                {static_cast<char>(size >> 24), static_cast<char>(size >> 16),
                 static_cast<char>(size >> 8), static_cast<char>(size)});
  bytes.replace(12, 4, "mntr").replace(16, 4, space).replace(20, 4, "XYZ ").replace(36, 4, "acsp");
  bytes.replace(68, 12, std::string("\0\0\xF6\xD6\0\x01\0\0\0\0\xD3\x2D", 12));
  for (std::size_t i = 132; i < size; ++i) bytes[i] = static_cast<char>(i * 31);
  return bytes;
}

/// Calls back for each row, to be filled with the samples of the shape.
using FillRow = std::function<void(std::uint32_t y, std::uint8_t* row)>;

inline FillRow quarterRows(std::uint32_t width, std::uint32_t height, int components) {
  return [=](std::uint32_t y, std::uint8_t* row) {
    for (std::uint32_t x = 0; x < width; ++x) {
      const RGB color = quarters(x, y, width, height);
      const int values[] = {color.red, color.green, color.blue, 255};
      for (int i = 0; i < components; ++i) *row++ = static_cast<std::uint8_t>(values[i]);
    }
  };
}

/// Writes a JPEG to an open file.
inline void writeJPEG(std::FILE* file, const JPEGShape& shape, const FillRow& fill) {
  jpeg_compress_struct info{};
  jpeg_error_mgr errors{};
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  jpeg_stdio_dest(&info, file);
  info.image_width = shape.width;
  info.image_height = shape.height;
  info.input_components = shape.components;
  info.in_color_space = shape.components == 1   ? JCS_GRAYSCALE
                        : shape.components == 3 ? JCS_RGB
                                                : JCS_CMYK;
  jpeg_set_defaults(&info);
  jpeg_set_quality(&info, shape.quality, TRUE);
  if (shape.components == 4) jpeg_set_colorspace(&info, JCS_YCCK);
  info.comp_info[0].h_samp_factor = shape.horizontal;
  info.comp_info[0].v_samp_factor = shape.vertical;
  if (shape.progressive) jpeg_simple_progression(&info);
  jpeg_start_compress(&info, TRUE);
  if (shape.orientation != 0) {
    const std::string block = exif(shape.orientation);
    jpeg_write_marker(&info, JPEG_APP0 + 1, reinterpret_cast<const JOCTET*>(block.data()),
                      static_cast<unsigned int>(block.size()));
  }
  jpeg_write_marker(&info, JPEG_COM, reinterpret_cast<const JOCTET*>("a comment"), 9);
  if (!shape.profile.empty())
    jpeg_write_icc_profile(&info, reinterpret_cast<const JOCTET*>(shape.profile.data()),
                           static_cast<unsigned int>(shape.profile.size()));
  std::vector<std::uint8_t> row(std::size_t{shape.width} * 4);
  for (std::uint32_t y = 0; y < shape.height; ++y) {
    fill(y, row.data());
    JSAMPROW pointer = row.data();
    jpeg_write_scanlines(&info, &pointer, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
}

inline std::string inMemory(const std::function<void(std::FILE*)>& write) {
  char* bytes = nullptr;
  std::size_t size = 0;
  std::FILE* file = open_memstream(&bytes, &size);
  write(file);
  std::fclose(file);
  std::string result(bytes, size);
  std::free(bytes);
  return result;
}

inline std::string jpeg(const JPEGShape& shape) {
  return inMemory([&](std::FILE* file) {
    writeJPEG(file, shape, quarterRows(shape.width, shape.height, shape.components));
  });
}

/// What a PNG made for a test is like.
struct PNGShape {
  std::uint32_t width = 64;
  std::uint32_t height = 48;
  int colorType = PNG_COLOR_TYPE_RGB;
  int depth = 8;
  bool interlaced = false;
  std::string profile = {};
  double gamma = 0;     ///< 0: not said
  int orientation = 0;  ///< 0: no Exif
  int level = 6;
  bool exifAtEnd = false;  ///< behind the pixels
};

/// Writes a PNG to an open file. Rows of 16 bits are most significant byte first.
inline void writePNG(std::FILE* file, const PNGShape& shape, const FillRow& fill) {
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
  png_infop info = png_create_info_struct(png);
  png_init_io(png, file);
  png_set_compression_level(png, shape.level);
  png_set_IHDR(png, info, shape.width, shape.height, shape.depth, shape.colorType,
               shape.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE,
               PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  if (shape.colorType == PNG_COLOR_TYPE_PALETTE) {
    png_color palette[4];
    const RGB colors[] = {kTopLeft, kTopRight, kBottomLeft, kBottomRight};
    for (int i = 0; i < 4; ++i)
      palette[i] = {static_cast<png_byte>(colors[i].red), static_cast<png_byte>(colors[i].green),
                    static_cast<png_byte>(colors[i].blue)};
    png_set_PLTE(png, info, palette, 4);
  }
  if (!shape.profile.empty())
    png_set_iCCP(png, info, "p", 0, reinterpret_cast<png_const_bytep>(shape.profile.data()),
                 static_cast<png_uint_32>(shape.profile.size()));
  if (shape.gamma != 0) png_set_gAMA(png, info, shape.gamma);
  std::string block = exif(shape.orientation).substr(6);
  if (shape.orientation != 0 && !shape.exifAtEnd)
    png_set_eXIf_1(png, info, static_cast<png_uint_32>(block.size()),
                   reinterpret_cast<png_bytep>(block.data()));
  png_write_info(png, info);
  std::vector<std::uint8_t> row(png_get_rowbytes(png, info) + 8);
  const int passes = shape.interlaced ? png_set_interlace_handling(png) : 1;
  for (int pass = 0; pass < passes; ++pass) {
    for (std::uint32_t y = 0; y < shape.height; ++y) {
      fill(y, row.data());
      png_write_row(png, row.data());
    }
  }
  if (shape.orientation != 0 && shape.exifAtEnd)
    png_write_chunk(png, reinterpret_cast<png_const_bytep>("eXIf"),
                    reinterpret_cast<png_const_bytep>(block.data()), block.size());
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
}

/// The quarters in any colour type and depth; what is transparent is what the caller says.
inline std::string png(const PNGShape& shape, int alpha = 255) {
  const FillRow fill = [&](std::uint32_t y, std::uint8_t* row) {
    for (std::uint32_t x = 0; x < shape.width; ++x) {
      const RGB color = quarters(x, y, shape.width, shape.height);
      std::vector<int> values = {color.red};
      if (shape.colorType & PNG_COLOR_MASK_COLOR) values = {color.red, color.green, color.blue};
      if (shape.colorType & PNG_COLOR_MASK_ALPHA) values.push_back(alpha);
      if (shape.colorType == PNG_COLOR_TYPE_PALETTE)
        values = {(y < shape.height / 2 ? 0 : 2) + (x < shape.width / 2 ? 0 : 1)};
      for (const int value : values) {
        *row++ = static_cast<std::uint8_t>(value);
        if (shape.depth == 16) *row++ = static_cast<std::uint8_t>(value);
      }
    }
  };
  return inMemory([&](std::FILE* file) { writePNG(file, shape, fill); });
}

/// A decoded JPEG, and what it carries besides pixels.
struct Decoded {
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  int components = 0;
  int horizontal = 0;  ///< sampling factors of the first component
  int vertical = 0;
  std::string profile;
  std::string other;  ///< comments and segments of any other kind
  std::vector<std::uint8_t> samples;

  RGB at(std::uint32_t x, std::uint32_t y) const {
    const std::uint8_t* sample =
        &samples[(std::size_t{y} * width + x) * static_cast<std::size_t>(components)];
    return components == 1 ? RGB{sample[0], sample[0], sample[0]}
                           : RGB{sample[0], sample[1], sample[2]};
  }
};

inline Decoded decodeJPEG(std::string_view bytes) {
  jpeg_decompress_struct info{};
  jpeg_error_mgr errors{};
  info.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, reinterpret_cast<const unsigned char*>(bytes.data()), bytes.size());
  for (int marker = 1; marker < 16; ++marker) jpeg_save_markers(&info, JPEG_APP0 + marker, 0xFFFF);
  jpeg_save_markers(&info, JPEG_COM, 0xFFFF);
  jpeg_read_header(&info, TRUE);
  jpeg_start_decompress(&info);
  Decoded result{info.output_width,
                 info.output_height,
                 info.output_components,
                 info.comp_info[0].h_samp_factor,
                 info.comp_info[0].v_samp_factor,
                 {},
                 {},
                 {}};
  JOCTET* profile = nullptr;
  unsigned int length = 0;
  if (jpeg_read_icc_profile(&info, &profile, &length)) {
    result.profile.assign(reinterpret_cast<char*>(profile), length);
    std::free(profile);
  }
  for (auto marker = info.marker_list; marker != nullptr; marker = marker->next) {
    if (marker->marker != JPEG_APP0 + 2)
      result.other.append(reinterpret_cast<char*>(marker->data), marker->data_length);
  }
  const std::size_t rowBytes =
      std::size_t{result.width} * static_cast<std::size_t>(result.components);
  result.samples.resize(rowBytes * result.height);
  while (info.output_scanline < info.output_height) {
    JSAMPROW row = &result.samples[rowBytes * info.output_scanline];
    jpeg_read_scanlines(&info, &row, 1);
  }
  jpeg_finish_decompress(&info);
  jpeg_destroy_decompress(&info);
  return result;
}

}  // namespace tasklane::pictures
