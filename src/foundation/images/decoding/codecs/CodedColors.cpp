#include "foundation/images/decoding/codecs/CodedColors.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <utility>
#include <vector>

namespace tasklane {

namespace {

using Vector = std::array<double, 3>;
using Matrix = std::array<Vector, 3>;

Vector operator*(const Matrix& m, const Vector& v) {
  Vector result{};
  for (std::size_t i = 0; i < 3; ++i)
    for (std::size_t k = 0; k < 3; ++k) result[i] += m[i][k] * v[k];
  return result;
}

Matrix operator*(const Matrix& a, const Matrix& b) {
  Matrix result{};
  for (std::size_t i = 0; i < 3; ++i)
    for (std::size_t j = 0; j < 3; ++j)
      for (std::size_t k = 0; k < 3; ++k) result[i][j] += a[i][k] * b[k][j];
  return result;
}

Matrix inverse(const Matrix& m) {
  Matrix result{};
  const auto cofactor = [&m](std::size_t i, std::size_t j) {
    const std::size_t a = (i + 1) % 3, b = (i + 2) % 3, c = (j + 1) % 3, d = (j + 2) % 3;
    return m[a][c] * m[b][d] - m[a][d] * m[b][c];
  };
  const double determinant =
      m[0][0] * cofactor(0, 0) + m[0][1] * cofactor(0, 1) + m[0][2] * cofactor(0, 2);
  for (std::size_t i = 0; i < 3; ++i)
    for (std::size_t j = 0; j < 3; ++j) result[j][i] = cofactor(i, j) / determinant;
  return result;
}

Vector colorAt(double x, double y) { return {x / y, 1, (1 - x - y) / y}; }

/// Chromaticities of red, green, blue and white.
struct Primaries {
  double red[2], green[2], blue[2], white[2];
};

Primaries primariesOf(int code) {
  constexpr double kD65x = 0.3127, kD65y = 0.3290;
  switch (code) {
    case 4:
      return {{0.67, 0.33}, {0.21, 0.71}, {0.14, 0.08}, {0.310, 0.316}};
    case 5:
      return {{0.64, 0.33}, {0.29, 0.60}, {0.15, 0.06}, {kD65x, kD65y}};
    case 6:
    case 7:
      return {{0.630, 0.340}, {0.310, 0.595}, {0.155, 0.070}, {kD65x, kD65y}};
    case 9:
      return {{0.708, 0.292}, {0.170, 0.797}, {0.131, 0.046}, {kD65x, kD65y}};
    case 11:
      return {{0.680, 0.320}, {0.265, 0.690}, {0.150, 0.060}, {0.314, 0.351}};
    case 12:
      return {{0.680, 0.320}, {0.265, 0.690}, {0.150, 0.060}, {kD65x, kD65y}};
    default:
      return {{0.640, 0.330}, {0.300, 0.600}, {0.150, 0.060}, {kD65x, kD65y}};
  }
}

/// The light that a value stands for, both 0 to 1.
double lightOf(int transfer, double value) {
  switch (transfer) {
    case 1:
    case 6:
    case 14:
    case 15:
      return value < 0.081 ? value / 4.5 : std::pow((value + 0.099) / 1.099, 1 / 0.45);
    case 4:
      return std::pow(value, 2.2);
    case 5:
      return std::pow(value, 2.8);
    case 8:
      return value;
    case 16: {
      // White is 203 of the 10,000 candelas that the scale ends with.
      const double root = std::pow(value, 32.0 / 2523);
      const double light =
          std::pow(std::max(root - 3424.0 / 4096, 0.0) / (2413.0 / 128 - 2392.0 / 128 * root),
                   16384.0 / 2610);
      return light * 10000 / 203;
    }
    case 18: {
      constexpr double kA = 0.17883277, kB = 0.28466892, kC = 0.55991073, kWhite = 0.265;
      const double light =
          value <= 0.5 ? value * value / 3 : (std::exp((value - kC) / kA) + kB) / 12;
      return light / kWhite;
    }
    default:
      return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
  }
}

std::string bigEndian(std::uint32_t value, int bytes) {
  std::string text;
  for (int i = bytes; i-- > 0;) text += static_cast<char>(value >> (8 * i));
  return text;
}

std::string fixedPoint(double value) {
  return bigEndian(static_cast<std::uint32_t>(std::lround(value * 65536)), 4);
}

std::string colorTag(const Vector& color) {
  std::string tag = "XYZ " + bigEndian(0, 4);
  for (const double part : color) tag += fixedPoint(part);
  return tag;
}

std::string textTag(std::string_view text) {
  std::string tag = "mluc" + bigEndian(0, 4) + bigEndian(1, 4) + bigEndian(12, 4) + "enUS" +
                    bigEndian(static_cast<std::uint32_t>(text.size() * 2), 4) + bigEndian(28, 4);
  for (const char c : text) tag += {'\0', c};
  tag.resize((tag.size() + 3) / 4 * 4);
  return tag;
}

std::string curveTag(int transfer) {
  constexpr std::uint32_t kSteps = 1024;
  std::string tag = "curv" + bigEndian(0, 4) + bigEndian(kSteps, 4);
  for (std::uint32_t i = 0; i < kSteps; ++i) {
    const double light = std::clamp(lightOf(transfer, i / (kSteps - 1.0)), 0.0, 1.0);
    tag += bigEndian(static_cast<std::uint32_t>(std::lround(light * 65535)), 2);
  }
  return tag;
}

/// From one white to that of profiles (D50), by Bradford's cones.
const Vector kProfileWhite{0.9642, 1, 0.8249};
Matrix adaptationFrom(const Vector& white) {
  constexpr Matrix kCones{
      {{0.8951, 0.2664, -0.1614}, {-0.7502, 1.7135, 0.0367}, {0.0389, -0.0685, 1.0296}}};
  const Vector from = kCones * white, to = kCones * kProfileWhite;
  Matrix scaled = kCones;
  for (std::size_t i = 0; i < 3; ++i)
    for (double& cell : scaled[i]) cell *= to[i] / from[i];
  return inverse(kCones) * scaled;
}

/// From red, green and blue light to the light that one sees, before any adaptation.
Matrix seenLight(const Primaries& places, const Vector& white) {
  Matrix matrix{};
  const double* corners[] = {places.red, places.green, places.blue};
  for (std::size_t i = 0; i < 3; ++i)
    for (std::size_t k = 0; k < 3; ++k) matrix[k][i] = colorAt(corners[i][0], corners[i][1])[k];
  const Vector shares = inverse(matrix) * white;
  for (Vector& row : matrix)
    for (std::size_t i = 0; i < 3; ++i) row[i] *= shares[i];
  return matrix;
}

using Tag = std::pair<const char*, std::string>;

/// The profile's file: its header, the list of its tags, and their contents.
std::string profileOf(const std::vector<Tag>& tags) {
  std::string list = bigEndian(static_cast<std::uint32_t>(tags.size() + 2), 4), contents;
  const std::size_t start = 128 + 4 + (tags.size() + 2) * 12;
  const auto entry = [&](const char* name, std::size_t offset, std::size_t size) {
    list += name + bigEndian(static_cast<std::uint32_t>(offset), 4) +
            bigEndian(static_cast<std::uint32_t>(size), 4);
  };
  for (const auto& [name, tag] : tags) {
    entry(name, start + contents.size(), tag.size());
    contents += tag;
  }
  // All three share one curve, the last of the tags.
  const std::size_t curve = tags.back().second.size();
  for (const char* name : {"gTRC", "bTRC"}) entry(name, start + contents.size() - curve, curve);
  std::string header = bigEndian(static_cast<std::uint32_t>(start + contents.size()), 4) +
                       bigEndian(0, 4) + bigEndian(0x04300000, 4) + "mntrRGB XYZ ";
  header.resize(36);
  header += "acsp";
  header.resize(68);
  for (const double part : kProfileWhite) header += fixedPoint(part);
  header.resize(128);
  return header + list + contents;
}

std::optional<CodedColors> colorsOf(heif_color_profile_nclx* nclx, const heif_error& error) {
  if (error.code != heif_error_Ok || nclx == nullptr) return std::nullopt;
  const CodedColors colors{static_cast<int>(nclx->color_primaries),
                           static_cast<int>(nclx->transfer_characteristics),
                           static_cast<int>(nclx->matrix_coefficients), nclx->full_range_flag != 0};
  heif_nclx_color_profile_free(nclx);
  return colors;
}

}  // namespace

std::optional<CodedColors> codedColorsOf(const heif_image_handle* handle) {
  heif_color_profile_nclx* nclx = nullptr;
  const heif_error error = heif_image_handle_get_nclx_color_profile(handle, &nclx);
  return colorsOf(nclx, error);
}

std::optional<CodedColors> codedColorsOf(const heif_image* image) {
  heif_color_profile_nclx* nclx = nullptr;
  const heif_error error = heif_image_get_nclx_color_profile(image, &nclx);
  return colorsOf(nclx, error);
}

std::string colorProfileOf(const CodedColors& colors) {
  constexpr int kUnusual[] = {4, 5, 8, 16, 18};
  const bool usual =
      std::find(std::begin(kUnusual), std::end(kUnusual), colors.transfer) == std::end(kUnusual);
  if ((colors.primaries == 1 || colors.primaries == 2) && usual) return {};
  const Primaries places = primariesOf(colors.primaries);
  const Vector white = colorAt(places.white[0], places.white[1]);
  const Matrix adaptation = adaptationFrom(white);
  const Matrix matrix = adaptation * seenLight(places, white);

  std::string adapted = "sf32" + bigEndian(0, 4);
  for (const Vector& row : adaptation)
    for (const double cell : row) adapted += fixedPoint(cell);
  const auto column = [&matrix](std::size_t i) {
    return colorTag({matrix[0][i], matrix[1][i], matrix[2][i]});
  };
  return profileOf({{"desc", textTag("Colours of the picture")},
                    {"cprt", textTag("None")},
                    {"wtpt", colorTag(kProfileWhite)},
                    {"chad", adapted},
                    {"rXYZ", column(0)},
                    {"gXYZ", column(1)},
                    {"bXYZ", column(2)},
                    {"rTRC", curveTag(colors.transfer)}});
}

}  // namespace tasklane
