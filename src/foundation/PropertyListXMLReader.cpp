#include "foundation/PropertyListXMLReader.h"

#include <charconv>
#include <cstring>
#include <pugixml.hpp>

#include "foundation/PropertyListSyntax.h"
#include "foundation/UTF8.h"

namespace tasklane::plist {

namespace {

bool isXMLCharacter(std::uint32_t c) {
  return c == '\t' || c == '\n' || c == '\r' || (c >= 0x20 && c < 0xD800) ||
         (c > 0xDFFF && c < 0xFFFE) || (c > 0xFFFF && c <= 0x10FFFF);
}

enum class Element { Dict, Array, Key, String, Integer, Real, True, False, Date, Data, Unknown };

Element elementNamed(std::string_view name) {
  constexpr std::pair<std::string_view, Element> names[] = {
      {"string", Element::String}, {"key", Element::Key},         {"dict", Element::Dict},
      {"array", Element::Array},   {"integer", Element::Integer}, {"true", Element::True},
      {"false", Element::False},   {"date", Element::Date},       {"real", Element::Real},
      {"data", Element::Data}};
  for (const auto& [known, element] : names)
    if (name == known) return element;
  return Element::Unknown;
}

/// Builds the value from the parsed tree. The parser works in place on a copy of the document, so
/// that a pointer into the tree's names and texts is a place in the document, too. It leaves
/// references alone and passes much that is no XML or no property list; what it lets pass is found
/// here, in the document itself where the tree has lost it.
class Reader {
 public:
  Reader(std::string_view document, const char* copy) : document_(document), copy_(copy) {}

  std::optional<PropertyList> read(const pugi::xml_document& tree) {
    pugi::xml_node root;
    for (const pugi::xml_node node : tree) {
      if (node.type() == pugi::node_doctype) {
        if (root) return fail(node, "a document type after the root element");
        if (std::strstr(node.value(), "<!ENTITY"))
          return fail(node, "the document type declares entities");
      } else if (node.type() != pugi::node_element) {
        return fail(node, root ? "text after the end of the property list"
                               : "text before the <plist> element");
      } else if (root) {
        return fail(node, "a second root element");
      } else {
        root = node;
      }
    }
    if (!root || root.name() != std::string_view("plist"))
      return fail(root, "the root element must be <plist>");
    const pugi::xml_node value = root.first_child();
    if (!value) return fail(root, "<plist> holds no value");
    auto plist = readValue(value, 0);
    if (plist && value.next_sibling())
      return fail(value.next_sibling(), "<plist> holds more than one value");
    return plist;
  }

  NSError error() const { return errorAt(document_, faultOffset_, fault_); }

 private:
  std::optional<PropertyList> readValue(const pugi::xml_node& node, int depth) {
    if (node.type() != pugi::node_element) return fail(node, "text between elements");
    const std::string_view name = node.name();
    const Element element = elementNamed(name);
    switch (element) {
      case Element::Dict:
        return readDictionary(node, depth);
      case Element::Array:
        return readArray(node, depth);
      case Element::Key:
        return fail(node, "a <key> outside of a dictionary");
      case Element::Unknown:
        return fail(node, "unknown element <" + std::string(name) + ">");
      default:
        break;
    }
    auto text = readText(node, name);
    if (!text) return std::nullopt;
    if (element == Element::String) return PropertyList(std::move(*text));
    auto value = scalar(element, *text);
    if (!value) return fail(node, "<" + std::string(name) + "> does not hold " + wanted(element));
    return value;
  }

  static std::optional<PropertyList> scalar(Element element, const std::string& text) {
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

  static const char* wanted(Element element) {
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

  std::optional<PropertyList> readDictionary(const pugi::xml_node& node, int depth) {
    if (node.first_child() && depth >= maximumDepth) return tooDeep(node);
    std::size_t count = 0;
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) ++count;
    std::vector<PropertyListDictionary::Entry> entries;
    entries.reserve(count / 2);
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
      if (child.type() != pugi::node_element) return fail(child, "text between elements");
      const std::string_view name = child.name();
      if (name != "key") return fail(child, "a <key> is missing before this value");
      auto key = readText(child, name);
      if (!key) return std::nullopt;
      const pugi::xml_node valueNode = child.next_sibling();
      if (!valueNode || valueNode.name() == std::string_view("key"))
        return fail(child, "the key \"" + *key + "\" has no value");
      auto value = readValue(valueNode, depth + 1);
      if (!value) return std::nullopt;
      entries.emplace_back(std::move(*key), std::move(*value));
      child = valueNode;
    }
    return PropertyList(PropertyListDictionary(std::move(entries)));
  }

  std::optional<PropertyList> readArray(const pugi::xml_node& node, int depth) {
    if (node.first_child() && depth >= maximumDepth) return tooDeep(node);
    std::size_t count = 0;
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) ++count;
    PropertyList::Array array;
    array.reserve(count);
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
      auto value = readValue(child, depth + 1);
      if (!value) return std::nullopt;
      array.push_back(std::move(*value));
    }
    return PropertyList(std::move(array));
  }

  /// The text of an element that holds nothing else.
  std::optional<std::string> readText(const pugi::xml_node& node, std::string_view name) {
    const pugi::xml_node child = node.first_child();
    const std::size_t afterName = offsetOf(name.data()) + name.size();
    if (child && child.type() == pugi::node_pcdata && !child.next_sibling()) {
      const std::string_view text = child.value();
      const std::size_t start = offsetOf(text.data()), end = start + text.size();
      // Otherwise something lies around the text (or line ends were changed in it).
      if (start == afterName + 1 && document_.substr(end).starts_with("</")) {
        if (text.find('&') == text.npos) return std::string(text);
        std::string decoded;
        if (!appendDecoded(decoded, text, start)) return std::nullopt;
        return decoded;
      }
    }
    if (!child && document_.substr(afterName).starts_with("></")) return std::string();
    return readMixedText(afterName);
  }

  /// The text of an element that may hold comments, instructions and character data sections, from
  /// inside its start tag.
  std::optional<std::string> readMixedText(std::size_t at) {
    char quote = 0;
    for (; quote || document_[at] != '>'; ++at) {
      const char c = document_[at];
      if (quote == 0 && (c == '"' || c == '\''))
        quote = c;
      else if (c == quote)
        quote = 0;
    }
    std::string text;
    if (document_[at - 1] == '/') return text;
    for (++at;;) {
      const std::size_t tag = document_.find('<', at);
      if (!appendDecoded(text, withoutReturns(document_.substr(at, tag - at)), at))
        return std::nullopt;
      const std::string_view rest = document_.substr(tag);
      if (rest.starts_with("</")) return text;
      std::string_view close = "?>";
      if (rest.starts_with("<!--"))
        close = "-->";
      else if (rest.starts_with("<![CDATA["))
        close = "]]>";
      else if (!rest.starts_with("<?"))
        return fail(tag, "an element inside of a text");
      const std::size_t end = document_.find(close, tag);
      if (close == "]]>") text += withoutReturns(document_.substr(tag + 9, end - tag - 9));
      at = end + close.size();
    }
  }

  /// Line ends as XML wants them: one line feed for each.
  static std::string withoutReturns(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] != '\r')
        out += text[i];
      else if (i + 1 == text.size() || text[i + 1] != '\n')
        out += '\n';
    }
    return out;
  }

  /// Replaces references to characters; the offset is the text's, for errors.
  bool appendDecoded(std::string& out, std::string_view text, std::size_t offset) {
    for (std::size_t at = 0; at < text.size();) {
      const std::size_t reference = std::min(text.find('&', at), text.size());
      out.append(text, at, reference - at);
      if (reference == text.size()) break;
      const std::size_t end = text.find(';', reference);
      const auto c = end == text.npos
                         ? std::nullopt
                         : characterOf(text.substr(reference + 1, end - reference - 1));
      if (!c) {
        fail(offset + reference, "an unknown or malformed reference after \"&\"");
        return false;
      }
      utf8::append(out, *c);
      at = end + 1;
    }
    return true;
  }

  static std::optional<char32_t> characterOf(std::string_view reference) {
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

  std::size_t offsetOf(const char* place) const { return static_cast<std::size_t>(place - copy_); }

  std::nullopt_t tooDeep(const pugi::xml_node& node) {
    return fail(node, "nested more deeply than " + std::to_string(maximumDepth) + " levels");
  }
  std::nullopt_t fail(const pugi::xml_node& node, std::string what) {
    const auto offset = node.offset_debug();
    return fail(offset > 0 ? static_cast<std::size_t>(offset) : 0, std::move(what));
  }
  std::nullopt_t fail(std::size_t offset, std::string what) {
    faultOffset_ = std::min(offset, document_.size());
    fault_ = std::move(what);
    return std::nullopt;
  }

  std::string_view document_;
  const char* copy_;
  std::size_t faultOffset_ = 0;
  std::string fault_;
};

/// The offset of the first character that XML does not allow, or none. The text is valid UTF-8.
std::optional<std::size_t> firstForbidden(std::string_view text) {
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte < 0x20 && !isSpace(text[at])) return at;
    // U+FFFE and U+FFFF
    if (byte == 0xEF && static_cast<unsigned char>(text[at + 1]) == 0xBF &&
        static_cast<unsigned char>(text[at + 2]) >= 0xBE)
      return at;
  }
  return std::nullopt;
}

}  // namespace

Result<PropertyList> readXML(std::string_view document) {
  if (const auto offset = firstForbidden(document))
    return errorAt(document, *offset, "a control character");

  unsigned options = pugi::parse_cdata | pugi::parse_doctype | pugi::parse_fragment;
  if (document.find('\r') != document.npos) options |= pugi::parse_eol;
  // The parser does not see a last character that stands alone after the last tag.
  std::string copy(document);
  copy += '\n';
  pugi::xml_document tree;
  const pugi::xml_parse_result parsed =
      tree.load_buffer_inplace(copy.data(), copy.size(), options, pugi::encoding_utf8);
  if (!parsed) {
    const auto offset = parsed.offset > 0 ? static_cast<std::size_t>(parsed.offset) : 0;
    return errorAt(document, std::min(offset, document.size()), parsed.description());
  }
  Reader reader(document, copy.data());
  if (auto plist = reader.read(tree)) return std::move(*plist);
  return reader.error();
}

}  // namespace tasklane::plist
