#include "foundation/property-lists/PropertyListSyntax.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <limits>

#include "foundation/base/UTF8.h"
#include "foundation/property-lists/internal/PropertyListScan.h"

namespace tasklane::plist {

namespace {

/// The offset of the first byte that is not plain ASCII, or the text's end.
std::size_t endOfASCII(std::string_view text, std::size_t at) {
#ifdef __SSE2__
  if (at < text.size() && text.size() >= 16) {
    for (; at + 16 <= text.size(); at += 16)
      if (const unsigned special = specialAmong16(load16(text.data() + at)))
        return at + static_cast<std::size_t>(std::countr_zero(special));
    // What is left over, together with some bytes before it.
    const std::size_t last = text.size() - 16;
    const unsigned special = specialAmong16(load16(text.data() + last)) >> (at - last);
    return special ? at + static_cast<std::size_t>(std::countr_zero(special)) : text.size();
  }
#endif
  while (at < text.size() && isPlainASCII(text[at])) ++at;
  return at;
}

}  // namespace

std::size_t wideLengthChecked(const char* at, const char* end) {
  const utf8::Character character = utf8::characterAt({at, static_cast<std::size_t>(end - at)}, 0);
  const bool wide = static_cast<unsigned char>(*at) >= 0x80;
  return wide && character.valid && isXMLCharacter(character.codePoint) ? character.length : 0;
}

std::size_t plainRun(std::string_view text, std::size_t offset) {
  for (std::size_t at = offset;;) {
    at = endOfASCII(text, at);
    if (at == text.size() || static_cast<unsigned char>(text[at]) < 0x80) return at - offset;
    while (at < text.size() && static_cast<unsigned char>(text[at]) >= 0x80) {
      const std::size_t length = wideLength(text.data() + at, text.data() + text.size());
      if (length == 0) return at - offset;
      at += length;
    }
  }
}

bool isXMLCharacter(char32_t c) {
  return c == '\t' || c == '\n' || c == '\r' || (c >= 0x20 && c < 0xD800) ||
         (c > 0xDFFF && c < 0xFFFE) || (c > 0xFFFF && c <= 0x10FFFF);
}

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  while (!text.empty() && isSpace(text.back())) text.remove_suffix(1);
  return text;
}

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

namespace {

/// Takes a sign off the front; whether it was a minus.
bool takeSign(std::string_view& text) {
  if (text.empty() || (text[0] != '-' && text[0] != '+')) return false;
  const bool negative = text[0] == '-';
  text.remove_prefix(1);
  return negative;
}

/// The whole text as digits of a base, without any sign.
std::optional<std::uint64_t> digits(std::string_view text, int base) {
  std::uint64_t value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, fault] = std::from_chars(text.data(), end, value, base);
  if (text.empty() || fault != std::errc() || stop != end) return std::nullopt;
  return value;
}

/// The whole text as a number without a sign; one that is too large is infinite, one too small 0.
std::optional<double> nearestReal(std::string_view text, std::chars_format format) {
  double value = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, fault] = std::from_chars(text.data(), end, value, format);
  if (fault == std::errc::invalid_argument || stop != end) return std::nullopt;
  if (fault == std::errc()) return value;
  const bool tiny = text.find("e-") != text.npos || text.find("E-") != text.npos ||
                    text.starts_with("0.") || text.starts_with('.');
  return tiny ? 0 : std::numeric_limits<double>::infinity();
}

}  // namespace

std::optional<PropertyList> integerFromText(std::string_view text) {
  text = trimmed(text);
  const bool negative = takeSign(text);
  const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
  if (hexadecimal) text.remove_prefix(2);
  const auto isDigit = [&](char c) {
    return hexadecimal ? hexDigit(c) >= 0 : c >= '0' && c <= '9';
  };
  if (text.empty() || !std::all_of(text.begin(), text.end(), isDigit)) return std::nullopt;
  const auto magnitude = digits(text, hexadecimal ? 16 : 10);
  constexpr std::uint64_t smallest = std::uint64_t{1} << 63;
  if (!magnitude || (negative && *magnitude > smallest)) {
    const auto format = hexadecimal ? std::chars_format::hex : std::chars_format::general;
    const double real = nearestReal(text, format).value_or(0);
    return PropertyList(negative ? -real : real);
  }
  if (!negative || *magnitude == 0) return PropertyList(*magnitude);
  return PropertyList(static_cast<std::int64_t>(0 - *magnitude));
}

std::optional<double> realFromText(std::string_view text) {
  text = trimmed(text);
  const bool negative = takeSign(text);
  if (text.empty() || text[0] == '-' || text.back() == ')') return std::nullopt;
  const auto value = nearestReal(text, std::chars_format::general);
  return value && negative ? -*value : value;
}

namespace {

// Days of the proleptic Gregorian calendar as numbers from 1970-01-01, by eras of 400 years.
constexpr std::int64_t daysPerEra = 146097, daysToEpoch = 719468;

std::int64_t dayNumber(std::int64_t year, int month, int day) {
  year -= month <= 2;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t yearOfEra = year - era * 400;
  const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  return era * daysPerEra + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear -
         daysToEpoch;
}

struct Day {
  std::int64_t year;
  int month, day;
};

Day dayOfNumber(std::int64_t number) {
  number += daysToEpoch;
  const std::int64_t era = (number >= 0 ? number : number - daysPerEra + 1) / daysPerEra;
  const std::int64_t dayOfEra = number - era * daysPerEra;
  const std::int64_t yearOfEra =
      (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const auto dayOfYear =
      static_cast<int>(dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100));
  const int shifted = (5 * dayOfYear + 2) / 153;
  const int month = shifted + (shifted < 10 ? 3 : -9);
  return {yearOfEra + era * 400 + (month <= 2), month, dayOfYear - (153 * shifted + 2) / 5 + 1};
}

bool isLeapYear(std::int64_t year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

int daysInMonth(std::int64_t year, int month) {
  constexpr std::array<int, 12> days{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  return month == 2 && isLeapYear(year) ? 29 : days[static_cast<std::size_t>(month - 1)];
}

/// The latest year that is written and read: more than a double tells to the second.
constexpr std::int64_t lastYear = 99'999'999;

}  // namespace

std::optional<NSDate> dateFromText(std::string_view text) {
  text = trimmed(text);
  const bool beforeChrist = text.starts_with('-');
  if (beforeChrist) text.remove_prefix(1);
  constexpr std::string_view rest = "-00-00T00:00:00Z";
  if (text.size() < 4 + rest.size()) return std::nullopt;
  const std::string_view yearText = text.substr(0, text.size() - rest.size());
  const auto yearDigits = digits(yearText, 10);
  if (!yearDigits || *yearDigits > lastYear) return std::nullopt;
  text.remove_prefix(yearText.size());
  for (std::size_t i = 0; i < rest.size(); ++i)
    if (rest[i] == '0' ? text[i] < '0' || text[i] > '9' : text[i] != rest[i]) return std::nullopt;

  const auto two = [&](std::size_t at) { return (text[at] - '0') * 10 + (text[at + 1] - '0'); };
  const std::int64_t year = beforeChrist ? -static_cast<std::int64_t>(*yearDigits)
                                         : static_cast<std::int64_t>(*yearDigits);
  const int month = two(1), day = two(4), hour = two(7), minute = two(10), second = two(13);
  if (month < 1 || month > 12 || day < 1 || day > daysInMonth(year, month) || hour > 23 ||
      minute > 59 || second > 59)
    return std::nullopt;
  const std::int64_t seconds =
      dayNumber(year, month, day) * 86400 + hour * 3600 + minute * 60 + second;
  return NSDate(NSTimeInterval(static_cast<double>(seconds)));
}

std::optional<PropertyList::Data> dataFromBase64(std::string_view text) {
  static constexpr auto values = [] {
    std::array<signed char, 256> table{};
    table.fill(-1);
    const std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (std::size_t i = 0; i < alphabet.size(); ++i)
      table[static_cast<unsigned char>(alphabet[i])] = static_cast<signed char>(i);
    return table;
  }();
  PropertyList::Data data;
  data.reserve(text.size() / 4 * 3);
  std::uint32_t group = 0;
  int inGroup = 0, padding = 0;
  for (const char c : text) {
    if (isSpace(c)) continue;
    const int value = values[static_cast<unsigned char>(c)];
    if (c == '=')
      ++padding;
    else if (value < 0 || padding > 0)
      return std::nullopt;
    group = group << 6 | static_cast<std::uint32_t>(c == '=' ? 0 : value);
    if (++inGroup < 4) continue;
    if (padding > 2) return std::nullopt;
    for (int i = 0; i < 3 - padding; ++i)
      data.push_back(static_cast<std::byte>(group >> (16 - 8 * i) & 0xFF));
    group = 0;
    inGroup = 0;
    if (padding > 0) padding = 3;  // nothing may follow: one more group would have too much of it
  }
  if (inGroup != 0) return std::nullopt;
  return data;
}

void appendInteger(std::string& out, const PropertyList& integer) {
  char text[24];
  const auto small = integer.int64();
  const auto end = small ? std::to_chars(text, text + sizeof text, *small)
                         : std::to_chars(text, text + sizeof text, *integer.uint64());
  out.append(text, end.ptr);
}

void appendReal(std::string& out, double real) {
  if (std::isnan(real)) {
    out += "nan";
    return;
  }
  char text[32];
  out.append(text, std::to_chars(text, text + sizeof text, real).ptr);
}

namespace {

void appendPadded(std::string& out, std::int64_t number, std::size_t width) {
  char text[24];
  const char* const end = std::to_chars(text, text + sizeof text, number).ptr;
  const auto length = static_cast<std::size_t>(end - text);
  if (length < width) out.append(width - length, '0');
  out.append(text, length);
}

}  // namespace

void appendDate(std::string& out, NSDate date) {
  double time = date.time_since_epoch().count();
  if (std::isnan(time)) time = 0;
  // Whatever cannot be a date is written as the nearest that can.
  constexpr double limit = 365.2425 * 86400 * static_cast<double>(lastYear - 3000);
  const auto seconds = static_cast<std::int64_t>(std::floor(std::clamp(time, -limit, limit)));
  std::int64_t number = seconds / 86400, second = seconds % 86400;
  if (second < 0) second += 86400, --number;
  const Day day = dayOfNumber(number);
  if (day.year < 0) out += '-';
  appendPadded(out, std::abs(day.year), 4);
  const auto field = [&](char before, std::int64_t value) {
    out += before;
    appendPadded(out, value, 2);
  };
  field('-', day.month);
  field('-', day.day);
  field('T', second / 3600);
  field(':', second / 60 % 60);
  field(':', second % 60);
  out += 'Z';
}

void appendBase64(std::string& out, std::span<const std::byte> data) {
  constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (std::size_t at = 0; at < data.size(); at += 3) {
    const auto byte = [&](std::size_t i) {
      return at + i < data.size() ? std::to_integer<std::uint32_t>(data[at + i]) : 0u;
    };
    const std::uint32_t group = byte(0) << 16 | byte(1) << 8 | byte(2);
    for (std::size_t i = 0; i < 4; ++i)
      out += i > data.size() - at ? '=' : alphabet[group >> (18 - 6 * i) & 0x3F];
  }
}

void appendBase64Lines(std::string& out, std::span<const std::byte> data, std::string_view prefix,
                       std::size_t lineLength) {
  const std::size_t bytesPerLine = lineLength / 4 * 3;
  for (std::size_t at = 0; at < data.size(); at += bytesPerLine) {
    out += prefix;
    appendBase64(out, data.subspan(at, std::min(bytesPerLine, data.size() - at)));
    out += '\n';
  }
}

NSError errorAt(std::string_view document, std::size_t offset, const std::string& what) {
  const std::string_view before = document.substr(0, offset);
  const auto line = 1 + std::count(before.begin(), before.end(), '\n');
  const auto lineStart = before.rfind('\n') == before.npos ? 0 : before.rfind('\n') + 1;
  std::size_t column = 1;
  for (std::size_t at = lineStart; at < before.size(); at += utf8::characterAt(before, at).length)
    ++column;
  return {NSError::Kind::Corrupt,
          "line " + std::to_string(line) + ", column " + std::to_string(column) + ": " + what};
}

}  // namespace tasklane::plist
