#include "delivery/caldav/webdav/MultistatusReading.h"

#include <charconv>
#include <pugixml.hpp>

#include "delivery/caldav/webdav/WebAddress.h"

namespace tasklane {

namespace {

constexpr std::string_view kDAV = "DAV:";
constexpr std::string_view kCalDAV = "urn:ietf:params:xml:ns:caldav";
constexpr std::string_view kCalendarServer = "http://calendarserver.org/ns/";

std::string_view localName(pugi::xml_node node) {
  const std::string_view name = node.name();
  const auto colon = name.find(':');
  return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

/// The parser leaves prefixes alone.
std::string_view namespaceOf(pugi::xml_node node) {
  const std::string_view name = node.name();
  const auto colon = name.find(':');
  std::string attribute = "xmlns";
  if (colon != std::string_view::npos) attribute.append(":").append(name.substr(0, colon));
  for (; node; node = node.parent())
    if (const auto found = node.attribute(attribute.c_str())) return found.value();
  return {};
}

bool is(pugi::xml_node node, std::string_view space, std::string_view name) {
  return localName(node) == name && namespaceOf(node) == space;
}

pugi::xml_node child(pugi::xml_node parent, std::string_view space, std::string_view name) {
  return parent.find_child([&](pugi::xml_node node) { return is(node, space, name); });
}

std::string trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1));
}

/// Also of a text in several pieces.
std::string textOf(pugi::xml_node node) {
  std::string text;
  for (const auto& piece : node.children())
    if (piece.type() == pugi::node_pcdata || piece.type() == pugi::node_cdata)
      text += piece.value();
  return text;
}

std::string trimmedTextOf(pugi::xml_node node) { return trimmed(textOf(node)); }

/// "HTTP/1.1 404 Not Found"
long statusOf(pugi::xml_node node) {
  const std::string line = trimmedTextOf(node);
  const auto blank = line.find(' ');
  long status = 0;
  if (blank != std::string::npos)
    std::from_chars(line.data() + blank + 1, line.data() + line.size(), status);
  return status;
}

bool mayWrite(pugi::xml_node privileges) {
  for (const auto& privilege : privileges.children()) {
    if (!is(privilege, kDAV, "privilege")) continue;
    for (const char* name : {"all", "write", "write-content", "bind"})
      if (child(privilege, kDAV, name)) return true;
  }
  return false;
}

/// What the elements "href" in a property name.
std::vector<std::string> addressesIn(pugi::xml_node property, const std::string& base) {
  std::vector<std::string> addresses;
  for (const auto& href : property.children()) {
    if (!is(href, kDAV, "href")) continue;
    if (auto address = resolvedAddress(base, trimmedTextOf(href)))
      addresses.push_back(std::move(*address));
  }
  return addresses;
}

void readDAVProperty(pugi::xml_node property, const std::string& base, DAVResource& resource) {
  const auto name = localName(property);
  if (name == "resourcetype") {
    resource.isCalendar = !!child(property, kCalDAV, "calendar");
  } else if (name == "displayname") {
    resource.displayName = trimmedTextOf(property);
  } else if (name == "getetag") {
    resource.etag = trimmedTextOf(property);
  } else if (name == "sync-token") {
    resource.syncToken = trimmedTextOf(property);
  } else if (name == "current-user-principal") {
    const auto principals = addressesIn(property, base);
    if (!principals.empty()) resource.principal = principals.front();
  } else if (name == "current-user-privilege-set") {
    resource.isWritable = mayWrite(property);
  }
}

void readCalDAVProperty(pugi::xml_node property, const std::string& base, DAVResource& resource) {
  const auto name = localName(property);
  if (name == "calendar-home-set") {
    resource.calendarHomes = addressesIn(property, base);
  } else if (name == "calendar-data") {
    resource.calendarData = textOf(property);
  } else if (name == "supported-calendar-component-set") {
    resource.components.emplace();
    for (const auto& component : property.children())
      if (is(component, kCalDAV, "comp"))
        resource.components->insert(component.attribute("name").value());
  } else if (name == "max-resource-size") {
    const std::string text = trimmedTextOf(property);
    std::uint64_t size = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), size);
    if (read.ec == std::errc() && read.ptr == text.data() + text.size())
      resource.maxResourceSize = size;
  }
}

DAVResource resourceOf(pugi::xml_node response, const std::string& base) {
  DAVResource resource;
  const auto addresses = addressesIn(response, base);
  if (!addresses.empty()) resource.address = addresses.front();
  if (const auto status = child(response, kDAV, "status")) resource.status = statusOf(status);
  for (const auto& propstat : response.children()) {
    if (!is(propstat, kDAV, "propstat")) continue;
    if (statusOf(child(propstat, kDAV, "status")) / 100 != 2) continue;
    for (const auto& property : child(propstat, kDAV, "prop").children()) {
      const auto space = namespaceOf(property);
      if (space == kDAV) {
        readDAVProperty(property, base, resource);
      } else if (space == kCalDAV) {
        readCalDAVProperty(property, base, resource);
      } else if (is(property, kCalendarServer, "getctag")) {
        resource.ctag = trimmedTextOf(property);
      }
    }
  }
  return resource;
}

}  // namespace

Result<Multistatus> multistatusFromXML(std::string_view xml, const std::string& address) {
  pugi::xml_document document;
  const auto parsed = document.load_buffer(xml.data(), xml.size(),
                                           pugi::parse_default | pugi::parse_ws_pcdata_single);
  if (!parsed)
    return NSError{NSError::Kind::Corrupt, std::string("the server's answer is no XML (") +
                                               parsed.description() + " at byte " +
                                               std::to_string(parsed.offset) + ")"};
  const auto root = document.document_element();
  if (!is(root, kDAV, "multistatus"))
    return NSError{NSError::Kind::Corrupt, "the server's answer is none of WebDAV"};
  Multistatus answer;
  for (const auto& node : root.children()) {
    if (is(node, kDAV, "response")) {
      auto resource = resourceOf(node, address);
      if (!resource.address.empty()) answer.resources.push_back(std::move(resource));
    } else if (is(node, kDAV, "sync-token")) {
      answer.syncToken = trimmedTextOf(node);
    }
  }
  return answer;
}

bool errorNamesCondition(std::string_view xml, std::string_view condition) {
  pugi::xml_document document;
  if (!document.load_buffer(xml.data(), xml.size())) return false;
  for (const auto& node : document.document_element().children())
    if (localName(node) == condition) return true;
  return false;
}

}  // namespace tasklane
