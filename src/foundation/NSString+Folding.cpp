#include "foundation/NSString+Folding.h"

#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <memory>
#include <mutex>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "foundation/UTF8.h"

namespace tasklane {

namespace {

constexpr std::size_t pageSize = 64, pageCount = 0x110000 / pageSize;
constexpr char separator = '\xFF';

/// The folds of 64 neighbouring characters. The character library is asked once for each; it takes
/// ten times as long as a look into the page.
struct FoldPage {
  explicit FoldPage(char32_t first);
  std::string_view fold(std::size_t i) const {
    return std::string_view(folds).substr(starts[i], starts[i + 1] - starts[i]);
  }

  std::string folds;
  std::array<std::uint16_t, pageSize + 1> starts{};
};

FoldPage::FoldPage(char32_t first) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* const decomposer = icu::Normalizer2::getNFKDInstance(status);
  for (std::size_t i = 0; i < pageSize; ++i) {
    const auto c = static_cast<UChar32>(first + i);
    icu::UnicodeString decomposition(c);
    if (decomposer) decomposer->getDecomposition(c, decomposition);
    icu::UnicodeString base;
    for (int32_t at = 0; at < decomposition.length(); at = decomposition.moveIndex32(at, 1)) {
      const UChar32 part = decomposition.char32At(at);
      if (!(U_GET_GC_MASK(part) & U_GC_M_MASK)) base.append(part);
    }
    base.foldCase().toUTF8String(folds);
    starts[i + 1] = static_cast<std::uint16_t>(folds.size());
  }
}

/// The page of a character, made when it is first asked for and kept for good.
const FoldPage& pageOf(char32_t c) {
  static std::array<std::atomic<const FoldPage*>, pageCount> pages;
  static std::mutex making;
  std::atomic<const FoldPage*>& page = pages[c / pageSize];
  if (const FoldPage* const made = page.load(std::memory_order_acquire)) return *made;
  const std::lock_guard lock(making);
  if (!page.load(std::memory_order_relaxed))
    page.store(std::make_unique<const FoldPage>(c / pageSize * pageSize).release(),
               std::memory_order_release);
  return *page.load(std::memory_order_relaxed);
}

void appendFolded(std::string& out, std::string_view text) {
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t ascii = utf8::asciiRun(text, at);
    for (const char c : text.substr(at, ascii))
      out += c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
    at += ascii;
    if (at == text.size()) break;
    const utf8::Character character = utf8::characterAt(text, at);
    out += pageOf(character.codePoint).fold(character.codePoint % pageSize);
    at += character.length;
  }
}

/// The offset of a text in another, from an offset on, or npos. Unlike the standard library's
/// search it looks for the first and the last byte together, 16 places at a time, so that neither a
/// frequent first letter nor many hits slow it down.
std::size_t find(std::string_view text, std::string_view wanted, std::size_t at) {
#ifdef __SSE2__
  const std::size_t lastByte = wanted.size() - 1;
  const __m128i first = _mm_set1_epi8(wanted.front()), last = _mm_set1_epi8(wanted.back());
  for (; at + lastByte + 16 <= text.size(); at += 16) {
    const auto load = [&](std::size_t offset) {
      return _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + offset));
    };
    const __m128i both =
        _mm_and_si128(_mm_cmpeq_epi8(load(at), first), _mm_cmpeq_epi8(load(at + lastByte), last));
    for (auto mask = static_cast<unsigned>(_mm_movemask_epi8(both)); mask; mask &= mask - 1) {
      const std::size_t place = at + static_cast<std::size_t>(std::countr_zero(mask));
      if (text.substr(place, wanted.size()) == wanted) return place;
    }
  }
#endif
  return text.find(wanted, at);
}

}  // namespace

std::string stringByFolding(std::string_view text) {
  std::string folded;
  folded.reserve(text.size());
  appendFolded(folded, text);
  return folded;
}

FoldedTitles::FoldedTitles(const std::vector<std::optional<std::string_view>>& titles)
    : count_(titles.size()) {
  titles_.reserve(titles.size());
  for (std::size_t i = 0; i < titles.size(); ++i) {
    if (!titles[i]) continue;
    appendFolded(folded_, *titles[i]);
    folded_ += separator;
    titles_.push_back({i, folded_.size()});
  }
}

std::vector<std::size_t> FoldedTitles::indicesContaining(std::string_view text) const {
  const std::string wanted = stringByFolding(text);
  std::vector<std::size_t> indices;
  if (wanted.empty()) {
    for (const Title& title : titles_) indices.push_back(title.index);
    return indices;
  }
  auto title = titles_.begin();
  for (std::size_t at = 0; (at = find(folded_, wanted, at)) != std::string::npos;) {
    while (title->end <= at) ++title;
    indices.push_back(title->index);
    at = title->end;
  }
  return indices;
}

namespace {

/// The length of the line terminator at an offset, or 0.
std::size_t terminatorAt(std::string_view text, std::size_t at) {
  const std::string_view rest = text.substr(at);
  if (rest.starts_with("\r\n")) return 2;
  if (rest.starts_with('\n') || rest.starts_with('\r')) return 1;
  if (rest.starts_with("\u0085")) return 2;
  if (rest.starts_with("\u2028") || rest.starts_with("\u2029")) return 3;
  return 0;
}

}  // namespace

std::pair<std::size_t, std::size_t> lineRangeForRange(std::string_view text, std::size_t start,
                                                      std::size_t length) {
  // The line that ends last before or at `start`, and the end of the line of the last byte.
  const std::size_t last = length > 0 ? start + length - 1 : start;
  std::size_t lineStart = 0, lineEnd = 0;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t terminator = terminatorAt(text, at);
    at += terminator ? terminator : 1;
    lineEnd = at;
    if (terminator == 0) continue;
    if (at <= start) lineStart = at;
    if (at > last) return {lineStart, at - lineStart};
  }
  return {lineStart, std::max(lineEnd, lineStart) - lineStart};
}

std::size_t UTF16Length(std::string_view text) {
  std::size_t length = 0;
  for (std::size_t at = 0; at < text.size();) {
    const utf8::Character character = utf8::characterAt(text, at);
    length += character.codePoint > 0xFFFF ? 2 : 1;
    at += character.length;
  }
  return length;
}

}  // namespace tasklane
