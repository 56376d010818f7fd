#include "foundation/text/NSString+Folding.h"

#include <array>
#include <atomic>
#include <bit>
#include <cstdint>
#include <memory>
#include <mutex>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "foundation/base/UTF8.h"
#include "foundation/text/UnicodeLibrary.h"

namespace tasklane {

namespace {

constexpr std::size_t pageSize = 64, pageCount = 0x110000 / pageSize;
constexpr char separator = '\xFF';

/// Whether a mark only changes its letter, as an accent, a point or a tone does. Marks that are
/// letters themselves stay: the vowel signs and viramas of Indic scripts and their kin, and the
/// voicing of Japanese syllables.
bool isAccent(const UnicodeLibrary& unicode, UChar32 c) {
  const auto type = unicode.u_charType(c);
  if (type == U_ENCLOSING_MARK) return true;
  constexpr unsigned partOfLetter = 0, kanaVoicing = 8;
  const unsigned combiningClass = unicode.u_getCombiningClass(c);
  if (type != U_NON_SPACING_MARK || combiningClass == partOfLetter || combiningClass == kanaVoicing)
    return false;
  switch (unicode.u_getIntPropertyValue(c, UCHAR_INDIC_SYLLABIC_CATEGORY)) {
    case U_INSC_OTHER:
    case U_INSC_NUKTA:
    case U_INSC_TONE_MARK:
    case U_INSC_CANTILLATION_MARK:
      return true;
    default:
      return false;
  }
}

/// The plain letters that people type for a Latin small letter that has no decomposition, or
/// nothing: "o" for "ø", whose name is that of "o" with a stroke.
std::string plainLetters(const UnicodeLibrary& unicode, UChar32 c) {
  constexpr std::pair<UChar32, const char*> named[] = {{U'æ', "ae"}, {U'œ', "oe"}, {U'ð', "d"},
                                                       {U'þ', "th"}, {U'ŋ', "n"},  {U'ı', "i"}};
  for (const auto& [letter, plain] : named)
    if (c == letter) return plain;
  constexpr std::string_view before = "LATIN SMALL LETTER ", after = " WITH ";
  char buffer[128];
  UErrorCode status = U_ZERO_ERROR;
  const int32_t length = unicode.u_charName(c, U_UNICODE_CHAR_NAME, buffer, sizeof buffer, &status);
  std::string_view name(buffer, U_SUCCESS(status) ? static_cast<std::size_t>(length) : 0);
  if (c < 0x80 || !name.starts_with(before)) return {};
  name.remove_prefix(before.size());
  if (!name.substr(std::min<std::size_t>(1, name.size())).starts_with(after)) return {};
  return {static_cast<char>(name[0] - 'A' + 'a')};
}

std::string foldOf(const UnicodeLibrary& unicode, UChar32 c) {
  const std::u16string whole =
      unicodeText([&](UChar* buffer, int32_t capacity, UErrorCode* status) {
        const UNormalizer2* const decomposer = unicode.unorm2_getNFKDInstance(status);
        const int32_t length =
            unicode.unorm2_getDecomposition(decomposer, c, buffer, capacity, status);
        if (length >= 0) return length;
        int32_t own = 0;
        U16_APPEND_UNSAFE(buffer, own, c);
        return own;
      });
  std::u16string base;
  for (std::size_t at = 0, next = 0; at < whole.size(); at = next) {
    UChar32 part;
    U16_NEXT(whole, next, whole.size(), part);
    if (!isAccent(unicode, part) &&
        !unicode.u_hasBinaryProperty(part, UCHAR_DEFAULT_IGNORABLE_CODE_POINT))
      base.append(whole, at, next - at);
  }
  const std::u16string folded = unicodeText([&](UChar* buffer, int32_t capacity,
                                                UErrorCode* status) {
    return unicode.u_strFoldCase(buffer, capacity, base.data(), static_cast<int32_t>(base.size()),
                                 U_FOLD_CASE_DEFAULT, status);
  });
  std::string text;
  for (std::size_t at = 0; at < folded.size();) {
    UChar32 part;
    U16_NEXT(folded, at, folded.size(), part);
    const std::string plain = plainLetters(unicode, part);
    if (plain.empty())
      utf8::append(text, static_cast<char32_t>(part));
    else
      text += plain;
  }
  return text;
}

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
  const UnicodeLibrary* const unicode = UnicodeLibrary::shared();
  for (std::size_t i = 0; i < pageSize; ++i) {
    const auto c = static_cast<char32_t>(first + i);
    if (unicode)
      folds += foldOf(*unicode, static_cast<UChar32>(c));
    else
      utf8::append(folds, c);
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
  const std::size_t before = out.size();
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
  if (out.size() == before) out += text;
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

}  // namespace tasklane
