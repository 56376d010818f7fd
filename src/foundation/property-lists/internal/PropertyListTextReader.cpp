#include "foundation/property-lists/internal/PropertyListTextReader.h"

#include <array>

#include "foundation/base/UTF8.h"
#include "foundation/property-lists/PropertyListSyntax.h"
#include "foundation/property-lists/internal/PropertyListRepeatedKeys.h"

namespace tasklane::plist {

namespace {

bool isUnquotedCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
         std::string_view("_$/:.-").find(c) != std::string_view::npos;
}

/// The upper half of the 8-bit character set that octal escapes are in.
constexpr std::array<char32_t, 128> escapedCharacters{
    0xA0,   0xC0,   0xC1,   0xC2,   0xC3, 0xC4,   0xC5,   0xC7,   0xC8,   0xC9,   0xCA,   0xCB,
    0xCC,   0xCD,   0xCE,   0xCF,   0xD0, 0xD1,   0xD2,   0xD3,   0xD4,   0xD5,   0xD6,   0xD9,
    0xDA,   0xDB,   0xDC,   0xDD,   0xDE, 0xB5,   0xD7,   0xF7,   0xA9,   0xA1,   0xA2,   0xA3,
    0x2044, 0xA5,   0x192,  0xA7,   0xA4, 0x2019, 0x201C, 0xAB,   0x2039, 0x203A, 0xFB01, 0xFB02,
    0xAE,   0x2013, 0x2020, 0x2021, 0xB7, 0xA6,   0xB6,   0x2022, 0x201A, 0x201E, 0x201D, 0xBB,
    0x2026, 0x2030, 0xAC,   0xBF,   0xB9, 0x2CB,  0xB4,   0x2C6,  0x2DC,  0xAF,   0x2D8,  0x2D9,
    0xA8,   0xB2,   0x2DA,  0xB8,   0xB3, 0x2DD,  0x2DB,  0x2C7,  0x2014, 0xB1,   0xBC,   0xBD,
    0xBE,   0xE0,   0xE1,   0xE2,   0xE3, 0xE4,   0xE5,   0xE7,   0xE8,   0xE9,   0xEA,   0xEB,
    0xEC,   0xC6,   0xED,   0xAA,   0xEE, 0xEF,   0xF0,   0xF1,   0x141,  0xD8,   0x152,  0xBA,
    0xF2,   0xF3,   0xF4,   0xF5,   0xF6, 0xE6,   0xF9,   0xFA,   0xFB,   0x131,  0xFC,   0xFD,
    0x142,  0xF8,   0x153,  0xDF,   0xFE, 0xFF,   0xFFFD, 0xFFFD};

class Reader {
 public:
  Reader(std::string_view document, std::vector<std::string>& repeatedKeys)
      : document_(document), repeatedKeys_(repeatedKeys) {}

  std::optional<PropertyList> read() {
    if (!skipBlanks()) return std::nullopt;
    if (atEnd()) return fail("the document holds no value");
    if (startsString()) {
      // A string is the whole document, or the first key of a file of pairs.
      const std::size_t start = at_;
      auto string = readString();
      if (!string || !skipBlanks()) return std::nullopt;
      if (atEnd()) return PropertyList(std::move(*string));
      at_ = start;
      return readPairs(0, false);
    }
    auto value = readValue(0);
    if (!value || !skipBlanks()) return std::nullopt;
    if (!atEnd()) return fail("something follows the end of the property list");
    return value;
  }

  NSError error() const { return errorAt(document_, faultOffset_, fault_); }

 private:
  std::optional<PropertyList> readValue(int depth) {
    if (atEnd()) return fail("the document is cut off");
    switch (document_[at_]) {
      case '{':
        return readDictionary(depth);
      case '(':
        return readArray(depth);
      case '<':
        return readData();
      default:
        break;
    }
    if (!startsString()) return fail("a value is missing here");
    auto string = readString();
    if (!string) return std::nullopt;
    return PropertyList(std::move(*string));
  }

  std::optional<PropertyList> readDictionary(int depth) {
    ++at_;
    if (!skipBlanks()) return std::nullopt;
    if (!take('}')) {
      if (depth >= maximumDepth) return tooDeep();
      return readPairs(depth, true);
    }
    return PropertyList();
  }

  /// Pairs up to the closing brace or, without braces, to the end.
  std::optional<PropertyList> readPairs(int depth, bool braces) {
    std::vector<PropertyListDictionary::Entry> entries;
    for (;;) {
      if (!skipBlanks()) return std::nullopt;
      if (braces ? take('}') : atEnd()) break;
      if (atEnd()) return fail("the document is cut off inside a dictionary");
      if (!startsString()) return fail("a key is missing here");
      auto key = readString();
      if (!key || !skipBlanks()) return std::nullopt;
      std::optional<PropertyList> value;
      if (take('=')) {
        if (!skipBlanks() || !(value = readValue(depth + 1)) || !skipBlanks()) return std::nullopt;
        if (!take(';')) return fail("\";\" is missing after a value");
      } else if (!braces && take(';')) {
        value = PropertyList(*key);  // a text that is its own translation
      } else {
        return fail("\"=\" is missing after a key");
      }
      entries.emplace_back(std::move(*key), std::move(*value));
    }
    noteRepeatedKeys(entries, repeatedKeys_);
    return PropertyList(PropertyListDictionary(std::move(entries)));
  }

  std::optional<PropertyList> readArray(int depth) {
    ++at_;
    PropertyList::Array array;
    for (;;) {
      if (!skipBlanks()) return std::nullopt;
      if (take(')')) break;
      if (depth >= maximumDepth) return tooDeep();
      auto value = readValue(depth + 1);
      if (!value || !skipBlanks()) return std::nullopt;
      array.push_back(std::move(*value));
      if (take(')')) break;
      if (!take(',')) return fail("\",\" or \")\" is missing after a value");
    }
    return PropertyList(std::move(array));
  }

  std::optional<PropertyList> readData() {
    const std::size_t start = at_++;
    PropertyList::Data data;
    int high = -1;
    for (; !atEnd() && document_[at_] != '>'; ++at_) {
      if (isSpace(document_[at_])) continue;
      const int digit = hexDigit(document_[at_]);
      if (digit < 0) return fail("data holds something else than hexadecimal digits");
      if (high >= 0) data.push_back(static_cast<std::byte>(high * 16 + digit));
      high = high >= 0 ? -1 : digit;
    }
    if (!take('>')) return fail("data does not end", start);
    if (high >= 0) return fail("data has an odd number of digits", start);
    return PropertyList(std::move(data));
  }

  bool startsString() const {
    return !atEnd() &&
           (document_[at_] == '"' || document_[at_] == '\'' || isUnquotedCharacter(document_[at_]));
  }

  std::optional<std::string> readString() {
    const char quote = document_[at_];
    const std::size_t start = at_;
    if (quote != '"' && quote != '\'') {
      while (!atEnd() && isUnquotedCharacter(document_[at_])) ++at_;
      return std::string(document_.substr(start, at_ - start));
    }
    ++at_;
    std::string string;
    for (;;) {
      const char stops[] = {quote, '\\'};
      const std::size_t end = document_.find_first_of(std::string_view(stops, 2), at_);
      if (end == document_.npos) return fail("a string does not end", start);
      string.append(document_, at_, end - at_);
      at_ = end + 1;
      if (document_[end] == quote) return string;
      if (atEnd()) return fail("a string does not end", start);
      if (!readEscape(string)) return std::nullopt;
    }
  }

  /// What stands after a backslash.
  bool readEscape(std::string& string) {
    const char c = document_[at_];
    if (c >= '0' && c <= '7') {
      utf8::append(string, readOctal());
      return true;
    }
    if (c == 'U') return readUnicode(string);
    constexpr std::string_view names = "abfnrtv", characters = "\a\b\f\n\r\t\v";
    const std::size_t named = names.find(c);
    string += named == names.npos ? c : characters[named];
    ++at_;
    return true;
  }

  char32_t readOctal() {
    unsigned value = 0;
    for (int i = 0; i < 3 && !atEnd() && document_[at_] >= '0' && document_[at_] <= '7'; ++i)
      value = value * 8 + static_cast<unsigned>(document_[at_++] - '0');
    value &= 0xFF;
    return value < 0x80 ? value : escapedCharacters[value - 0x80];
  }

  /// "\U" and one to four hexadecimal digits, a unit of UTF-16.
  bool readUnicode(std::string& string) {
    const std::size_t start = at_ - 1;
    char32_t c = 0;
    const bool first = readUnit(c);
    if (first && c >= 0xD800 && c < 0xDC00 && document_.substr(at_).starts_with("\\U")) {
      ++at_;
      char32_t low = 0;
      if (readUnit(low) && low >= 0xDC00 && low <= 0xDFFF)
        c = 0x10000 + ((c - 0xD800) << 10) + (low - 0xDC00);
    }
    if (!first || (c >= 0xD800 && c <= 0xDFFF)) {
      fail("a malformed \"\\U\" escape", start);
      return false;
    }
    utf8::append(string, c);
    return true;
  }

  bool readUnit(char32_t& unit) {
    const std::size_t start = ++at_;
    while (at_ < start + 4 && !atEnd() && hexDigit(document_[at_]) >= 0)
      unit = unit << 4 | static_cast<char32_t>(hexDigit(document_[at_++]));
    return at_ > start;
  }

  /// Goes to the next character that is neither white space nor in a comment; false when a comment
  /// does not end.
  bool skipBlanks() {
    for (;;) {
      const std::string_view rest = document_.substr(at_);
      if (rest.starts_with("//")) {
        at_ = std::min(document_.find_first_of("\r\n", at_), document_.size());
      } else if (rest.starts_with("/*")) {
        const std::size_t end = document_.find("*/", at_ + 2);
        if (end == document_.npos) {
          fail("a comment does not end");
          return false;
        }
        at_ = end + 2;
      } else if (!rest.empty() && (isSpace(rest[0]) || rest[0] == '\f' || rest[0] == '\v')) {
        ++at_;
      } else {
        return true;
      }
    }
  }

  bool atEnd() const { return at_ >= document_.size(); }
  bool take(char c) {
    const bool there = !atEnd() && document_[at_] == c;
    at_ += there;
    return there;
  }

  std::nullopt_t tooDeep() {
    return fail("nested more deeply than " + std::to_string(maximumDepth) + " levels");
  }
  std::nullopt_t fail(std::string what) { return fail(std::move(what), at_); }
  std::nullopt_t fail(std::string what, std::size_t offset) {
    fault_ = std::move(what);
    faultOffset_ = offset;
    return std::nullopt;
  }

  std::string_view document_;
  std::vector<std::string>& repeatedKeys_;
  std::size_t at_ = 0, faultOffset_ = 0;
  std::string fault_;
};

}  // namespace

bool isUnquotedText(std::string_view string) {
  if (string.empty() || string.starts_with("//")) return false;
  for (const char c : string)
    if (!isUnquotedCharacter(c)) return false;
  return true;
}

Result<PropertyList> readText(std::string_view document, std::vector<std::string>& repeatedKeys) {
  Reader reader(document, repeatedKeys);
  if (auto plist = reader.read()) return std::move(*plist);
  return reader.error();
}

}  // namespace tasklane::plist
