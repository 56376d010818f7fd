#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "foundation/images/decoding/ImageHeader.h"

namespace tasklane {

/// What the boxes of a HEIC or AVIF say of its primary picture (ISO/IEC 23008-12).
struct HEIFPicture {
  /// As stored, with what is to be done to it; a picture of which only a part is to be shown (a
  /// clean aperture) as it is to be seen, since cutting and turning it is left to the library.
  ImageSize size;
  bool librarysTurns = false;
  /// A picture put together of tiles, as cameras make them: row by row, each a picture of its own.
  std::uint32_t rows = 1;
  std::uint32_t columns = 1;
  std::vector<std::uint32_t> tiles;  ///< their items; empty for a picture in one piece
  /// How its samples are stored: 0 gray, 1 4:2:0, 2 4:2:2, 3 4:4:4 (ISO/IEC 23091-2), or none.
  std::optional<int> chromaFormat;
};

std::optional<HEIFPicture> readHEIF(HeaderBytes& bytes);

/// Bytes that stand for those in the file.
struct HEIFPatch {
  std::uint64_t offset;
  std::string bytes;
};
/// What makes an item of a file its primary picture.
std::vector<HEIFPatch> makePrimary(HeaderBytes& bytes, std::uint32_t item);

}  // namespace tasklane
