#include "delivery/caldav/CalendarAccount.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "delivery/vtodo/CalendarText.h"
#include "foundation/events/Interruption.h"

namespace tasklane {

namespace {

/// How many tasks one question asks for.
constexpr std::size_t kTasksInQuestion = 50;
/// A server that is never done telling what has changed is asked otherwise.
constexpr int kMostPartsOfAnswer = 1000;
constexpr std::size_t kLongestPlainText = 16384;

bool isAddress(const std::string& text) { return text.find("://") != std::string::npos; }

std::string asXMLText(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c == '&') {
      result += "&amp;";
    } else if (c == '<') {
      result += "&lt;";
    } else {
      result += c;
    }
  }
  return result;
}

/// The path of a whole address.
std::string pathOf(const std::string& address) {
  return address.substr(std::min(address.find('/', address.find("://") + 3), address.size()));
}

/// A resource as the copy has it: files in it stay on the server.
CalendarCopy::Resource resourceOf(const std::string& etag, const std::string& text) {
  CalendarCopy::Resource resource{etag, {}, {}};
  const auto calendar = CalendarText::parse(text);
  if (!calendar) return resource;
  for (const auto& component : calendar.value().components()) {
    if (!component.is("VTODO")) continue;
    resource.uid = CalendarText::plainText(calendar.value().value(component, "UID").value_or(""));
    resource.text = text;
    if (text.size() > kLongestPlainText) {
      CalendarEdit edit(calendar.value(), component);
      edit.remove("ATTACH");
      resource.text = edit.text();
    }
    break;
  }
  return resource;
}

}  // namespace

std::string uidOfCalendar(const std::string& text) { return resourceOf({}, text).uid; }

CalendarAccount::CalendarAccount(Settings settings)
    : settings_(std::move(settings)),
      key_(settings_.address + " " + settings_.client.user),
      copy_(CalendarCopy::load(key_)) {
  if (isAddress(settings_.address)) givenAddress_ = settings_.address;
}

CalendarAccount::~CalendarAccount() = default;

Result<std::string> CalendarAccount::addressOfServer() {
  if (!givenAddress_.empty()) return givenAddress_;
  if (!copy_.server.empty()) return copy_.server;
  return WebDAVClient::addressOfMailDomain(
      settings_.address.substr(settings_.address.rfind('@') + 1));
}

Result<WebDAVClient*> CalendarAccount::client() {
  if (client_) return client_.get();
  const auto address = addressOfServer();
  if (!address) return address.error();
  auto settings = settings_.client;
  settings.address = address.value();
  settings.interruption = Interruption::descriptor();
  auto made = WebDAVClient::make(std::move(settings));
  if (!made) return made.error();
  copy_.server = address.value();
  client_ = std::move(made).value();
  return client_.get();
}

Result<void> CalendarAccount::findPlaces() {
  const auto web = client();
  if (!web) return web.error();
  const auto places = placesOfLists(*web.value(), copy_.server);
  if (!places) return places.error();
  copy_.places = places.value();
  isChanged_ = true;
  return {};
}

Result<void> CalendarAccount::findLists() {
  const bool werePlacesKnown = !copy_.places.empty();
  if (!werePlacesKnown) {
    if (const auto found = findPlaces(); !found) return found;
  }
  const auto web = client();
  if (!web) return web.error();
  auto found = listsInPlaces(*web.value(), copy_.places);
  if (!found && found.error().kind == NSError::Kind::FileNotFound && werePlacesKnown) {
    copy_.places.clear();
    return findLists();
  }
  if (!found) return found.error();
  std::vector<CalendarCopy::List> lists;
  for (auto& properties : found.value()) {
    auto* known = listOfAddress(properties.address);
    CalendarCopy::List list;
    if (known) list = std::move(*known);
    isChanged_ |= !known || list.properties.title != properties.title;
    list.properties = std::move(properties);
    lists.push_back(std::move(list));
  }
  isChanged_ |= lists.size() != copy_.lists.size();
  copy_.lists = std::move(lists);
  return {};
}

std::optional<std::string> CalendarAccount::state() const {
  std::string all;
  for (const auto& list : copy_.lists) {
    if (list.properties.state.empty()) return std::nullopt;
    all +=
        list.properties.address + " " + list.properties.title + " " + list.properties.state + "\n";
  }
  return all;
}

Result<void> CalendarAccount::readTasks() {
  for (auto& list : copy_.lists) {
    const auto& state = list.properties.state;
    if (!state.empty() && list.state == state) continue;
    if (const auto read = readTasks(list); !read) return read;
    isChanged_ = true;
  }
  return {};
}

/// The state is that of before the changes are asked for, so that what changes meanwhile is asked
/// for again.
Result<void> CalendarAccount::readTasks(CalendarCopy::List& list) {
  auto changes = list.syncToken.empty() ? std::nullopt : changesByToken(list);
  if (!changes) changes = changesByComparison(list);
  if (!*changes) return changes->error();
  const auto& changed = changes->value();
  auto resources = list.resources;
  for (const auto& address : changed.gone) resources.erase(address);
  if (const auto read = fetch(list.properties.address, changed, resources); !read) return read;
  list.resources = std::move(resources);
  list.syncToken = changed.syncToken;
  list.state = list.properties.state;
  return {};
}

/// Nothing when the server does not tell by the token, for example because it is too old.
std::optional<Result<CalendarAccount::Changes>> CalendarAccount::changesByToken(
    const CalendarCopy::List& list) {
  const std::string& address = list.properties.address;
  Changes changes;
  changes.syncToken = list.syncToken;
  for (int part = 0; part < kMostPartsOfAnswer; ++part) {
    auto request = reportRequest(
        address, 0,
        std::string("<D:sync-collection ") + kCalendarNamespaces + "><D:sync-token>" +
            asXMLText(changes.syncToken) +
            "</D:sync-token><D:sync-level>1</D:sync-level><D:prop><D:getetag/></D:prop>"
            "</D:sync-collection>");
    const auto response = client_->send(request);
    if (response.status == 0 || response.status == 401)
      return Result<Changes>(errorOfResponse(response));
    if (response.status != 207) return std::nullopt;
    const auto answer = client_->multistatus(response);
    if (!answer || answer.value().syncToken.empty()) return std::nullopt;
    bool isWhole = true;
    for (const auto& resource : answer.value().resources) {
      if (resource.status == 507) isWhole = false;
      if (resource.address == address || resource.status == 507) continue;
      if (resource.status == 404) {
        changes.gone.insert(resource.address);
        changes.etags.erase(resource.address);
      } else {
        changes.etags[resource.address] = resource.etag.value_or("");
        changes.gone.erase(resource.address);
      }
    }
    changes.syncToken = answer.value().syncToken;
    if (isWhole) return Result<Changes>(std::move(changes));
  }
  return std::nullopt;
}

Result<CalendarAccount::Changes> CalendarAccount::changesByComparison(
    const CalendarCopy::List& list) {
  const std::string& address = list.properties.address;
  auto response = client_->send(reportRequest(
      address, 1,
      std::string("<C:calendar-query ") + kCalendarNamespaces +
          "><D:prop><D:getetag/></D:prop><C:filter><C:comp-filter name=\"VCALENDAR\">"
          "<C:comp-filter name=\"VTODO\"/></C:comp-filter></C:filter></C:calendar-query>"));
  if (response.status != 207 && response.status != 0 && response.status != 401)
    response = client_->send(propertiesRequest(address, 1, "<D:getetag/><D:resourcetype/>"));
  if (response.status != 207) return errorOfResponse(response);
  const auto answer = client_->multistatus(response);
  if (!answer) return answer.error();
  Changes changes;
  changes.syncToken = list.properties.syncToken;
  for (const auto& [known, resource] : list.resources) changes.gone.insert(known);
  for (const auto& resource : answer.value().resources) {
    if (resource.status != 200 || resource.isCalendar || resource.address.ends_with('/')) continue;
    changes.gone.erase(resource.address);
    changes.etags[resource.address] = resource.etag.value_or("");
  }
  return changes;
}

/// Brings resources up to what has changed.
Result<void> CalendarAccount::fetch(const std::string& list, const Changes& changes,
                                    Resources& resources) {
  std::vector<std::string> wanted;
  for (const auto& [address, etag] : changes.etags) {
    const auto known = resources.find(address);
    if (known == resources.end() || etag.empty() || known->second.etag != etag)
      wanted.push_back(address);
  }
  Result<void> result;
  const auto question = [&](std::size_t index) {
    std::string hrefs;
    const std::size_t end = std::min(wanted.size(), (index + 1) * kTasksInQuestion);
    for (std::size_t i = index * kTasksInQuestion; i < end; ++i)
      hrefs += "<D:href>" + asXMLText(pathOf(wanted[i])) + "</D:href>";
    return reportRequest(list, 0,
                         std::string("<C:calendar-multiget ") + kCalendarNamespaces +
                             "><D:prop><D:getetag/><C:calendar-data/></D:prop>" + hrefs +
                             "</C:calendar-multiget>");
  };
  client_->sendAll((wanted.size() + kTasksInQuestion - 1) / kTasksInQuestion, question,
                   [&](std::size_t, const WebDAVResponse& response) {
                     const auto answer = response.status == 207
                                             ? client_->multistatus(response)
                                             : Result<Multistatus>(errorOfResponse(response));
                     if (!answer) {
                       result = answer.error();
                       return WebDAVClient::Next::Stop;
                     }
                     for (const auto& resource : answer.value().resources) {
                       if (resource.status == 404) resources.erase(resource.address);
                       if (resource.calendarData)
                         resources[resource.address] =
                             resourceOf(resource.etag.value_or(""), *resource.calendarData);
                     }
                     return WebDAVClient::Next::GoOn;
                   });
  return result;
}

CalendarCopy::List* CalendarAccount::listOfAddress(const std::string& address) {
  const std::string folder = address.substr(0, address.rfind('/') + 1);
  const auto found = std::find_if(copy_.lists.begin(), copy_.lists.end(), [&](const auto& list) {
    return list.properties.address == folder;
  });
  return found == copy_.lists.end() ? nullptr : &*found;
}

std::unordered_map<std::string, std::string> CalendarAccount::addressesOfTasks() const {
  std::unordered_map<std::string, std::string> addresses;
  for (const auto& list : copy_.lists)
    for (const auto& [address, resource] : list.resources)
      if (!resource.uid.empty()) addresses.emplace(resource.uid, address);
  return addresses;
}

void CalendarAccount::noteTask(const std::string& address, const std::string& etag,
                               const std::string& text) {
  auto* list = listOfAddress(address);
  // Without an ETag nobody knows whether the server has changed it.
  if (!list || etag.empty()) return;
  list->resources[address] = resourceOf(etag, text);
  isChanged_ = true;
}

void CalendarAccount::noteWithoutTask(const std::string& address) {
  auto* list = listOfAddress(address);
  if (list && list->resources.erase(address) > 0) isChanged_ = true;
}

void CalendarAccount::keepCopy() {
  if (std::exchange(isChanged_, false)) copy_.save(key_);
}

}  // namespace tasklane
