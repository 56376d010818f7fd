#include "foundation/NSPropertyListSerialization.h"

#include <algorithm>

#include "foundation/PropertyListBinaryReader.h"
#include "foundation/PropertyListSyntax.h"
#include "foundation/PropertyListTextReader.h"
#include "foundation/PropertyListTextWriter.h"
#include "foundation/PropertyListXMLReader.h"
#include "foundation/PropertyListXMLWriter.h"
#include "foundation/UTF8.h"

namespace tasklane {

namespace {

NSError corrupt(std::string what) { return {NSError::Kind::Corrupt, std::move(what)}; }

/// The document as UTF-8 without byte-order mark. UTF-16 is told by its mark or by where the zero
/// bytes of a first ASCII character stand.
Result<std::string_view> asUTF8(std::string_view bytes, std::string& converted) {
  if (bytes.starts_with("\xEF\xBB\xBF")) return bytes.substr(3);
  const auto byte = [&](std::size_t i) {
    return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 1;
  };
  const bool marked = bytes.starts_with("\xFE\xFF") || bytes.starts_with("\xFF\xFE");
  if (!marked && (byte(0) == 0) == (byte(1) == 0)) return bytes;
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
  if (bytes.starts_with(plist::binarySignature)) {
    auto read = plist::readBinary(bytes);
    if (!read) return read.error();
    return Parsed{std::move(read).value(), Format::Binary};
  }
  std::string converted;
  const Result<std::string_view> text = asUTF8(bytes, converted);
  if (!text) return text.error();
  const std::string_view document = text.value();
  if (plist::trimmed(document).empty()) return corrupt("the property list is empty");
  if (const auto offset = utf8::firstInvalid(document))
    return plist::errorAt(document, *offset, "invalid UTF-8");
  const bool isXML = looksLikeXML(document);
  auto read = isXML ? plist::readXML(document) : plist::readText(document);
  if (!read) return read.error();
  return Parsed{std::move(read).value(), isXML ? Format::XML : Format::Text};
}

Result<std::string> NSPropertyListSerialization::dataWithPropertyList(const PropertyList& plist) {
  return plist::writeXML(plist);
}

std::string NSPropertyListSerialization::describe(const PropertyList& plist) {
  return plist::writeText(plist);
}

}  // namespace tasklane
