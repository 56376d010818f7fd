#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

/// The innermost loops of reading and writing XML texts.
namespace tasklane::plist {

/// The ASCII characters that stand in an XML text as they are.
inline constexpr auto plainASCII = [] {
  std::array<bool, 256> table{};
  for (std::size_t c = 0x20; c < 0x80; ++c) table[c] = c != '&' && c != '<' && c != '>';
  table['\t'] = table['\n'] = true;
  return table;
}();

inline bool isPlainASCII(char c) { return plainASCII[static_cast<unsigned char>(c)]; }

std::size_t wideLengthChecked(const char* at, const char* end);

/// The length of the character at a place before the end when it is not ASCII, valid, and XML can
/// carry it, or 0.
inline std::size_t wideLength(const char* at, const char* end) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(at[i]); };
  const auto continues = [&](std::size_t i) { return (byte(i) & 0xC0) == 0x80; };
  const unsigned lead = byte(0);
  // The frequent cases first: two bytes, and three without those that need a closer look.
  if (lead >= 0xC2 && lead <= 0xDF) return end - at >= 2 && continues(1) ? 2 : 0;
  if (lead > 0xE0 && lead < 0xEF && lead != 0xED)
    return end - at >= 3 && continues(1) && continues(2) ? 3 : 0;
  return lead < 0xE0 ? 0 : wideLengthChecked(at, end);
}

#ifdef __SSE2__
/// One bit for each of 16 bytes that is not plain, the lowest for the first byte.
inline unsigned specialAmong16(__m128i block) {
  const auto is = [&](char c) { return _mm_cmpeq_epi8(block, _mm_set1_epi8(c)); };
  // As signed bytes, what is not ASCII lies below the space, too.
  const __m128i low =
      _mm_andnot_si128(_mm_or_si128(is('\n'), is('\t')), _mm_cmplt_epi8(block, _mm_set1_epi8(' ')));
  const __m128i markup = _mm_or_si128(is('&'), _mm_or_si128(is('<'), is('>')));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(low, markup)));
}

inline __m128i load16(const char* bytes) {
  return _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
}

/// As many bytes as there are before an end, sixteen at most; zero bytes after them.
inline __m128i loadUpTo16(const char* from, const char* end) {
  const auto word = [](const char* bytes) {
    std::uint64_t value;
    std::memcpy(&value, bytes, sizeof value);
    return static_cast<long long>(value);
  };
  const auto left = static_cast<std::size_t>(end - from);
  if (left >= 16) return load16(from);
  if (left > 8) {  // two words that overlap
    const auto last = static_cast<std::uint64_t>(word(end - 8)) >> (128 - 8 * left);
    return _mm_set_epi64x(static_cast<long long>(last), word(from));
  }
  std::uint64_t bytes = 0;
  for (const char* byte = end; byte != from;)
    bytes = bytes << 8 | static_cast<unsigned char>(*--byte);
  return _mm_set_epi64x(0, static_cast<long long>(bytes));
}
#endif

/// Copies plain ASCII characters, moving both places past them, up to another character or one of
/// the ends. What follows in the target may be overwritten.
inline void copyPlain(const char*& from, const char* fromEnd, char*& to, const char* toEnd) {
#ifdef __SSE2__
  while (fromEnd - from >= 16 && toEnd - to >= 16) {
    const __m128i block = load16(from);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), block);
    const unsigned special = specialAmong16(block);
    const int count = special ? std::countr_zero(special) : 16;
    from += count;
    to += count;
    if (special) return;
  }
#endif
  while (from != fromEnd && to != toEnd && isPlainASCII(*from)) *to++ = *from++;
}

/// Copies plain characters, also those that are not ASCII, moving both places past them, up to
/// another character or the end. The target has room for all of them and a block more.
inline void copyPlainText(const char*& from, const char* end, char*& to) {
#ifdef __SSE2__
  while (from != end) {
    const __m128i block = loadUpTo16(from, end);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(to), block);
    const std::size_t left = std::min<std::size_t>(16, static_cast<std::size_t>(end - from));
    std::size_t count = left;
    for (unsigned special = specialAmong16(block) & ((1u << left) - 1); special != 0;) {
      const auto place = static_cast<std::size_t>(std::countr_zero(special));
      const std::size_t length = wideLength(from + place, end);
      if (length == 0) {
        from += place;
        to += place;
        return;
      }
      if (place + length > 16) {  // once more, in the next block
        count = place;
        break;
      }
      special &= ~(((1u << length) - 1) << place);
    }
    from += count;
    to += count;
  }
#else
  while (from != end) {
    const std::size_t length = isPlainASCII(*from) ? 1 : wideLength(from, end);
    if (length == 0) return;
    for (std::size_t i = 0; i < length; ++i) *to++ = *from++;
  }
#endif
}

/// The first character that is not plain ASCII, or the end.
inline const char* skipPlain(const char* from, const char* end) {
#ifdef __SSE2__
  for (; end - from >= 16; from += 16)
    if (const unsigned special = specialAmong16(load16(from)))
      return from + std::countr_zero(special);
#endif
  while (from != end && isPlainASCII(*from)) ++from;
  return from;
}

}  // namespace tasklane::plist
