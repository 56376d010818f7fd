#include "foundation/property-lists/internal/PropertyListXMLSource.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <set>
#include <utility>

#include "foundation/base/UTF8.h"

namespace tasklane::plist {

namespace {

/// The character of a reference, "amp" or "#x26", or none.
std::optional<char32_t> characterOf(std::string_view reference) {
  constexpr std::pair<std::string_view, char32_t> named[] = {
      {"amp", U'&'}, {"lt", U'<'}, {"gt", U'>'}, {"quot", U'"'}, {"apos", U'\''}};
  for (const auto& [name, c] : named)
    if (reference == name) return c;
  if (!reference.starts_with('#')) return std::nullopt;
  reference.remove_prefix(1);
  const int base = reference.starts_with('x') ? 16 : 10;
  if (base == 16) reference.remove_prefix(1);
  std::uint32_t c = 0;
  const char* const end = reference.data() + reference.size();
  const auto [stop, fault] = std::from_chars(reference.data(), end, c, base);
  if (reference.empty() || fault != std::errc() || stop != end || !isXMLCharacter(c))
    return std::nullopt;
  return static_cast<char32_t>(c);
}

bool isPublicIdentifier(std::string_view text) {
  constexpr std::string_view marks = " \r\n-'()+,./:=?;!*#@$_%";
  return std::all_of(text.begin(), text.end(), [&](char c) {
    return (c >= '0' && c <= '9') || ((c | 0x20) >= 'a' && (c | 0x20) <= 'z') ||
           marks.find(c) != marks.npos;
  });
}

}  // namespace

bool XMLSource::skipProlog() {
  bool documentType = false;
  for (;;) {
    if (!skipBetween("text before the <plist> element")) return false;
    if (at_ == document_.size()) return refuse(at_, "the document holds no property list");
    if (!follows("<!DOCTYPE")) return true;
    if (documentType) return refuse(at_, "a second document type");
    documentType = true;
    if (!skipDocumentType()) return false;
  }
}

/// The document type says nothing that matters here. It may describe elements, but must not
/// declare entities, which are a way to blow a document up.
bool XMLSource::skipDocumentType() {
  const std::size_t start = at_;
  at_ += std::string_view("<!DOCTYPE").size();
  const auto malformed = [&] { return refuse(start, "a malformed document type"); };
  if (!skipSpace() || takeName().empty()) return malformed();
  const bool spaced = skipSpace();
  const std::string_view kind = document_.substr(at_, 6);
  if (spaced && (kind == "PUBLIC" || kind == "SYSTEM")) {
    at_ += kind.size();
    for (int literals = kind == "PUBLIC" ? 2 : 1; literals > 0; --literals) {
      const bool separate = skipSpace();
      const std::size_t literal = at_;
      if (!separate || !skipQuoted()) return fault_.empty() ? malformed() : false;
      if (literals == 2 && !isPublicIdentifier(document_.substr(literal + 1, at_ - literal - 2)))
        return malformed();
    }
    skipSpace();
  }
  if (follows("[") && !skipDeclarations()) return false;
  if (!follows(">")) return malformed();
  ++at_;
  return true;
}

bool XMLSource::skipDeclarations() {
  const std::size_t start = at_++;
  for (bool skipped = false; !atEnd(); skipped = false) {
    if (!skipComment(skipped)) return false;
    if (skipped) continue;
    if (follows("<!ENTITY")) return refuse(at_, "the document type declares entities");
    const char c = document_[at_];
    if (c == '"' || c == '\'') {
      if (!skipQuoted()) return false;
    } else if (c == ']') {
      ++at_;
      skipSpace();
      return true;
    } else if (const std::size_t next = document_.find_first_of("\"'<]", at_ + 1);
               !skipAnything(std::min(next, document_.size()))) {
      return false;
    }
  }
  return refuse(start, "the document type does not end");
}

bool XMLSource::skipSpace() {
  const std::size_t start = at_;
  while (!atEnd() && isSpace(document_[at_])) ++at_;
  return at_ > start;
}

/// Of the characters beyond ASCII, all that are valid are taken: no name that means something here
/// has any.
std::string_view XMLSource::takeName() {
  const std::size_t start = at_;
  const auto inName = [&](char c) {
    return isLetter(c) || c == '_' || c == ':' || static_cast<unsigned char>(c) >= 0x80 ||
           (at_ > start && ((c >= '0' && c <= '9') || c == '-' || c == '.'));
  };
  while (!atEnd() && inName(document_[at_])) ++at_;
  const std::string_view name = document_.substr(start, at_ - start);
  return plainRun(name, 0) == name.size() ? name : std::string_view();
}

/// Over a literal in quotation marks, whatever XML can carry.
bool XMLSource::skipQuoted() {
  const std::size_t start = at_;
  if (atEnd() || (document_[at_] != '"' && document_[at_] != '\'')) return false;
  const std::size_t end = document_.find(document_[at_], at_ + 1);
  if (end == document_.npos) return refuse(start, "a quotation mark is not closed");
  if (!skipAnything(end)) return false;
  ++at_;
  return true;
}

bool XMLSource::skipMarkupBetween(const char* textHere) {
  for (bool skipped = true; skipped;) {
    while (at_ < document_.size() && isSpace(document_[at_])) ++at_;
    if (at_ == document_.size()) return true;
    if (document_[at_] != '<' || follows("<![")) return refuse(at_, textHere);
    if (!skipComment(skipped)) return false;
  }
  return true;
}

/// Goes over a comment or an instruction when there is one here.
bool XMLSource::skipComment(bool& skipped) {
  const bool comment = follows("<!--");
  skipped = comment || follows("<?");
  if (!skipped) return true;
  if (!comment) return skipInstruction();
  const std::size_t start = at_, end = document_.find("--", at_ + 4);
  if (end == document_.npos) return refuse(start, "a comment does not end");
  if (!skipAnything(end)) return false;
  if (!follows("-->")) return refuse(at_, "\"--\" inside of a comment");
  at_ += 3;
  return true;
}

bool XMLSource::skipInstruction() {
  const std::size_t start = at_, end = document_.find("?>", at_ + 2);
  if (end == document_.npos) return refuse(start, "an instruction does not end");
  at_ += 2;
  const std::string_view name = takeName();
  const auto isLetterOf = [&](std::size_t i, char c) { return (name[i] | 0x20) == c; };
  if (name.size() == 3 && isLetterOf(0, 'x') && isLetterOf(1, 'm') && isLetterOf(2, 'l')) {
    if (start != 0 || name != "xml") return refuse(start, "an XML declaration that is misplaced");
    if (!skipAttributes(AttributesOf::Declaration)) return false;
  }
  if (name.empty() || (at_ != end && !isSpace(document_[at_])))
    return refuse(start, "a malformed instruction");
  if (!skipAnything(end)) return false;
  at_ = end + 2;
  return true;
}

/// Over characters of any meaning, up to an end.
bool XMLSource::skipAnything(std::size_t end) {
  for (; at_ < end; ++at_) {
    if (!skipCharacters(end)) return false;
    if (at_ == end) return true;
  }
  return true;
}

bool XMLSource::skipAttributes(AttributesOf owner) {
  std::set<std::string_view> names;
  for (;;) {
    const bool spaced = skipSpace();
    if (atEnd()) return refuse(at_, "the document is cut off");
    const char c = document_[at_];
    if (owner == AttributesOf::Declaration ? c == '?' : c == '>' || c == '/')
      return owner == AttributesOf::Element || names.contains("version") ||
             refuse(at_, "an XML declaration without version");
    const std::size_t start = at_;
    const std::string_view name = takeName();
    if (!spaced || name.empty() || !skipAttributeValue())
      return fault_.empty() ? refuse(start, "a malformed attribute") : false;
    if (!names.insert(name).second) return refuse(start, "an attribute that is there twice");
    if (owner == AttributesOf::Element) continue;
    constexpr std::string_view order[] = {"version", "encoding", "standalone"};
    const auto* const place = std::find(std::begin(order), std::end(order), name);
    if (place == std::end(order) || names.contains("standalone") != (name == "standalone") ||
        !names.contains("version"))
      return refuse(start, "a malformed XML declaration");
  }
}

/// From after an attribute's name.
bool XMLSource::skipAttributeValue() {
  skipSpace();
  if (!follows("=")) return false;
  ++at_;
  skipSpace();
  if (atEnd() || (document_[at_] != '"' && document_[at_] != '\'')) return false;
  const std::size_t end = document_.find(document_[at_], at_ + 1);
  if (end == document_.npos) return refuse(at_, "a quotation mark is not closed");
  for (++at_; at_ < end;) {
    if (!skipCharacters(end)) return false;
    if (at_ == end) break;
    if (document_[at_] == '<') return refuse(at_, "\"<\" inside of an attribute");
    if (document_[at_] == '\r')
      ++at_;
    else if (!takeReference())
      return false;
  }
  ++at_;
  return true;
}

bool XMLSource::readCharacters(std::string_view& text) {
  if (!takeCharacters(text)) return false;
  if (follows("</")) return true;

  decoded_ = text;
  while (!follows("</")) {
    if (!decodeSpecial() || !takeCharacters(text)) return false;
    decoded_ += text;
  }
  text = decoded_;
  return true;
}

/// Goes to the next character that does not stand for itself ("<", "&", a carriage return), or to
/// an end.
bool XMLSource::skipCharacters(std::size_t end) {
  const std::string_view text = document_.substr(0, end);
  for (;; ++at_) {
    at_ += plainRun(text, at_);
    if (at_ == end || text[at_] == '<' || text[at_] == '&' || text[at_] == '\r') return true;
    if (text[at_] == '>') continue;
    return refuse(
        at_, utf8::characterAt(text, at_).valid ? "a character that XML forbids" : "invalid UTF-8");
  }
}

bool XMLSource::takeCharacters(std::string_view& text) {
  const std::size_t start = at_;
  if (!skipCharacters(document_.size())) return false;
  text = document_.substr(start, at_ - start);
  const std::size_t stray = text.find("]]>");
  return stray == text.npos || refuse(start + stray, "\"]]>\" outside of a section");
}

/// What does not stand for itself in a text: references, line ends, comments, sections.
bool XMLSource::decodeSpecial() {
  if (at_ == document_.size()) return refuse(at_, "the document is cut off");
  if (document_[at_] == '\r') {
    decodeReturn();
    return true;
  }
  if (document_[at_] == '&') return decodeReference();
  if (follows("<![CDATA[")) return decodeSection();
  bool skipped = false;
  if (!skipComment(skipped)) return false;
  return skipped || refuse(at_, "an element inside of a text");
}

/// A carriage return, with or without a line feed, is one line end.
void XMLSource::decodeReturn() {
  decoded_ += '\n';
  at_ += follows("\r\n") ? 2 : 1;
}

bool XMLSource::decodeReference() {
  const auto c = takeReference();
  if (c) utf8::append(decoded_, *c);
  return c.has_value();
}

/// The character of the reference here, of any length, or none, which is a fault.
std::optional<char32_t> XMLSource::takeReference() {
  std::size_t end = at_ + 1;
  const auto inReference = [](char c) { return isLetter(c) || (c >= '0' && c <= '9') || c == '#'; };
  while (end < document_.size() && inReference(document_[end])) ++end;
  const bool whole = end < document_.size() && document_[end] == ';';
  const auto c = whole ? characterOf(document_.substr(at_ + 1, end - at_ - 1)) : std::nullopt;
  if (c)
    at_ = end + 1;
  else
    refuse(at_, "an unknown or malformed reference after \"&\"");
  return c;
}

bool XMLSource::decodeSection() {
  const std::size_t start = at_, end = document_.find("]]>", at_);
  if (end == document_.npos) return refuse(start, "a character data section does not end");
  for (at_ += 9; at_ < end;) {
    const std::size_t from = at_;
    if (!skipCharacters(end)) return false;
    decoded_.append(document_, from, at_ - from);
    if (at_ < end && document_[at_] == '\r')
      decodeReturn();
    else if (at_ < end)
      decoded_ += document_[at_++];
  }
  at_ = end + 3;
  return true;
}

std::string XMLSource::shown(std::string_view text) {
  std::string out;
  for (std::size_t at = 0; at < text.size() && at < 60;) {
    const utf8::Character character = utf8::characterAt(text, at);
    const char32_t c = character.codePoint;
    utf8::append(out, c < 0x20 || (c >= 0x7F && c < 0xA0) ? U'\uFFFD' : c);
    at += character.length;
  }
  return out;
}

}  // namespace tasklane::plist
