#include "foundation/dates/NSDateFormatter.h"

#include <array>
#include <cctype>
#include <chrono>
#include <string_view>

#include "foundation/dates/internal/LocalTime.h"

namespace tasklane {

namespace {

using std::chrono::days, std::chrono::hours, std::chrono::minutes, std::chrono::seconds;

constexpr std::array<std::string_view, 7> fieldNames{"yyyy", "MM", "dd", "HH", "mm", "ss", "ZZZ"};

bool isDigit(char c) { return c >= '0' && c <= '9'; }

void appendNumber(std::string& out, int number, std::size_t width) {
  const std::string digits = std::to_string(number);
  out.append(width - digits.size(), '0').append(digits);
}

/// Takes a number of exactly that many digits off the front.
std::optional<int> takeNumber(std::string_view& text, std::size_t width) {
  if (text.size() < width) return std::nullopt;
  int number = 0;
  for (const char c : text.substr(0, width)) {
    if (!isDigit(c)) return std::nullopt;
    number = number * 10 + (c - '0');
  }
  text.remove_prefix(width);
  return number;
}

/// Takes "-0730" off the front; minutes.
std::optional<int> takeOffset(std::string_view& text) {
  if (text.empty() || (text[0] != '+' && text[0] != '-')) return std::nullopt;
  const int sign = text[0] == '-' ? -1 : 1;
  text.remove_prefix(1);
  const auto digits = takeNumber(text, 4);
  if (!digits || *digits % 100 > 59 || *digits > 2459) return std::nullopt;
  return sign * (*digits / 100 * 60 + *digits % 100);
}

}  // namespace

NSDateFormatter::Piece NSDateFormatter::takePiece(std::string_view& pattern) {
  for (std::size_t i = 0; i < fieldNames.size(); ++i) {
    if (!pattern.starts_with(fieldNames[i])) continue;
    pattern.remove_prefix(fieldNames[i].size());
    return {static_cast<Field>(i), '\0'};
  }
  const char literal = pattern.front();
  pattern.remove_prefix(1);
  return {Field::Literal, literal};
}

void NSDateFormatter::setDateFormat(const std::string& pattern) {
  pattern_ = pattern;
  pieces_.clear();
  for (std::string_view rest = pattern; !rest.empty();) {
    pieces_.push_back(takePiece(rest));
    if (std::isalpha(static_cast<unsigned char>(pieces_.back().literal)) == 0) continue;
    pieces_.clear();
    return;
  }
}

std::string NSDateFormatter::stringFromDate(NSDate date) const {
  const auto local = localTime(date);
  if (!local || local->tm_year < -1900 || local->tm_year > 9999 - 1900) return {};
  const auto offset = static_cast<int>(local->tm_gmtoff / 60);
  const auto moment = std::chrono::floor<seconds>(date) + minutes(offset);
  const auto day = std::chrono::floor<days>(moment);
  const std::chrono::year_month_day ymd(day);
  const std::chrono::hh_mm_ss time(moment - day);

  const std::array<int, 6> numbers{static_cast<int>(ymd.year()),
                                   static_cast<int>(static_cast<unsigned>(ymd.month())),
                                   static_cast<int>(static_cast<unsigned>(ymd.day())),
                                   static_cast<int>(time.hours().count()),
                                   static_cast<int>(time.minutes().count()),
                                   static_cast<int>(time.seconds().count())};
  std::string text;
  for (const Piece& piece : pieces_) {
    if (piece.field == Field::Literal) {
      text += piece.literal;
    } else if (piece.field == Field::Offset) {
      text += offset < 0 ? '-' : '+';
      appendNumber(text, std::abs(offset) / 60 * 100 + std::abs(offset) % 60, 4);
    } else {
      const auto field = static_cast<std::size_t>(piece.field);
      appendNumber(text, numbers[field], fieldNames[field].size());
    }
  }
  return text;
}

std::optional<NSDate> NSDateFormatter::dateFromString(const std::string& text) const {
  std::array<std::optional<int>, 7> numbers;
  std::string_view rest = text;
  for (const Piece& piece : pieces_) {
    if (piece.field == Field::Literal) {
      if (!rest.starts_with(piece.literal)) return std::nullopt;
      rest.remove_prefix(1);
      continue;
    }
    const auto field = static_cast<std::size_t>(piece.field);
    numbers[field] = piece.field == Field::Offset ? takeOffset(rest)
                                                  : takeNumber(rest, fieldNames[field].size());
    if (!numbers[field]) return std::nullopt;
  }
  for (const auto& number : numbers)
    if (!number || !rest.empty()) return std::nullopt;

  const auto [year, month, day, hour, minute, second, offset] = numbers;
  const std::chrono::year_month_day ymd(std::chrono::year(*year),
                                        std::chrono::month(static_cast<unsigned>(*month)),
                                        std::chrono::day(static_cast<unsigned>(*day)));
  if (!ymd.ok() || *hour > 23 || *minute > 59 || *second > 59) return std::nullopt;
  return NSDate(std::chrono::sys_days(ymd) + hours(*hour) + minutes(*minute - *offset) +
                seconds(*second));
}

}  // namespace tasklane
