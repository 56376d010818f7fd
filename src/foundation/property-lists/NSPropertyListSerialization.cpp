#include "foundation/property-lists/NSPropertyListSerialization.h"

#include <algorithm>

#include "foundation/base/UTF8.h"
#include "foundation/property-lists/PropertyListSyntax.h"
#include "foundation/property-lists/internal/PropertyListBinaryReader.h"
#include "foundation/property-lists/internal/PropertyListTextReader.h"
#include "foundation/property-lists/internal/PropertyListTextWriter.h"
#include "foundation/property-lists/internal/PropertyListXMLReader.h"
#include "foundation/property-lists/internal/PropertyListXMLWriter.h"

namespace tasklane {

namespace {

NSError corrupt(std::string what) { return {NSError::Kind::Corrupt, std::move(what)}; }

/// The encoding that an XML declaration names, in lower case; empty when it names none.
std::string declaredEncoding(std::string_view document) {
  if (!document.starts_with("<?xml")) return {};
  const std::string_view declaration = document.substr(0, document.find("?>"));
  const std::size_t name = declaration.find("encoding");
  const std::size_t start = declaration.find_first_of("\"'", name);
  if (name == declaration.npos || start == declaration.npos) return {};
  const std::size_t end = declaration.find(declaration[start], start + 1);
  std::string encoding(declaration.substr(start + 1, end - start - 1));
  std::transform(encoding.begin(), encoding.end(), encoding.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  return encoding;
}

/// The document as UTF-8 without byte-order mark. UTF-16 is told by its mark or by where the zero
/// bytes of a first ASCII character stand; of other encodings Latin-1 alone is known.
Result<std::string_view> asUTF8(std::string_view bytes, std::string& converted) {
  if (bytes.starts_with("\xEF\xBB\xBF")) return bytes.substr(3);
  const auto byte = [&](std::size_t i) {
    return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 1;
  };
  const bool marked = bytes.starts_with("\xFE\xFF") || bytes.starts_with("\xFF\xFE");
  if (!marked && (byte(0) == 0) == (byte(1) == 0)) {
    const std::string encoding = declaredEncoding(bytes);
    if (encoding.empty() || encoding == "utf-8" || encoding == "utf8" || encoding == "us-ascii")
      return bytes;
    if (encoding.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789._-") != encoding.npos)
      return corrupt("line 1: the name of an encoding is malformed");
    if (encoding != "iso-8859-1")
      return NSError{NSError::Kind::Unsupported,
                     "line 1: the encoding \"" + encoding + "\" cannot be read; use UTF-8"};
    for (const char c : bytes) utf8::append(converted, static_cast<unsigned char>(c));
    return std::string_view(converted);
  }
  const bool bigEndian = marked ? byte(0) == 0xFE : byte(0) == 0;
  utf8::Converted text =
      utf8::fromUTF16(marked ? bytes.substr(2) : bytes,
                      bigEndian ? utf8::ByteOrder::BigEndian : utf8::ByteOrder::LittleEndian);
  if (text.invalidAt)
    return corrupt("invalid UTF-16 at byte " + std::to_string(*text.invalidAt + (marked ? 2 : 0)));
  converted = std::move(text.text);
  return std::string_view(converted);
}

/// An angle bracket begins XML, or data in the old text format: hexadecimal digits up to the
/// closing bracket.
bool looksLikeXML(std::string_view document) {
  document = plist::trimmed(document);
  if (!document.starts_with('<')) return false;
  const std::string_view inside = document.substr(1, document.find('>') - 1);
  return !std::all_of(inside.begin(), inside.end(),
                      [](char c) { return plist::isSpace(c) || plist::hexDigit(c) >= 0; });
}

}  // namespace

Result<NSPropertyListSerialization::Parsed> NSPropertyListSerialization::propertyListWithData(
    std::span<const std::byte> bytes) {
  return propertyListWithData(
      std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()));
}

Result<NSPropertyListSerialization::Parsed> NSPropertyListSerialization::propertyListWithData(
    std::string_view bytes) {
  std::vector<std::string> repeatedKeys;
  if (bytes.starts_with(plist::binarySignature)) {
    auto read = plist::readBinary(bytes, repeatedKeys);
    if (!read) return read.error();
    return Parsed{std::move(read).value(), Format::Binary, std::move(repeatedKeys)};
  }
  std::string converted;
  const Result<std::string_view> text = asUTF8(bytes, converted);
  if (!text) return text.error();
  const std::string_view document = text.value();
  if (plist::trimmed(document).empty()) return corrupt("the property list is empty");
  const bool isXML = looksLikeXML(document);
  if (const auto offset = isXML ? std::nullopt : utf8::firstInvalid(document))
    return plist::errorAt(document, *offset, "invalid UTF-8");
  auto read =
      isXML ? plist::readXML(document, repeatedKeys) : plist::readText(document, repeatedKeys);
  if (!read) return read.error();
  return Parsed{std::move(read).value(), isXML ? Format::XML : Format::Text,
                std::move(repeatedKeys)};
}

Result<std::string> NSPropertyListSerialization::dataWithPropertyList(const PropertyList& plist) {
  return plist::writeXML(plist);
}

std::string NSPropertyListSerialization::describe(const PropertyList& plist) {
  return plist::writeText(plist);
}

}  // namespace tasklane
