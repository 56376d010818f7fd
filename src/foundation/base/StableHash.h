#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace tasklane {

/// A number for a text that every program computes alike (FNV-1a, 64 bits), for names of files that
/// processes must agree on. Not for defence against a chosen collision.
constexpr std::uint64_t stableHash(std::string_view text) {
  std::uint64_t hash = 0xCBF29CE484222325u;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3u;
  return hash;
}

/// The hash as 16 hexadecimal digits.
inline std::string stableHashText(std::string_view text) {
  char digits[17];
  std::snprintf(digits, sizeof digits, "%016llx",
                static_cast<unsigned long long>(stableHash(text)));
  return digits;
}

}  // namespace tasklane
