#include "foundation/property-lists/internal/PropertyListXMLWriter.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "foundation/base/UTF8.h"
#include "foundation/property-lists/PropertyListSyntax.h"
#include "foundation/property-lists/internal/PropertyListContents.h"
#include "foundation/property-lists/internal/PropertyListScan.h"

namespace tasklane::plist {

namespace {

constexpr std::string_view header =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
constexpr std::string_view footer = "</plist>\n";

/// About the size of a value as XML, a little more rather than less where nothing needs escaping: a
/// text that grows by doubling touches three times the memory.
std::size_t expectedSize(const PropertyList& value, std::size_t depth) {
  constexpr std::size_t tags = 20, scalar = 60;
  if (depth > maximumDepth) return 0;  // writing it will fail
  std::size_t size = 2 * depth + tags;
  switch (value.type()) {
    case PropertyList::Type::Dictionary:
      for (const auto& [key, member] : Inside::entries(value))
        size += depth + tags + std::string_view(key).size() + expectedSize(member, depth + 1);
      return size;
    case PropertyList::Type::Array:
      for (const PropertyList& member : Inside::array(value))
        size += expectedSize(member, depth + 1);
      return size;
    case PropertyList::Type::String:
      return size + Inside::text(value).size();
    case PropertyList::Type::Data:
      return size + value.data()->size() / 3 * 4 + value.data()->size() / 12 * (depth + 1) / 4;
    default:
      return size + scalar;
  }
}

/// A text that is written through a place in it; what lies behind the place is room.
class Output {
 public:
  explicit Output(std::size_t expectedSize) : text_(expectedSize, '\0') { place(0); }

  /// Makes room for that many bytes, which may then be written at the place.
  void need(std::size_t bytes) {
    if (static_cast<std::size_t>(end - at) < bytes) grow(bytes);
  }
  template <std::size_t N>
  void put(const char (&literal)[N]) {
    std::memcpy(at, literal, N - 1);
    at += N - 1;
  }
  void append(std::string_view text) {
    need(text.size());
    at = std::copy(text.begin(), text.end(), at);
  }
  std::size_t size() const { return static_cast<std::size_t>(at - text_.data()); }
  void cutTo(std::size_t size) { at = text_.data() + size; }
  std::string take() {
    text_.resize(size());
    return std::move(text_);
  }

  char* at;
  char* end;

 private:
  void place(std::size_t offset) {
    at = text_.data() + offset;
    end = text_.data() + text_.size();
  }
  void grow(std::size_t bytes) {
    const auto used = static_cast<std::size_t>(at - text_.data());
    text_.resize(used + std::max(bytes, used));
    place(used);
  }

  std::string text_;
};

class Writer {
 public:
  explicit Writer(std::size_t expectedSize) : out(expectedSize) { out.append(header); }

  bool write(const PropertyList& value, std::size_t depth) {
    switch (value.type()) {
      case PropertyList::Type::Dictionary:
        return writeDictionary(Inside::entries(value), depth);
      case PropertyList::Type::Array:
        return writeArray(Inside::array(value), depth);
      case PropertyList::Type::String:
        writeText("<string>", "</string>\n", Inside::text(value), depth);
        break;
      case PropertyList::Type::Data:
        writeData(*value.data(), depth);
        break;
      case PropertyList::Type::Boolean:
        writeTag(*value.boolean() ? "<true/>\n" : "<false/>\n", depth);
        break;
      case PropertyList::Type::Integer:
        scratch_.clear();
        appendInteger(scratch_, value);
        writeText("<integer>", "</integer>\n", scratch_, depth);
        break;
      case PropertyList::Type::Real:
        scratch_.clear();
        appendReal(scratch_, *value.real());
        writeText("<real>", "</real>\n", scratch_, depth);
        break;
      case PropertyList::Type::Date:
        scratch_.clear();
        appendDate(scratch_, *value.date());
        writeText("<date>", "</date>\n", scratch_, depth);
        break;
    }
    return true;
  }

  Output out;

 private:
  void indent(std::size_t depth) {
    std::memset(out.at, '\t', depth);
    out.at += depth;
  }

  void writeTag(std::string_view tag, std::size_t depth) {
    out.need(depth + tag.size());
    indent(depth);
    out.append(tag);
  }

  bool writeDictionary(std::span<const PropertyListDictionary::Entry> entries, std::size_t depth) {
    if (entries.empty()) {
      writeTag("<dict/>\n", depth);
      return true;
    }
    if (depth >= std::size_t{maximumDepth}) return false;
    const std::size_t start = out.size();
    writeTag("<dict>\n", depth);
    for (const auto& [key, value] : entries) {
      replaced_ = false;
      writeText("<key>", "</key>\n", key, depth + 1);
      if (replaced_) {
        out.cutTo(start);
        const PropertyListDictionary written = withWritableKeys(entries);
        return writeDictionary({written.begin(), written.end()}, depth);
      }
      if (!write(value, depth + 1)) return false;
    }
    writeTag("</dict>\n", depth);
    return true;
  }

  static std::string writable(std::string_view text) {
    std::string out;
    for (std::size_t at = 0; at < text.size();) {
      const utf8::Character character = utf8::characterAt(text, at);
      utf8::append(out, isXMLCharacter(character.codePoint) ? character.codePoint : U'\uFFFD');
      at += character.length;
    }
    return out;
  }

  /// The entries under keys that XML can carry. Keys that would become one get further replacement
  /// characters at their end, so that no value is lost.
  static PropertyListDictionary withWritableKeys(
      std::span<const PropertyListDictionary::Entry> entries) {
    PropertyListDictionary written;
    for (const bool whole : {true, false})  // the keys that need no replacement come first
      for (const auto& [key, value] : entries) {
        std::string name = writable(key);
        if ((name == std::string_view(key)) != whole) continue;
        while (!whole && written.contains(name)) utf8::append(name, U'\uFFFD');
        written.set(name, value);
      }
    return written;
  }

  bool writeArray(const PropertyList::Array& array, std::size_t depth) {
    if (array.empty()) {
      writeTag("<array/>\n", depth);
      return true;
    }
    if (depth >= std::size_t{maximumDepth}) return false;
    writeTag("<array>\n", depth);
    for (const PropertyList& value : array)
      if (!write(value, depth + 1)) return false;
    writeTag("</array>\n", depth);
    return true;
  }

  void writeData(const PropertyList::Data& data, std::size_t depth) {
    writeTag("<data>\n", depth);
    const std::size_t width = depth * 8 < 60 ? 76 - depth * 8 : 16;
    scratch_.clear();
    appendBase64Lines(scratch_, data, std::string(depth, '\t'), width);
    out.append(scratch_);
    writeTag("</data>\n", depth);
  }

  template <std::size_t N, std::size_t M>
  void writeText(const char (&open)[N], const char (&close)[M], std::string_view text,
                 std::size_t depth) {
    // More than the end tag and an escaped character, so that a block can be copied as a whole.
    constexpr std::size_t margin = M + 32;
    out.need(depth + N + text.size() + margin);
    indent(depth);
    out.put(open);
    char* to = out.at;
    for (const char *from = text.data(), *const end = from + text.size();;) {
      copyPlainText(from, end, to);
      if (from == end) break;
      from += writeSpecial(from, end, to);
      out.at = to;
      out.need(static_cast<std::size_t>(end - from) + margin);
      to = out.at;
    }
    out.at = to;
    out.put(close);
  }

  /// Writes a character that is not plain; its length in the text.
  std::size_t writeSpecial(const char* from, const char* end, char*& to) {
    const auto put = [&]<std::size_t N>(const char(&escaped)[N]) {
      to = std::copy(escaped, escaped + N - 1, to);
      return std::size_t{1};
    };
    switch (*from) {
      case '&':
        return put("&amp;");
      case '<':
        return put("&lt;");
      case '>':
        return put("&gt;");
      case '\r':
        return put("&#13;");
      default:
        put("\uFFFD");
        replaced_ = true;
        return utf8::characterAt({from, end}, 0).length;
    }
  }

  std::string scratch_;
  bool replaced_ = false;  // a character that XML cannot carry
};

}  // namespace

Result<std::string> writeXML(const PropertyList& plist) {
  Writer writer(header.size() + footer.size() + expectedSize(plist, 0));
  if (!writer.write(plist, 0))
    return NSError{NSError::Kind::Unsupported, "the property list is nested more deeply than " +
                                                   std::to_string(maximumDepth) + " levels"};
  writer.out.append(footer);
  return writer.out.take();
}

}  // namespace tasklane::plist
