#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/base/NSError.h"
#include "foundation/property-lists/PropertyList.h"

namespace tasklane {

/// Reads and writes property lists, without regard to the process's locale. Any thread.
///
/// Formats: XML ("PropertyList-1.0" document type), binary ("bplist00") and the old text format
/// (dictionaries in braces, arrays in parentheses, data in angle brackets). XML is also read in
/// UTF-16 and with a byte-order mark.
class NSPropertyListSerialization {
 public:
  enum class Format { XML, Binary, Text };
  struct Parsed {
    PropertyList plist;
    Format format;
    /// The keys that a dictionary holds more than once; the last of their values counts.
    std::vector<std::string> repeatedKeys;
  };

  /// Reads one whole document of any of the formats, told apart by its first bytes. A document that
  /// is malformed, truncated, nested too deeply (512 levels) or followed by anything but white
  /// space is an error of kind Corrupt with line and column (text formats) or byte offset (binary);
  /// never a part of its contents.
  static Result<Parsed> propertyListWithData(std::span<const std::byte> bytes);
  static Result<Parsed> propertyListWithData(std::string_view bytes);

  /// The value as an XML document: tabs, keys sorted by their bytes, byte-identical for equal
  /// values, readable again whatever its strings hold: a carriage return becomes a character
  /// reference, and what XML cannot carry (control characters, invalid UTF-8, U+FFFE, U+FFFF)
  /// becomes U+FFFD. Fails only for a value nested too deeply.
  static Result<std::string> dataWithPropertyList(const PropertyList& plist);

  /// One line that shows the value to a person, in the old text format's notation.
  static std::string describe(const PropertyList& plist);
};

}  // namespace tasklane
