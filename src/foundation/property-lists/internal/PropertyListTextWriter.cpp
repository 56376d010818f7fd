#include "foundation/property-lists/internal/PropertyListTextWriter.h"

#include <string_view>

#include "foundation/base/UTF8.h"
#include "foundation/property-lists/PropertyListSyntax.h"
#include "foundation/property-lists/internal/PropertyListBinaryReader.h"
#include "foundation/property-lists/internal/PropertyListTextReader.h"

namespace tasklane::plist {

namespace {

/// Appends a value to one line of the old text format.
class Writer {
 public:
  void write(const PropertyList& value, int depth) {
    if (depth > maximumDepth) {
      out += "...";
      return;
    }
    switch (value.type()) {
      case PropertyList::Type::Dictionary:
        writeDictionary(*value.dictionary(), depth);
        break;
      case PropertyList::Type::Array:
        writeArray(*value.array(), depth);
        break;
      case PropertyList::Type::String:
        writeString(value.stringView());
        break;
      case PropertyList::Type::Integer:
        appendInteger(out, value);
        break;
      case PropertyList::Type::Real:
        writeReal(*value.real());
        break;
      case PropertyList::Type::Boolean:
        out += *value.boolean() ? '1' : '0';
        break;
      case PropertyList::Type::Date:
        appendDate(out, *value.date());
        break;
      case PropertyList::Type::Data:
        writeData(*value.data());
        break;
    }
  }

  std::string out;

 private:
  void writeDictionary(const PropertyListDictionary& dictionary, int depth) {
    out += "{ ";
    for (const auto& [key, value] : dictionary) {
      writeString(key);
      out += " = ";
      write(value, depth + 1);
      out += "; ";
    }
    out += '}';
  }

  void writeArray(const PropertyList::Array& array, int depth) {
    out += '(';
    for (const PropertyList& value : array) {
      if (&value != &array.front()) out += ", ";
      write(value, depth + 1);
    }
    out += ')';
  }

  void writeString(std::string_view string) {
    // At the front of a document the binary format's signature would be taken for one.
    if (isUnquotedText(string) && !string.starts_with(binarySignature)) {
      out += string;
      return;
    }
    out += '"';
    for (std::size_t at = 0; at < string.size();) {
      const utf8::Character c = utf8::characterAt(string, at);
      at += c.length;
      if (c.codePoint == '"' || c.codePoint == '\\')
        out += {'\\', static_cast<char>(c.codePoint)};
      else if (c.codePoint == '\n')
        out += "\\n";
      else if (c.codePoint < 0x20 || c.codePoint == 0x7F)
        out += {'\\', 'U', '0', '0', hexadecimal[c.codePoint >> 4], hexadecimal[c.codePoint & 15]};
      else
        utf8::append(out, c.codePoint);
    }
    out += '"';
  }

  void writeReal(double real) {
    std::string number;
    appendReal(number, real);
    writeString(number);  // "1e+300" needs quotes
  }

  void writeData(const PropertyList::Data& data) {
    out += '<';
    for (std::size_t i = 0; i < data.size(); ++i) {
      const auto byte = std::to_integer<unsigned>(data[i]);
      if (i > 0 && i % 4 == 0) out += ' ';
      out += {hexadecimal[byte >> 4], hexadecimal[byte & 15]};
    }
    out += '>';
  }

  static constexpr char hexadecimal[] = "0123456789abcdef";
};

}  // namespace

std::string writeText(const PropertyList& plist) {
  Writer writer;
  writer.write(plist, 0);
  return std::move(writer.out);
}

}  // namespace tasklane::plist
