#include "foundation/PropertyListXMLWriter.h"

#include <string_view>

#include "foundation/PropertyListSyntax.h"
#include "foundation/UTF8.h"

namespace tasklane::plist {

namespace {

constexpr std::string_view header =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
    "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
constexpr std::string_view footer = "</plist>\n";
constexpr std::string_view replacement = "\uFFFD";

/// About the size of a value as XML, a little more rather than less where nothing needs escaping: a
/// text that grows by doubling touches three times the memory.
std::size_t expectedSize(const PropertyList& value, std::size_t depth) {
  constexpr std::size_t tags = 20, scalar = 60;
  if (depth > maximumDepth) return 0;  // writing it will fail
  std::size_t size = 2 * depth + tags;
  if (const auto* const dictionary = value.dictionary()) {
    for (const auto& [key, member] : *dictionary)
      size += depth + tags + key.size() + expectedSize(member, depth + 1);
  } else if (const auto* const array = value.array()) {
    for (const PropertyList& member : *array) size += expectedSize(member, depth + 1);
  } else if (const auto* const data = value.data()) {
    size += data->size() / 3 * 4 + data->size() / 12 * (depth + 1) / 4;
  } else {
    size += value.type() == PropertyList::Type::String ? value.stringView().size() : scalar;
  }
  return size;
}

class Writer {
 public:
  bool write(const PropertyList& value, int depth) {
    switch (value.type()) {
      case PropertyList::Type::Dictionary:
        return writeDictionary(*value.dictionary(), depth);
      case PropertyList::Type::Array:
        return writeArray(*value.array(), depth);
      case PropertyList::Type::String:
        writeText("<string>", "</string>\n", value.stringView(), depth);
        break;
      case PropertyList::Type::Data:
        writeData(*value.data(), depth);
        break;
      case PropertyList::Type::Boolean:
        indent(depth);
        out += *value.boolean() ? "<true/>\n" : "<false/>\n";
        break;
      case PropertyList::Type::Integer:
        indent(depth);
        out += "<integer>";
        appendInteger(out, value);
        out += "</integer>\n";
        break;
      case PropertyList::Type::Real:
        indent(depth);
        out += "<real>";
        appendReal(out, *value.real());
        out += "</real>\n";
        break;
      case PropertyList::Type::Date:
        indent(depth);
        out += "<date>";
        appendDate(out, *value.date());
        out += "</date>\n";
        break;
    }
    return true;
  }

  std::string out{header};

 private:
  void indent(int depth) { out.append(static_cast<std::size_t>(depth), '\t'); }

  bool writeDictionary(const PropertyListDictionary& dictionary, int depth) {
    indent(depth);
    if (dictionary.empty()) {
      out += "<dict/>\n";
      return true;
    }
    if (depth >= maximumDepth) return false;
    out += "<dict>\n";
    for (const auto& [key, value] : dictionary) {
      writeText("<key>", "</key>\n", key, depth + 1);
      if (!write(value, depth + 1)) return false;
    }
    indent(depth);
    out += "</dict>\n";
    return true;
  }

  bool writeArray(const PropertyList::Array& array, int depth) {
    indent(depth);
    if (array.empty()) {
      out += "<array/>\n";
      return true;
    }
    if (depth >= maximumDepth) return false;
    out += "<array>\n";
    for (const PropertyList& value : array)
      if (!write(value, depth + 1)) return false;
    indent(depth);
    out += "</array>\n";
    return true;
  }

  void writeData(const PropertyList::Data& data, int depth) {
    indent(depth);
    out += "<data>\n";
    const auto tabs = static_cast<std::size_t>(depth);
    const std::size_t width = tabs * 8 < 60 ? 76 - tabs * 8 : 16;
    appendBase64Lines(out, data, std::string(tabs, '\t'), width);
    indent(depth);
    out += "</data>\n";
  }

  void writeText(std::string_view open, std::string_view close, std::string_view text, int depth) {
    indent(depth);
    out += open;
    for (std::size_t at = 0; at < text.size();) {
      const std::size_t run = plainRun(text, at);
      out.append(text, at, run);
      at += run;
      if (at < text.size()) at += writeSpecial(text, at);
    }
    out += close;
  }

  /// Writes a character that is not plain; its length in the text.
  std::size_t writeSpecial(std::string_view text, std::size_t at) {
    switch (text[at]) {
      case '&':
        out += "&amp;";
        return 1;
      case '<':
        out += "&lt;";
        return 1;
      case '>':
        out += "&gt;";
        return 1;
      case '\r':
        out += "&#13;";
        return 1;
      default:
        out += replacement;
        return utf8::characterAt(text, at).length;
    }
  }
};

}  // namespace

Result<std::string> writeXML(const PropertyList& plist) {
  Writer writer;
  writer.out.reserve(header.size() + expectedSize(plist, 0));
  if (!writer.write(plist, 0))
    return NSError{NSError::Kind::Unsupported, "the property list is nested more deeply than " +
                                                   std::to_string(maximumDepth) + " levels"};
  writer.out += footer;
  return std::move(writer.out);
}

}  // namespace tasklane::plist
