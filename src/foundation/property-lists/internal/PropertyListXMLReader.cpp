#include "foundation/property-lists/internal/PropertyListXMLReader.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <span>
#include <vector>

#include "foundation/property-lists/PropertyListSyntax.h"
#include "foundation/property-lists/internal/PropertyListRepeatedKeys.h"
#include "foundation/property-lists/internal/PropertyListScan.h"
#include "foundation/property-lists/internal/PropertyListStore.h"
#include "foundation/property-lists/internal/PropertyListXMLSource.h"

namespace tasklane::plist {

namespace {

enum class Element { Dict, Array, Key, String, Integer, Real, True, False, Date, Data, Unknown };

struct ElementType {
  std::string_view name;
  Element element;
  const char* contents;  // as an error tells them
};

constexpr ElementType elementTypes[] = {
    {"dict", Element::Dict, ""},
    {"array", Element::Array, ""},
    {"key", Element::Key, ""},
    {"string", Element::String, ""},
    {"integer", Element::Integer, "an integer"},
    {"real", Element::Real, "a number"},
    {"true", Element::True, "nothing, as it should"},
    {"false", Element::False, "nothing, as it should"},
    {"date", Element::Date, "a date such as 2024-02-29T23:59:59Z"},
    {"data", Element::Data, "base64"}};

const ElementType* typeNamed(std::string_view name) {
  const auto* const found = std::ranges::find(elementTypes, name, &ElementType::name);
  return found == std::end(elementTypes) ? nullptr : found;
}

std::optional<PropertyList> scalar(Element element, std::string_view text) {
  switch (element) {
    case Element::Integer:
      return integerFromText(text);
    case Element::Real:
      return realFromText(text);
    case Element::Date:
      return dateFromText(text);
    default:
      if (!trimmed(text).empty()) return std::nullopt;
      return PropertyList(element == Element::True);
  }
}

bool endsName(char c) { return c == '>' || c == '/' || c == '<' || isSpace(c); }

class Reader : public XMLSource {
 public:
  Reader(std::string_view document, std::vector<std::string>& repeatedKeys)
      : XMLSource(document), repeatedKeys_(repeatedKeys), store_(document.size()) {}

  bool read(PropertyList& into) {
    Tag tag, valueTag;
    if (!skipProlog() || !readStartTag(tag)) return false;
    if (tag.name != "plist") return refuse(tag.start, "the root element must be <plist>");
    if (!skipBetween("text between elements")) return false;
    if (tag.empty || follows("</")) return refuse(tag.start, "<plist> holds no value");
    PropertyList root;
    if (!readStartTag(valueTag) || !readElement(valueTag, 0, root)) return false;
    if (!skipBetween("text between elements")) return false;
    if (atEnd()) return refuse(at_, "the document is cut off");
    if (!follows("</")) return refuse(at_, "<plist> holds more than one value");
    if (!readEndTag(tag) || !skipBetween("text after the end of the property list")) return false;
    if (!atEnd())
      return refuse(
          at_, follows("<!") ? "a document type after the root element" : "a second root element");
    into = store_.finish(std::move(root));
    return true;
  }

 private:
  struct Tag {
    std::string_view name;
    Element element = Element::Unknown;
    std::size_t start = 0;  // of the tag's "<"
    bool empty = false;     // "<name/>"
  };

  // ---- values

  bool readElement(const Tag& tag, int depth, PropertyList& into) {
    switch (tag.element) {
      case Element::String:
        if (!tag.empty && readCommonString(into)) return true;
        break;
      case Element::Dict:
        return readDictionary(tag, depth, into);
      case Element::Array:
        return readArray(tag, depth, into);
      case Element::Key:
        return refuse(tag.start, "a <key> outside of a dictionary");
      case Element::Unknown:
        return refuse(tag.start, "unknown element <" + shown(tag.name) + ">");
      default:
        break;
    }
    std::string_view text;
    if (!readText(tag, text)) return false;
    if (tag.element == Element::String) {
      into = store_.string(text);
      return true;
    }
    if (tag.element == Element::Data) {
      if (auto bytes = dataFromBase64(text)) {
        into = store_.data(std::move(*bytes));
        return true;
      }
    } else if (auto value = scalar(tag.element, text)) {
      into = std::move(*value);
      return true;
    }
    return refuse(tag.start,
                  "<" + std::string(tag.name) + "> does not hold " + typeNamed(tag.name)->contents);
  }

  bool readDictionary(const Tag& tag, int depth, PropertyList& into) {
    const std::size_t first = entries_.size();
    while (!tag.empty) {
      Tag keyTag;
      if (!nextMember(tag, depth, keyTag)) return false;
      if (keyTag.name.empty()) break;
      if (keyTag.element != Element::Key)
        return refuse(keyTag.start, "a <key> is missing before this value");
      std::string_view text;
      if (!readKeyText(keyTag, text)) return false;
      PropertyListKey key = store_.key(text);
      Tag valueTag;
      if (!nextMember(tag, depth, valueTag)) return false;
      if (valueTag.name.empty() || valueTag.element == Element::Key)
        return refuse(keyTag.start, "the key \"" + shown(key) + "\" has no value");
      PropertyList value;
      if (!readElement(valueTag, depth + 1, value)) return false;
      entries_.emplace_back(std::move(key), std::move(value));
    }
    const auto entries = std::span(entries_).subspan(first);
    noteRepeatedKeys(entries, repeatedKeys_);
    into = store_.dictionary(entries);
    entries_.erase(entries_.end() - static_cast<std::ptrdiff_t>(entries.size()), entries_.end());
    return true;
  }

  bool readArray(const Tag& tag, int depth, PropertyList& into) {
    const std::size_t first = values_.size();
    while (!tag.empty) {
      Tag member;
      if (!nextMember(tag, depth, member)) return false;
      if (member.name.empty()) break;
      PropertyList value;
      if (!readElement(member, depth + 1, value)) return false;
      values_.push_back(std::move(value));
    }
    const auto members = std::span(values_).subspan(first);
    into = store_.array(members);
    values_.erase(values_.end() - static_cast<std::ptrdiff_t>(members.size()), values_.end());
    return true;
  }

  /// The start tag of a container's next member; without a name when the container ended.
  bool nextMember(const Tag& container, int depth, Tag& member) {
    if (!skipBetween("text between elements")) return false;
    if (follows("</")) return readEndTag(container);
    if (depth >= maximumDepth)
      return refuse(container.start,
                    "nested more deeply than " + std::to_string(maximumDepth) + " levels");
    return readStartTag(member);
  }

  // ---- text

  /// The string of a text that holds nothing but characters and references, decoded where the
  /// string is stored; nothing happens when there is more to it.
  bool readCommonString(PropertyList& string) {
    const std::span<char> room = store_.room();
    char *to = room.data(), *const toEnd = to + room.size();
    const char *from = here(), *const stop = end();
    for (;;) {
      copyPlain(from, stop, to, toEnd);
      if (stop - from < 9 || toEnd - to < 4) return false;
      if (*from == '<') break;
      if (*from == '&') {
        if (!decodeCommonReference(from, to)) return false;
      } else {
        const std::size_t length = wideLength(from, stop);
        if (length == 0) return false;
        for (std::size_t i = 0; i < length; ++i) *to++ = *from++;
      }
    }
    if (std::memcmp(from, "</string>", 9) != 0) return false;
    at_ = static_cast<std::size_t>(from - document_.data()) + 9;
    string = store_.stringOfRoom(static_cast<std::size_t>(to - room.data()));
    return true;
  }

  /// At least eight bytes are left.
  static bool decodeCommonReference(const char*& from, char*& to) {
    const auto is = [&]<std::size_t N>(const char(&word)[N], char c) {
      if (std::memcmp(from, word, N - 1) != 0) return false;
      *to++ = c;
      from += N - 1;
      return true;
    };
    return is("&amp;", '&') || is("&lt;", '<') || is("&gt;", '>') || is("&quot;", '"') ||
           is("&apos;", '\'');
  }

  /// The text of a key. Keys are short and most often plain.
  bool readKeyText(const Tag& tag, std::string_view& text) {
    const char *const from = here(), *const stop = tag.empty ? end() : skipPlain(from, end());
    if (end() - stop < 6 || std::memcmp(stop, "</key>", 6) != 0) return readText(tag, text);
    text = {from, stop};
    at_ += text.size() + 6;
    return true;
  }

  /// The text of an element, up to and with its end tag. It lies in the document, or in a buffer
  /// that the next text is decoded into.
  bool readText(const Tag& tag, std::string_view& text) {
    text = {};
    return tag.empty || (readCharacters(text) && readEndTag(tag));
  }

  // ---- markup

  /// A start tag without attributes of a known element.
  bool readCommonTag(Tag& tag) {
    if (document_.size() - at_ < 9) return false;
    const char* const start = document_.data() + at_;
    const auto is = [&]<std::size_t N>(const char(&word)[N], Element element) {
      if (std::memcmp(start, word, N - 1) != 0) return false;
      const bool empty = word[N - 3] == '/';
      tag.name = {start + 1, N - 3u - empty};
      tag.element = element;
      tag.empty = empty;
      at_ += N - 1;
      return true;
    };
    switch (start[1]) {
      case 'k':
        return is("<key>", Element::Key);
      case 's':
        return is("<string>", Element::String);
      case 'd':
        return is("<dict>", Element::Dict) || is("<date>", Element::Date);
      case 'i':
        return is("<integer>", Element::Integer);
      case 't':
        return is("<true/>", Element::True);
      case 'f':
        return is("<false/>", Element::False);
      case 'r':
        return is("<real>", Element::Real);
      case 'a':
        return is("<array>", Element::Array);
      default:
        return false;
    }
  }

  bool readStartTag(Tag& tag) {
    tag.start = at_;
    if (at_ == document_.size()) return refuse(at_, "the document is cut off");
    if (readCommonTag(tag)) return true;
    const std::size_t nameStart = ++at_;
    while (at_ < document_.size() && !endsName(document_[at_])) ++at_;
    tag.name = document_.substr(nameStart, at_ - nameStart);
    const ElementType* const type = typeNamed(tag.name);
    tag.element = type ? type->element : Element::Unknown;
    if (tag.name.empty()) return refuse(tag.start, "a malformed tag");
    if (at_ < document_.size() && isSpace(document_[at_]) && !skipAttributes(AttributesOf::Element))
      return false;
    tag.empty = follows("/");
    if (tag.empty) ++at_;
    if (!follows(">")) return refuse(tag.start, "a malformed tag");
    ++at_;
    return true;
  }

  bool readEndTag(const Tag& tag) {
    const std::size_t start = at_;
    at_ += 2;
    const bool same = document_.substr(at_).starts_with(tag.name);
    at_ += same ? tag.name.size() : 0;
    while (same && at_ < document_.size() && isSpace(document_[at_])) ++at_;
    if (!same || !follows(">")) return refuse(start, "</" + shown(tag.name) + "> is missing here");
    ++at_;
    return true;
  }

  std::vector<std::string>& repeatedKeys_;
  Store store_;
  std::vector<PropertyListDictionary::Entry> entries_;  // of all dictionaries that are open
  std::vector<PropertyList> values_;                    // of all arrays that are open
};

}  // namespace

Result<PropertyList> readXML(std::string_view document, std::vector<std::string>& repeatedKeys) {
  Reader reader(document, repeatedKeys);
  PropertyList plist;
  if (!reader.read(plist)) return reader.error();
  return plist;
}

}  // namespace tasklane::plist
