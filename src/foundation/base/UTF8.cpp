#include "foundation/base/UTF8.h"

#include <cstring>

namespace tasklane::utf8 {

namespace {

constexpr std::uint64_t highBits = 0x8080808080808080;

/// What the first byte of a sequence says: its length, its own bits, and the range of the second
/// byte, which is where overlong forms, surrogates and values too large are told apart.
struct Lead {
  std::size_t length;
  unsigned bits;
  unsigned char secondFrom, secondTo;
};

Lead leadOf(unsigned char byte) {
  if (byte >= 0xC2 && byte <= 0xDF) return {2, byte & 0x1Fu, 0x80, 0xBF};
  if (byte == 0xE0) return {3, 0, 0xA0, 0xBF};
  if (byte == 0xED) return {3, 0xD, 0x80, 0x9F};
  if (byte >= 0xE1 && byte <= 0xEF) return {3, byte & 0x0Fu, 0x80, 0xBF};
  if (byte == 0xF0) return {4, 0, 0x90, 0xBF};
  if (byte == 0xF4) return {4, 4, 0x80, 0x8F};
  if (byte >= 0xF1 && byte <= 0xF3) return {4, byte & 0x07u, 0x80, 0xBF};
  return {0, 0, 0, 0};
}

}  // namespace

Character characterAt(std::string_view text, std::size_t offset) {
  const auto byte = [&](std::size_t at) { return static_cast<unsigned char>(text[at]); };
  if (byte(offset) < 0x80) return {byte(offset), 1, true};

  const Lead lead = leadOf(byte(offset));
  if (lead.length == 0) return {U'\uFFFD', 1, false};
  char32_t codePoint = lead.bits;
  for (std::size_t i = 1; i < lead.length; ++i) {
    const unsigned char from = i == 1 ? lead.secondFrom : 0x80, to = i == 1 ? lead.secondTo : 0xBF;
    if (offset + i >= text.size() || byte(offset + i) < from || byte(offset + i) > to)
      return {U'\uFFFD', i, false};
    codePoint = codePoint << 6 | (byte(offset + i) & 0x3F);
  }
  return {codePoint, lead.length, true};
}

std::size_t asciiRun(std::string_view text, std::size_t offset) {
  std::size_t at = offset;
  for (; at + 8 <= text.size(); at += 8) {
    std::uint64_t word;
    std::memcpy(&word, text.data() + at, 8);
    if (word & highBits) break;
  }
  while (at < text.size() && static_cast<unsigned char>(text[at]) < 0x80) ++at;
  return at - offset;
}

std::optional<std::size_t> firstInvalid(std::string_view text) {
  std::size_t at = 0;
  while ((at += asciiRun(text, at)) < text.size()) {
    const Character character = characterAt(text, at);
    if (!character.valid) return at;
    at += character.length;
  }
  return std::nullopt;
}

void append(std::string& text, char32_t c) {
  const auto add = [&](char32_t byte) { text += static_cast<char>(byte); };
  if (c < 0x80) {
    add(c);
  } else if (c < 0x800) {
    add(0xC0 | c >> 6);
    add(0x80 | (c & 0x3F));
  } else if (c < 0x10000) {
    add(0xE0 | c >> 12);
    add(0x80 | (c >> 6 & 0x3F));
    add(0x80 | (c & 0x3F));
  } else {
    add(0xF0 | c >> 18);
    add(0x80 | (c >> 12 & 0x3F));
    add(0x80 | (c >> 6 & 0x3F));
    add(0x80 | (c & 0x3F));
  }
}

Converted fromUTF16(std::string_view bytes, ByteOrder order) {
  Converted converted;
  converted.text.reserve(bytes.size());
  const auto unitAt = [&](std::size_t at) -> char32_t {
    const auto first = static_cast<unsigned char>(bytes[at]);
    const auto second = static_cast<unsigned char>(bytes[at + 1]);
    return order == ByteOrder::BigEndian ? first << 8 | second : second << 8 | first;
  };
  std::size_t at = 0;
  for (; at + 2 <= bytes.size(); at += 2) {
    char32_t c = unitAt(at);
    if (c >= 0xD800 && c <= 0xDFFF) {
      const char32_t low = at + 4 <= bytes.size() ? unitAt(at + 2) : 0;
      if (c >= 0xDC00 || low < 0xDC00 || low > 0xDFFF) {
        converted.invalidAt = at;
        return converted;
      }
      c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
      at += 2;
    }
    append(converted.text, c);
  }
  if (at != bytes.size()) converted.invalidAt = at;
  return converted;
}

}  // namespace tasklane::utf8
