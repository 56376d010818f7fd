#include "foundation/PropertyListXMLReader.h"

#include <charconv>
#include <cstring>
#include <iterator>

#include "foundation/PropertyListSyntax.h"
#include "foundation/PropertyListTextStore.h"
#include "foundation/UTF8.h"

namespace tasklane::plist {

namespace {

enum class Element { Dict, Array, Key, String, Integer, Real, True, False, Date, Data, Unknown };

template <std::size_t N>
bool is(std::string_view name, const char (&word)[N]) {
  return std::memcmp(name.data(), word, N - 1) == 0;
}

Element elementNamed(std::string_view name) {
  switch (name.size()) {  // a length known beforehand compares in one instruction
    case 3:
      return is(name, "key") ? Element::Key : Element::Unknown;
    case 4:
      if (is(name, "dict")) return Element::Dict;
      if (is(name, "true")) return Element::True;
      if (is(name, "date")) return Element::Date;
      if (is(name, "real")) return Element::Real;
      return is(name, "data") ? Element::Data : Element::Unknown;
    case 5:
      if (is(name, "array")) return Element::Array;
      return is(name, "false") ? Element::False : Element::Unknown;
    case 6:
      return is(name, "string") ? Element::String : Element::Unknown;
    case 7:
      return is(name, "integer") ? Element::Integer : Element::Unknown;
    default:
      return Element::Unknown;
  }
}

const char* contentsOf(Element element) {
  switch (element) {
    case Element::Integer:
      return "an integer from -2^63 to 2^64-1";
    case Element::Real:
      return "a number";
    case Element::Date:
      return "a date such as 2024-02-29T23:59:59Z";
    case Element::Data:
      return "base64";
    default:
      return "nothing, as it should";
  }
}

std::optional<PropertyList> scalar(Element element, std::string_view text) {
  switch (element) {
    case Element::Integer:
      return integerFromText(text);
    case Element::Real:
      return realFromText(text);
    case Element::Date:
      return dateFromText(text);
    case Element::Data:
      return dataFromBase64(text);
    default:
      if (!trimmed(text).empty()) return std::nullopt;
      return PropertyList(element == Element::True);
  }
}

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

bool endsName(char c) { return c == '>' || c == '/' || c == '<' || isSpace(c); }

class Reader {
 public:
  explicit Reader(std::string_view document) : document_(document), store_(document.size()) {}

  std::optional<PropertyList> read() {
    Tag tag;
    if (!skipProlog() || !readStartTag(tag)) return std::nullopt;
    if (tag.name != "plist") return fail(tag.start, "the root element must be <plist>");
    if (!skipBetween("text between elements")) return std::nullopt;
    if (tag.empty || rest().starts_with("</")) return fail(tag.start, "<plist> holds no value");
    auto plist = readValue(0);
    if (!plist || !skipBetween("text between elements")) return std::nullopt;
    if (at_ == document_.size()) return fail(at_, "the document is cut off");
    if (!rest().starts_with("</")) return fail(at_, "<plist> holds more than one value");
    if (!readEndTag(tag) || !skipBetween("text after the end of the property list"))
      return std::nullopt;
    if (at_ == document_.size()) return plist;
    return fail(at_, rest().starts_with("<!") ? "a document type after the root element"
                                              : "a second root element");
  }

  NSError error() const { return errorAt(document_, faultOffset_, fault_); }

 private:
  struct Tag {
    std::string_view name;
    Element element = Element::Unknown;
    std::size_t start = 0;  // of the tag's "<"
    bool empty = false;     // "<name/>"
  };

  std::string_view rest() const { return document_.substr(at_); }
  bool startsName() const {
    const char c = at_ + 1 < document_.size() ? document_[at_ + 1] : '\0';
    return (c | 0x20) >= 'a' && (c | 0x20) <= 'z';
  }

  // ---- values

  std::optional<PropertyList> readValue(int depth) {
    Tag tag;
    if (!readStartTag(tag)) return std::nullopt;
    return readElement(tag, depth);
  }

  std::optional<PropertyList> readElement(const Tag& tag, int depth) {
    switch (tag.element) {
      case Element::Dict:
        return readDictionary(tag, depth);
      case Element::Array:
        return readArray(tag, depth);
      case Element::Key:
        return fail(tag.start, "a <key> outside of a dictionary");
      case Element::Unknown:
        return fail(tag.start, "unknown element <" + shown(tag.name) + ">");
      default:
        break;
    }
    std::string_view text;
    if (!readText(tag, text)) return std::nullopt;
    if (tag.element == Element::String) return store_.string(text);
    auto value = scalar(tag.element, text);
    if (!value)
      return fail(tag.start,
                  "<" + std::string(tag.name) + "> does not hold " + contentsOf(tag.element));
    return value;
  }

  std::optional<PropertyList> readDictionary(const Tag& tag, int depth) {
    const std::size_t first = entries_.size();
    while (!tag.empty) {
      Tag keyTag;
      if (!nextMember(tag, depth, keyTag)) return std::nullopt;
      if (keyTag.name.empty()) break;
      if (keyTag.element != Element::Key)
        return fail(keyTag.start, "a <key> is missing before this value");
      std::string_view text;
      if (!readText(keyTag, text)) return std::nullopt;
      std::string key(text);
      Tag valueTag;
      if (!nextMember(tag, depth, valueTag)) return std::nullopt;
      if (valueTag.name.empty() || valueTag.element == Element::Key)
        return fail(keyTag.start, "the key \"" + shown(key) + "\" has no value");
      auto value = readElement(valueTag, depth + 1);
      if (!value) return std::nullopt;
      entries_.emplace_back(std::move(key), std::move(*value));
    }
    return PropertyList(PropertyListDictionary(takeFrom(entries_, first)));
  }

  std::optional<PropertyList> readArray(const Tag& tag, int depth) {
    const std::size_t first = values_.size();
    while (!tag.empty) {
      Tag member;
      if (!nextMember(tag, depth, member)) return std::nullopt;
      if (member.name.empty()) break;
      auto value = readElement(member, depth + 1);
      if (!value) return std::nullopt;
      values_.push_back(std::move(*value));
    }
    return PropertyList(takeFrom(values_, first));
  }

  /// The start tag of a container's next member; without a name when the container ended.
  bool nextMember(const Tag& container, int depth, Tag& member) {
    if (!skipBetween("text between elements")) return false;
    if (rest().starts_with("</")) return readEndTag(container);
    if (depth >= maximumDepth)
      return refuse(container.start,
                    "nested more deeply than " + std::to_string(maximumDepth) + " levels");
    return readStartTag(member);
  }

  /// The members that a container has gathered at the end of the common list, as a list of its own.
  template <class T>
  static std::vector<T> takeFrom(std::vector<T>& gathered, std::size_t first) {
    const auto start = gathered.begin() + static_cast<std::ptrdiff_t>(first);
    std::vector<T> members(std::make_move_iterator(start), std::make_move_iterator(gathered.end()));
    gathered.erase(start, gathered.end());
    return members;
  }

  // ---- text

  /// The text of an element, up to and with its end tag. It lies in the document, or in a buffer
  /// that the next text is decoded into.
  bool readText(const Tag& tag, std::string_view& text) {
    text = {};
    if (tag.empty) return true;
    const std::size_t start = at_;
    if (!skipCharacters(document_.size())) return false;
    text = document_.substr(start, at_ - start);
    if (rest().starts_with("</")) return readEndTag(tag);

    decoded_ = text;
    while (!rest().starts_with("</"))
      if (!decodeSpecial() || !decodeCharacters(document_.size())) return false;
    text = decoded_;
    return readEndTag(tag);
  }

  /// Goes to the next character that does not stand for itself ("<", "&", a carriage return), or to
  /// an end.
  bool skipCharacters(std::size_t end) {
    const std::string_view text = document_.substr(0, end);
    for (;; ++at_) {
      at_ += plainRun(text, at_);
      if (at_ == end || text[at_] == '<' || text[at_] == '&' || text[at_] == '\r') return true;
      if (text[at_] == '>') continue;
      return refuse(at_, utf8::characterAt(text, at_).valid ? "a character that XML forbids"
                                                            : "invalid UTF-8");
    }
  }

  bool decodeCharacters(std::size_t end) {
    const std::size_t start = at_;
    if (!skipCharacters(end)) return false;
    decoded_.append(document_, start, at_ - start);
    return true;
  }

  /// What does not stand for itself in a text: references, line ends, comments, sections.
  bool decodeSpecial() {
    if (at_ == document_.size()) return refuse(at_, "the document is cut off");
    if (document_[at_] == '\r') {
      decodeReturn();
      return true;
    }
    if (document_[at_] == '&') return decodeReference();
    if (rest().starts_with("<![CDATA[")) return decodeSection();
    bool skipped = false;
    if (!skipComment(skipped)) return false;
    return skipped || refuse(at_, "an element inside of a text");
  }

  /// A carriage return, with or without a line feed, is one line end.
  void decodeReturn() {
    decoded_ += '\n';
    at_ += rest().starts_with("\r\n") ? 2 : 1;
  }

  bool decodeReference() {
    const std::size_t end = document_.substr(0, at_ + 16).find(';', at_);
    const auto c = end == document_.npos ? std::nullopt
                                         : characterOf(document_.substr(at_ + 1, end - at_ - 1));
    if (!c) return refuse(at_, "an unknown or malformed reference after \"&\"");
    utf8::append(decoded_, *c);
    at_ = end + 1;
    return true;
  }

  bool decodeSection() {
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

  // ---- markup

  bool skipProlog() {
    bool documentType = false;
    for (;;) {
      if (!skipBetween("text before the <plist> element")) return false;
      if (at_ == document_.size()) return refuse(at_, "the document holds no property list");
      if (!rest().starts_with("<!DOCTYPE")) return true;
      if (documentType) return refuse(at_, "a second document type");
      documentType = true;
      if (!skipDocumentType()) return false;
    }
  }

  /// The document type says nothing that matters here. It may describe elements, but must not
  /// declare entities, which are a way to blow a document up.
  bool skipDocumentType() {
    const std::size_t start = at_;
    char quote = 0;
    for (int brackets = 0; at_ < document_.size(); ++at_) {
      const char c = document_[at_];
      if (quote != 0) {
        quote = c == quote ? '\0' : quote;
      } else if (c == '"' || c == '\'') {
        quote = c;
      } else if (rest().starts_with("<!ENTITY")) {
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

  /// Goes over white space, comments and instructions to the next tag, or to the end.
  bool skipBetween(const char* textHere) {
    for (bool skipped = true; skipped;) {
      while (at_ < document_.size() && isSpace(document_[at_])) ++at_;
      if (at_ == document_.size()) return true;
      if (document_[at_] != '<' || rest().starts_with("<![")) return refuse(at_, textHere);
      if (startsName()) return true;
      if (!skipComment(skipped)) return false;
    }
    return true;
  }

  /// Goes over a comment or an instruction when there is one here.
  bool skipComment(bool& skipped) {
    const bool comment = rest().starts_with("<!--");
    skipped = comment || rest().starts_with("<?");
    if (!skipped) return true;
    const std::string_view close = comment ? "-->" : "?>";
    const std::size_t start = at_, end = document_.find(close, at_ + (comment ? 4 : 2));
    if (end == document_.npos) return refuse(start, "a comment does not end");
    for (at_ = start; at_ < end; ++at_)
      if (!skipCharacters(end)) return false;
    at_ = end + close.size();
    return true;
  }

  bool readStartTag(Tag& tag) {
    tag.start = at_;
    if (at_ == document_.size()) return refuse(at_, "the document is cut off");
    const std::size_t nameStart = ++at_;
    while (at_ < document_.size() && !endsName(document_[at_])) ++at_;
    tag.name = document_.substr(nameStart, at_ - nameStart);
    tag.element = elementNamed(tag.name);
    if (tag.name.empty()) return refuse(tag.start, "a malformed tag");
    if (at_ < document_.size() && isSpace(document_[at_]) && !skipAttributes()) return false;
    tag.empty = rest().starts_with('/');
    if (tag.empty) ++at_;
    if (!rest().starts_with('>')) return refuse(tag.start, "a malformed tag");
    ++at_;
    return true;
  }

  /// No attribute says anything that matters here.
  bool skipAttributes() {
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

  bool readEndTag(const Tag& tag) {
    const std::size_t start = at_;
    at_ += 2;
    const bool same = rest().starts_with(tag.name);
    at_ += same ? tag.name.size() : 0;
    while (same && at_ < document_.size() && isSpace(document_[at_])) ++at_;
    if (!same || !rest().starts_with('>'))
      return refuse(start, "</" + std::string(tag.name) + "> is missing here");
    ++at_;
    return true;
  }

  // ---- faults

  std::nullopt_t fail(std::size_t offset, std::string what) {
    refuse(offset, std::move(what));
    return std::nullopt;
  }
  bool refuse(std::size_t offset, std::string what) {
    faultOffset_ = offset;
    fault_ = std::move(what);
    return false;
  }
  /// A name or a key as an error shows it.
  static std::string shown(std::string_view text) {
    std::string out;
    for (std::size_t at = 0; at < text.size() && at < 60;) {
      const utf8::Character character = utf8::characterAt(text, at);
      utf8::append(out, character.codePoint);
      at += character.length;
    }
    return out;
  }

  std::string_view document_;
  std::size_t at_ = 0;
  TextStore store_;
  std::vector<PropertyListDictionary::Entry> entries_;  // of all dictionaries that are open
  std::vector<PropertyList> values_;                    // of all arrays that are open
  std::string decoded_;
  std::size_t faultOffset_ = 0;
  std::string fault_;
};

}  // namespace

Result<PropertyList> readXML(std::string_view document) {
  Reader reader(document);
  if (auto plist = reader.read()) return std::move(*plist);
  return reader.error();
}

}  // namespace tasklane::plist
