#include "foundation/PropertyListXMLSource.h"

#include <charconv>
#include <cstdint>
#include <optional>
#include <utility>

#include "foundation/UTF8.h"

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
  char quote = 0;
  for (int brackets = 0; at_ < document_.size(); ++at_) {
    const char c = document_[at_];
    if (quote != 0) {
      quote = c == quote ? '\0' : quote;
    } else if (c == '"' || c == '\'') {
      quote = c;
    } else if (follows("<!ENTITY")) {
      return refuse(at_, "the document type declares entities");
    } else if (c == '[' || c == ']') {
      brackets += c == '[' ? 1 : -1;
    } else if (c == '>' && brackets == 0) {
      ++at_;
      return true;
    }
  }
  return refuse(start, "the document type does not end");
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
  const std::string_view close = comment ? "-->" : "?>";
  const std::size_t start = at_, end = document_.find(close, at_ + (comment ? 4 : 2));
  if (end == document_.npos) return refuse(start, "a comment does not end");
  for (at_ = start; at_ < end; ++at_)
    if (!skipCharacters(end)) return false;
  at_ = end + close.size();
  return true;
}

bool XMLSource::skipAttributes() {
  const std::size_t start = at_;
  char quote = 0;
  for (; at_ < document_.size(); ++at_) {
    const char c = document_[at_];
    if (quote == 0 && (c == '>' || c == '/')) return true;
    if (c == '<') break;
    if (quote == 0 && (c == '"' || c == '\''))
      quote = c;
    else if (c == quote)
      quote = 0;
  }
  return refuse(start, "attributes that do not end");
}

bool XMLSource::readCharacters(std::string_view& text) {
  const std::size_t start = at_;
  if (!skipCharacters(document_.size())) return false;
  text = document_.substr(start, at_ - start);
  if (follows("</")) return true;

  decoded_ = text;
  while (!follows("</"))
    if (!decodeSpecial() || !decodeCharacters(document_.size())) return false;
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

bool XMLSource::decodeCharacters(std::size_t end) {
  const std::size_t start = at_;
  if (!skipCharacters(end)) return false;
  decoded_.append(document_, start, at_ - start);
  return true;
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
  const std::size_t end = document_.substr(0, at_ + 16).find(';', at_);
  const auto c =
      end == document_.npos ? std::nullopt : characterOf(document_.substr(at_ + 1, end - at_ - 1));
  if (!c) return refuse(at_, "an unknown or malformed reference after \"&\"");
  utf8::append(decoded_, *c);
  at_ = end + 1;
  return true;
}

bool XMLSource::decodeSection() {
  const std::size_t start = at_, end = document_.find("]]>", at_);
  if (end == document_.npos) return refuse(start, "a character data section does not end");
  for (at_ += 9; at_ < end;) {
    if (!decodeCharacters(end)) return false;
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
    utf8::append(out, character.codePoint);
    at += character.length;
  }
  return out;
}

}  // namespace tasklane::plist
