#pragma once

#include <optional>
#include <string>

#include <libheif/heif.h>

namespace tasklane {

/// What a HEIC or AVIF says by code points of its colours (ISO/IEC 23091-2).
struct CodedColors {
  int primaries = 2;
  int transfer = 2;
  int matrix = 2;
  bool fullRange = true;

  /// Whether its planes are those that a JPEG has, once of full range.
  bool hasMatrixOfJPEG() const { return matrix == 2 || matrix == 5 || matrix == 6; }
};

std::optional<CodedColors> codedColorsOf(const heif_image_handle* handle);
std::optional<CodedColors> codedColorsOf(const heif_image* image);

/// A colour profile (ICC, version 4) that says the same, since a JPEG has no code points. Empty for
/// what everyone assumes of a picture without one. Highlights beyond white are white in it.
std::string colorProfileOf(const CodedColors& colors);

}  // namespace tasklane
