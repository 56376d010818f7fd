#pragma once

#include <cstddef>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/base/NSError.h"
#include "foundation/property-lists/PropertyListSyntax.h"

namespace tasklane::plist {

/// A place in an XML document of UTF-8, and how to get on from there: over what lies between the
/// tags, and through the text between two of them.
class XMLSource {
 public:
  explicit XMLSource(std::string_view document) : document_(document) {}

  /// What was refused first, with line and column.
  NSError error() const { return errorAt(document_, faultOffset_, fault_); }

 protected:
  static bool isLetter(char c) { return (c | 0x20) >= 'a' && (c | 0x20) <= 'z'; }
  const char* here() const { return document_.data() + at_; }
  const char* end() const { return document_.data() + document_.size(); }
  bool atEnd() const { return at_ == document_.size(); }
  template <std::size_t N>
  bool follows(const char (&text)[N]) const {
    return document_.size() - at_ >= N - 1 && std::memcmp(here(), text, N - 1) == 0;
  }

  // All that goes on from the place answers whether the document is well formed there.

  /// To the tag of the root element.
  bool skipProlog();
  /// Over white space, comments and instructions to the next tag, or to the end.
  bool skipBetween(const char* textHere) {
    const char* next = here();
    while (next != end() && isSpace(*next)) ++next;
    at_ = static_cast<std::size_t>(next - document_.data());
    const bool tag = end() - next >= 2 && *next == '<' && (next[1] == '/' || isLetter(next[1]));
    return tag || skipMarkupBetween(textHere);
  }
  /// From after the name of an element, or of the XML declaration, to the end of its tag. No
  /// attribute says anything that matters here.
  enum class AttributesOf { Element, Declaration };
  bool skipAttributes(AttributesOf owner);
  /// To the end tag after a text without elements. The text lies in the document, or in a buffer
  /// that the next one is decoded into.
  bool readCharacters(std::string_view& text);

  bool refuse(std::size_t offset, std::string what) {
    faultOffset_ = offset;
    fault_ = std::move(what);
    return false;
  }
  /// A name or a key as an error shows it, without control characters.
  static std::string shown(std::string_view text);

  std::string_view document_;
  std::size_t at_ = 0;

 private:
  bool skipDocumentType();
  bool skipDeclarations();
  bool skipSpace();  // answers whether there was any
  std::string_view takeName();
  bool skipQuoted();
  bool skipInstruction();
  bool skipAnything(std::size_t end);
  bool skipAttributeValue();
  bool skipMarkupBetween(const char* textHere);
  bool skipComment(bool& skipped);
  bool skipCharacters(std::size_t end);
  bool takeCharacters(std::string_view& text);
  bool decodeSpecial();
  void decodeReturn();
  bool decodeReference();
  std::optional<char32_t> takeReference();
  bool decodeSection();

  std::string decoded_;
  std::size_t faultOffset_ = 0;
  std::string fault_;
};

}  // namespace tasklane::plist
