#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tasklane::utf8 {

/// One character of a text: its code point and its length in bytes. Bytes that are no valid UTF-8
/// (overlong forms, surrogates and values over U+10FFFF among them) come as U+FFFD, one for each
/// maximal part of a sequence, with valid set to false.
struct Character {
  char32_t codePoint;
  std::size_t length;
  bool valid;
};

/// The character at an offset, which must be inside the text.
Character characterAt(std::string_view text, std::size_t offset);

/// The offset of the first byte that is not valid UTF-8, or none.
std::optional<std::size_t> firstInvalid(std::string_view text);

void append(std::string& text, char32_t codePoint);

/// The number of bytes at the start of the text, from an offset on, that are ASCII.
std::size_t asciiRun(std::string_view text, std::size_t offset = 0);

/// UTF-16 without its byte-order mark as UTF-8, or the byte offset of what is not valid UTF-16.
struct Converted {
  std::string text;
  std::optional<std::size_t> invalidAt;
};
enum class ByteOrder { BigEndian, LittleEndian };
Converted fromUTF16(std::string_view bytes, ByteOrder order);

}  // namespace tasklane::utf8
