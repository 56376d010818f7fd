#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "foundation/base/NSError.h"
#include "foundation/property-lists/PropertyList.h"

/// How the property-list formats spell single values, shared by their readers and writers. All of
/// it is strict (the whole text counts, white space around it aside) and independent of the locale.
namespace tasklane::plist {

/// Containers nested more deeply than this are refused by every reader and the writer.
inline constexpr int maximumDepth = 512;

/// Decimal with an optional sign, or hexadecimal after "0x". A number beyond -2^63 to 2^64-1 is the
/// nearest real, so that it spoils no document.
std::optional<PropertyList> integerFromText(std::string_view text);
/// Also "inf", "infinity" and "nan" in any case, with an optional sign. A number too large is
/// infinite, one too small 0.
std::optional<double> realFromText(std::string_view text);
/// "2024-02-29T23:59:59Z", and any year of four or more digits.
std::optional<NSDate> dateFromText(std::string_view text);
/// White space may stand anywhere; padding must be complete.
std::optional<PropertyList::Data> dataFromBase64(std::string_view text);

void appendInteger(std::string& out, const PropertyList& integer);
/// The shortest text that reads back as the same number; "inf", "-inf", "nan".
void appendReal(std::string& out, double real);
/// Whole seconds, rounded down.
void appendDate(std::string& out, NSDate date);
void appendBase64(std::string& out, std::span<const std::byte> data);
/// Lines of at most lineLength characters, each after the prefix and before a line feed.
void appendBase64Lines(std::string& out, std::span<const std::byte> data, std::string_view prefix,
                       std::size_t lineLength);

/// The number of bytes, from an offset on, that stand in an XML text as they are: valid UTF-8 but
/// "&", "<", ">", carriage return and what XML cannot carry.
std::size_t plainRun(std::string_view text, std::size_t offset);
/// Whether XML can carry a character at all.
bool isXMLCharacter(char32_t c);

inline bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
std::string_view trimmed(std::string_view text);
int hexDigit(char c);  // -1 for any other character

/// An error of kind Corrupt: "line 3, column 7: …" for an offset into a UTF-8 text; columns count
/// characters, and both count from 1.
NSError errorAt(std::string_view document, std::size_t offset, const std::string& what);

}  // namespace tasklane::plist
