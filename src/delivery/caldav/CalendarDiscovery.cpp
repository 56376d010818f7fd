#include "delivery/caldav/CalendarDiscovery.h"

#include <algorithm>
#include <utility>

namespace tasklane {

const char* const kCalendarNamespaces =
    "xmlns:D=\"DAV:\" xmlns:C=\"urn:ietf:params:xml:ns:caldav\" "
    "xmlns:S=\"http://calendarserver.org/ns/\"";

namespace {

constexpr const char* kXML = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";
constexpr const char* kOfList =
    "<D:resourcetype/><D:displayname/><D:sync-token/><D:current-user-privilege-set/>"
    "<C:supported-calendar-component-set/><C:max-resource-size/><S:getctag/>";
constexpr const char* kOfPrincipal =
    "<D:resourcetype/><D:current-user-principal/><C:calendar-home-set/>";

WebDAVRequest request(const std::string& method, const std::string& address, int depth,
                      const std::string& body) {
  return {method,
          address,
          {"Depth: " + std::to_string(depth), "Content-Type: application/xml; charset=utf-8"},
          kXML + body};
}

Result<Multistatus> properties(WebDAVClient& client, const WebDAVRequest& request) {
  const auto response = client.send(request);
  if (response.status != 207) return errorOfResponse(response);
  return client.multistatus(response);
}

/// Whether another address of the server may do better.
bool isNowhere(const NSError& error) { return error.kind == NSError::Kind::FileNotFound; }

/// What one address knows of the lists' place; nothing when it knows none.
Result<std::vector<CalendarPlace>> placesAt(WebDAVClient& client, const std::string& address) {
  std::vector<CalendarPlace> places;
  const auto found = properties(client, propertiesRequest(address, 0, kOfPrincipal));
  if (!found && isNowhere(found.error())) return places;
  if (!found) return found.error();
  if (found.value().resources.empty()) return places;
  const DAVResource& here = found.value().resources.front();
  auto homes = here.calendarHomes;
  if (homes.empty() && here.principal) {
    const auto principal = properties(client, propertiesRequest(*here.principal, 0, kOfPrincipal));
    if (principal && !principal.value().resources.empty())
      homes = principal.value().resources.front().calendarHomes;
  }
  for (auto& home : homes) places.push_back({std::move(home)});
  if (homes.empty() && here.isCalendar) places.push_back({here.address, true});
  return places;
}

std::string nameInAddress(const std::string& address) {
  const auto end = address.find_last_not_of('/');
  const auto begin = address.rfind('/', end);
  return address.substr(begin + 1, end - begin);
}

CalendarList listOf(const DAVResource& resource) {
  CalendarList list;
  list.address = resource.address + (resource.address.ends_with('/') ? "" : "/");
  list.title = resource.displayName.value_or("");
  if (list.title.empty()) list.title = nameInAddress(list.address);
  list.syncToken = resource.syncToken.value_or("");
  list.state = resource.ctag.value_or(list.syncToken);
  list.maxResourceSize = resource.maxResourceSize;
  list.isWritable = resource.isWritable.value_or(true);
  list.isForTasksAlone = resource.components && resource.components->size() == 1;
  return list;
}

bool holdsTasks(const DAVResource& resource) {
  return resource.isCalendar && (!resource.components || resource.components->contains("VTODO"));
}

}  // namespace

NSError errorOfResponse(const WebDAVResponse& response) {
  const std::string& address = response.address;
  switch (response.status) {
    case 0:
      return {NSError::Kind::Io, response.error};
    case 401:
      return {NSError::Kind::NotPermitted,
              "the server does not accept the user's name or the password at " + address};
    case 403:
      return {NSError::Kind::NotPermitted, "the server does not allow the use of " + address};
    case 404:
    case 405:
    case 410:
      return {NSError::Kind::FileNotFound, "there are no calendars at " + address};
    case 503:
    case 429:
      return {NSError::Kind::Busy, "the server is busy (" + std::to_string(response.status) + ")"};
    default:
      return {NSError::Kind::Io, "the server answers with status " +
                                     std::to_string(response.status) + " at " + address};
  }
}

WebDAVRequest propertiesRequest(const std::string& address, int depth,
                                const std::string& properties) {
  return request("PROPFIND", address, depth,
                 std::string("<D:propfind ") + kCalendarNamespaces + "><D:prop>" + properties +
                     "</D:prop></D:propfind>");
}

WebDAVRequest reportRequest(const std::string& address, int depth, const std::string& report) {
  return request("REPORT", address, depth, report);
}

Result<std::vector<CalendarPlace>> placesOfLists(WebDAVClient& client, const std::string& address) {
  std::vector<std::string> candidates{address};
  for (const char* usual : {"/.well-known/caldav", "/"})
    if (auto candidate = client.resolved(address, usual);
        candidate &&
        std::find(candidates.begin(), candidates.end(), *candidate) == candidates.end())
      candidates.push_back(std::move(*candidate));
  for (const auto& candidate : candidates) {
    auto places = placesAt(client, candidate);
    if (!places || !places.value().empty()) return places;
  }
  return NSError{NSError::Kind::FileNotFound,
                 "no calendars are found from " + address +
                     "; name the address that the server's help gives for CalDAV"};
}

Result<std::vector<CalendarList>> listsInPlaces(WebDAVClient& client,
                                                const std::vector<CalendarPlace>& places) {
  std::vector<CalendarList> lists;
  for (const auto& place : places) {
    const auto found =
        properties(client, propertiesRequest(place.address, place.isList ? 0 : 1, kOfList));
    if (!found) return found.error();
    for (const auto& resource : found.value().resources)
      if (holdsTasks(resource)) lists.push_back(listOf(resource));
  }
  return lists;
}

}  // namespace tasklane
