#include <algorithm>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <utility>

#include "common/JSONFromPlist.h"
#include "common/ShareRequest.h"
#include "foundation/extension/UTType.h"
#include "foundation/files/NSURL.h"

namespace tasklane {

namespace {

using nlohmann::json;

constexpr int kDeepest = 200;
constexpr const char *kCopied = "copied", *kSelected = "selected";

/// The first thing that is wrong with a document, on its way out of the readers below.
struct Wrong {
  std::string place;
  std::string what;
};

std::string childPlace(const std::string& place, const std::string& key) {
  std::string escaped;
  for (const char c : key) escaped += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
  return place + "/" + escaped;
}

std::string childPlace(const std::string& place, std::size_t index) {
  return place + "/" + std::to_string(index);
}

void requireObject(const json& value, const std::string& place,
                   std::initializer_list<std::string_view> knownKeys) {
  if (!value.is_object()) throw Wrong{place, "must be an object"};
  for (const auto& [key, ignored] : value.items()) {
    bool known = false;
    for (const auto knownKey : knownKeys) known |= key == knownKey;
    if (known) continue;
    std::string list;
    for (const auto knownKey : knownKeys)
      list += (list.empty() ? "\"" : ", \"") + std::string(knownKey) + "\"";
    throw Wrong{childPlace(place, key), "is not a known key; there are " + list};
  }
}

const json::array_t& requireArray(const json& value, const std::string& place) {
  if (!value.is_array()) throw Wrong{place, "must be an array"};
  return value.get_ref<const json::array_t&>();
}

std::optional<std::string> textForKey(const json& object, const std::string& place,
                                      const char* key) {
  const auto found = object.find(key);
  if (found == object.end()) return std::nullopt;
  if (!found->is_string()) throw Wrong{childPlace(place, key), "must be a string"};
  return found->get<std::string>();
}

PropertyList plistFromJSON(const json& value, const std::string& place, int depth = 0) {
  if (depth > kDeepest) throw Wrong{place, "is nested too deeply"};
  switch (value.type()) {
    case json::value_t::object: {
      std::vector<PropertyListDictionary::Entry> entries;
      for (const auto& [key, element] : value.items())
        if (!element.is_null())
          entries.emplace_back(key, plistFromJSON(element, childPlace(place, key), depth + 1));
      return PropertyListDictionary(std::move(entries));
    }
    case json::value_t::array: {
      PropertyList::Array array;
      for (std::size_t i = 0; i < value.size(); ++i)
        array.push_back(plistFromJSON(value[i], childPlace(place, i), depth + 1));
      return array;
    }
    case json::value_t::string:
      return value.get<std::string>();
    case json::value_t::boolean:
      return value.get<bool>();
    case json::value_t::number_integer:
      return value.get<std::int64_t>();
    case json::value_t::number_unsigned:
      return value.get<std::uint64_t>();
    case json::value_t::number_float:
      return value.get<double>();
    default:
      throw Wrong{place, "cannot be shared"};
  }
}

/// A file name or file address of a document as an absolute path; a name is taken from the folder.
std::string resolvedPath(const std::string& file, const std::string& folder) {
  if (const auto url = NSURL::URLWithString(file); url && url->isFileURL()) return url->path();
  if (file.empty() || file.find('\0') != std::string::npos) return file;
  return NSURL::fileURLWithPath(file.front() == '/' ? file : folder + "/" + file).path();
}

class Reader {
 public:
  explicit Reader(std::string folder) : folder_(std::move(folder)) {}

  ShareRequest readRequest(const json& document) {
    requireObject(document, "", {"items", "clipboard", "cleanLinks"});
    if (!document.contains("items")) throw Wrong{"/items", "is missing"};
    ShareRequest request;
    const auto& items = requireArray(document["items"], "/items");
    request.clipboard = readClipboard(document);
    if (request.clipboard && !items.empty())
      throw Wrong{"/clipboard", "goes only with empty \"items\""};
    if (const auto clean = document.find("cleanLinks"); clean != document.end()) {
      if (!clean->is_boolean()) throw Wrong{"/cleanLinks", "must be true or false"};
      request.cleanLinks = clean->get<bool>();
    }
    for (std::size_t i = 0; i < items.size(); ++i)
      request.items.push_back(readItem(items[i], childPlace("/items", i)));
    return request;
  }

 private:
  static std::optional<ShareRequest::Clipboard> readClipboard(const json& document) {
    const auto name = textForKey(document, "", "clipboard");
    if (!name) return std::nullopt;
    if (*name == kCopied) return ShareRequest::Clipboard::Copied;
    if (*name == kSelected) return ShareRequest::Clipboard::Selected;
    throw Wrong{"/clipboard", "must be \"copied\" or \"selected\""};
  }

  ShareRequest::Item readItem(const json& value, const std::string& place) {
    requireObject(value, place, {"title", "text", "attachments"});
    ShareRequest::Item item{
        textForKey(value, place, "title"), textForKey(value, place, "text"), {}};
    if (!value.contains("attachments")) return item;
    const std::string listPlace = place + "/attachments";
    const auto& attachments = requireArray(value["attachments"], listPlace);
    for (std::size_t i = 0; i < attachments.size(); ++i)
      item.attachments.push_back(readAttachment(attachments[i], childPlace(listPlace, i)));
    return item;
  }

  ShareRequest::Attachment readAttachment(const json& value, const std::string& place) {
    if (!value.is_object() || !value.contains("types")) return {readRepresentation(value, place)};
    requireObject(value, place, {"types"});
    const auto& types = requireArray(value["types"], place + "/types");
    if (types.empty()) throw Wrong{place + "/types", "must name at least one type"};
    ShareRequest::Attachment attachment;
    for (std::size_t i = 0; i < types.size(); ++i)
      attachment.push_back(readRepresentation(types[i], childPlace(place + "/types", i)));
    return attachment;
  }

  ShareRequest::Representation readRepresentation(const json& value, const std::string& place) {
    requireObject(value, place, {"type", "url", "file", "text", "results"});
    const auto type = textForKey(value, place, "type");
    if (!type) throw Wrong{place + "/type", "is missing"};
    if (!UTTypeIsDeclared(*type))
      throw Wrong{place + "/type", "\"" + *type + "\" is not a known type, such as public.image"};
    if (value.size() != 2)
      throw Wrong{place, "must have one of \"url\", \"file\", \"text\" and \"results\""};
    ShareRequest::Representation representation;
    representation.type = *type;
    representation.url = textForKey(value, place, "url");
    representation.text = textForKey(value, place, "text");
    if (const auto file = textForKey(value, place, "file"))
      representation.file = resolvedPath(*file, folder_);
    if (const auto results = value.find("results"); results != value.end()) {
      if (!results->is_object()) throw Wrong{place + "/results", "must be an object"};
      for (const char* key : {"url", "selection"})
        if (const auto text = results->find(key); text != results->end() && !text->is_null())
          (void)textForKey(*results, place + "/results", key);
      representation.results = plistFromJSON(*results, place + "/results");
    }
    const auto requireType = [&](bool given, const char* key, const char* wanted) {
      if (given && !UTTypeConformsTo(*type, wanted))
        throw Wrong{childPlace(place, key), "does not go with the type " + *type};
    };
    requireType(representation.url.has_value(), "url", kUTTypeURL);
    requireType(representation.text.has_value(), "text", kUTTypeText);
    requireType(representation.results.has_value(), "results", kUTTypePropertyList);
    return representation;
  }

  std::string folder_;
};

json representationAsJSON(const ShareRequest::Representation& representation) {
  json object{{"type", representation.type}};
  if (representation.url) object["url"] = *representation.url;
  // As an address, because a file's name need not be text.
  if (representation.file)
    object["file"] = NSURL::fileURLWithPath(*representation.file).absoluteString();
  if (representation.text) object["text"] = *representation.text;
  if (representation.results) object["results"] = JSONFromPlist(*representation.results);
  return object;
}

}  // namespace

Result<ShareRequest> ShareRequest::requestFromJSON(std::string_view text,
                                                   const std::string& folder) {
  try {
    return Reader(folder).readRequest(json::parse(text));
  } catch (const Wrong& wrong) {
    return NSError{
        NSError::Kind::Corrupt,
        (wrong.place.empty() ? std::string("the document") : wrong.place) + " " + wrong.what};
  } catch (const json::exception& exception) {
    // "[label] parse error at line 1, column 2: what; last read: the bytes"
    std::string message = exception.what();
    message.resize(std::min(message.find("; last read"), message.size()));
    const auto label = message.find("] ");
    return NSError{
        NSError::Kind::Corrupt,
        "this is no JSON: " + message.substr(label == std::string::npos ? 0 : label + 2)};
  }
}

std::string ShareRequest::JSON() const {
  json list = json::array();
  for (const auto& item : items) {
    json object = json::object();
    if (item.title) object["title"] = *item.title;
    if (item.text) object["text"] = *item.text;
    for (const auto& attachment : item.attachments) {
      if (attachment.size() == 1) {
        object["attachments"].push_back(representationAsJSON(attachment[0]));
        continue;
      }
      json types = json::array();
      for (const auto& each : attachment) types.push_back(representationAsJSON(each));
      object["attachments"].push_back({{"types", types}});
    }
    list.push_back(std::move(object));
  }
  json document{{"items", list}};
  if (clipboard) document["clipboard"] = *clipboard == Clipboard::Copied ? kCopied : kSelected;
  if (cleanLinks) document["cleanLinks"] = true;
  return document.dump(-1, ' ', false, json::error_handler_t::replace);
}

}  // namespace tasklane
