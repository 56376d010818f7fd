#include "delivery/caldav/CalDAVDestination.h"

#include <algorithm>
#include <utility>

#include "delivery/TaskFiles.h"
#include "delivery/TaskTexts.h"
#include "delivery/caldav/CalendarAttachments.h"
#include "delivery/vtodo/CalendarText.h"
#include "foundation/base/FileSystem.h"
#include "foundation/base/NSLog.h"

namespace tasklane {

namespace {

using Kind = DeliveryOutcome::Kind;

std::string quoted(const std::string& text) { return "\"" + text + "\""; }

bool isCalled(const CalendarList& list, const std::string& name) {
  const std::string path = list.address.substr(0, list.address.size() - 1);
  return list.title == name || list.address == name || path == name || nameInPath(path) == name;
}

bool isAboutTheText(const CalendarText::Line& line) {
  return line.is("DTSTAMP") || line.is("CREATED") || line.is("LAST-MODIFIED") || line.is("ATTACH");
}

/// The lines of a task that say what it is: not when it was written, nor its files.
std::vector<std::string> meaningOfCalendar(const std::string& text) {
  std::vector<std::string> lines;
  const auto calendar = CalendarText::parse(text);
  if (!calendar) return lines;
  for (const auto& component : calendar.value().components()) {
    if (!component.is("VTODO")) continue;
    for (const std::size_t number : component.lines) {
      const auto& line = calendar.value().lines()[number];
      if (isAboutTheText(line)) continue;
      lines.push_back(std::string(line.name) + ":" + CalendarText::plainText(line.value));
    }
  }
  std::sort(lines.begin(), lines.end());
  return lines;
}

}  // namespace

CalDAVDestination::CalDAVDestination(Settings settings)
    : settings_(std::move(settings)), account_(settings_.account) {}

std::string CalDAVDestination::description() const {
  const auto& address = settings_.account.address;
  return account_.givenAddress().empty() ? "the calendar server of " + address
                                         : "the calendar server at " + address;
}

Result<const CalendarList*> CalDAVDestination::chosenList() const {
  const CalendarList* best = nullptr;
  std::string titles;
  for (const auto& [list, state, token, resources] : account_.lists()) {
    const bool isNamed =
        isCalled(list, settings_.list.empty() ? account_.givenAddress() : settings_.list);
    if (isNamed) return &list;
    titles += (titles.empty() ? "" : ", ") + quoted(list.title);
    if (!list.isWritable) continue;
    if (!best || (list.isForTasksAlone && !best->isForTasksAlone)) best = &list;
  }
  if (best && settings_.list.empty()) return best;
  if (titles.empty())
    return NSError{NSError::Kind::FileNotFound,
                   "there is no list for tasks; make one with the server's own pages or a calendar "
                   "program"};
  return NSError{NSError::Kind::FileNotFound,
                 settings_.list.empty()
                     ? "none of its lists may be written: " + titles
                     : "there is no list " + quoted(settings_.list) + "; there are " + titles};
}

const CalendarList* CalDAVDestination::listOfProject(const ListContainer& project) const {
  for (const auto& list : account_.lists())
    if (list.properties.address == project.id) return &list.properties;
  for (const auto& list : account_.lists())
    if (list.properties.title == project.title) return &list.properties;
  return nullptr;
}

/// A project that was published by another kind of list stays a category.
std::optional<CalendarTarget> CalDAVDestination::targetOf(const DeliveryAction& action) const {
  const auto chosen = chosenList();
  if (!action.project)
    return chosen ? std::optional(CalendarTarget{*chosen.value(), {}}) : std::nullopt;
  if (const auto* list = listOfProject(*action.project)) return CalendarTarget{*list, {}};
  if (!chosen) return std::nullopt;
  return CalendarTarget{*chosen.value(), action.project->title};
}

Result<WebDAVClient*> CalDAVDestination::client() {
  if (notBefore_ && Clock::now() < *notBefore_)
    return NSError{NSError::Kind::Busy, "the server is busy and asks to be tried again later"};
  notBefore_.reset();
  return account_.client();
}

Result<void> CalDAVDestination::findLists() {
  if (const auto web = client(); !web) return web.error();
  return account_.findLists();
}

Result<std::vector<ListContainer>> CalDAVDestination::lists() {
  if (const auto found = findLists(); !found) return found.error();
  const auto chosen = chosenList();
  if (!chosen) return chosen.error();
  if (!chosen.value()->isWritable)
    return NSError{NSError::Kind::NotPermitted,
                   "the list " + quoted(chosen.value()->title) + " may only be read"};
  std::vector<ListContainer> lists{{chosen.value()->address, chosen.value()->title, {}}};
  for (const auto& list : account_.lists())
    if (&list.properties != chosen.value())
      lists.push_back({list.properties.address, list.properties.title, {}});
  account_.keepCopy();
  return lists;
}

std::map<std::string, std::string> CalDAVDestination::choices() const {
  const auto chosen = chosenList();
  if (!chosen) return {};
  return {{"list", chosen.value()->address}};
}

std::vector<DeliveryOutcome> CalDAVDestination::carryOut(const std::vector<DeliveryAction>& actions,
                                                         const Progress& progress) {
  const auto web = client();
  if (!web)
    return std::vector<DeliveryOutcome>(actions.size(),
                                        DeliveryOutcome{Kind::Later, web.error().description});
  CalendarDelivery delivery(account_, *web.value(), actions, progress);
  const std::string reason = deliver(delivery);
  account_.keepCopy();
  if (delivery.retryAfter()) notBefore_ = Clock::now() + *delivery.retryAfter();
  return delivery.outcomes(reason);
}

std::string CalDAVDestination::deliver(CalendarDelivery& delivery) {
  if (!chosenList()) {
    if (const auto found = account_.findLists(); !found) return found.error().description;
  }
  const auto chosen = chosenList();
  if (!chosen) return chosen.error().description;
  delivery.storeNewTasks([this](const auto& action) { return *targetOf(action); });
  if (!delivery.hasChanges() || delivery.isStopped()) return {};
  const auto values = CalendarValues::shared();
  if (!values) return values.error().description;
  if (const auto found = account_.findLists(); !found) return found.error().description;
  if (const auto read = account_.readTasks(); !read) return read.error().description;
  delivery.changeTasks(*values.value());
  return {};
}

std::vector<std::string> CalDAVDestination::losses(const DeliveryAction& action) const {
  if (action.type != TLXExternalActionType::New) return {};
  auto losses = lossesInCalendar(action);
  const auto target = targetOf(action);
  if (!target) return losses;
  const auto& list = target->list;
  if (!target->category.empty())
    losses.push_back("there is no list " + quoted(target->category) + "; it goes to " +
                     quoted(list.title) + ", with that as a category");
  for (const auto& name : attachmentsKeptHere(action, roomForFiles(list, action)))
    losses.push_back("its attachment " + name + " is larger than " +
                     (list.maxResourceSize ? "the server takes" : "servers usually take") +
                     " and stays on this computer, in " + folderOfKeptAttachments(action));
  return losses;
}

/// What was completed yesterday is not published any more today.
Result<std::optional<std::string>> CalDAVDestination::stamp() {
  if (const auto found = findLists(); !found) return found.error();
  auto state = account_.state();
  account_.keepCopy();
  if (state) state = dayText(tasklane::Clock::now()) + " " + settings_.list + "\n" + *state;
  return state;
}

Result<ListContents> CalDAVDestination::contents() {
  const auto state = stamp();
  if (!state) return state.error();
  const auto values = CalendarValues::shared();
  if (!values) return values.error();
  const auto read = account_.readTasks();
  account_.keepCopy();
  if (!read) return read.error();
  const auto chosen = chosenList();
  std::vector<ListOfTasks> lists;
  for (const auto& list : account_.lists()) {
    ListOfTasks all{{list.properties.address, list.properties.title, {}},
                    chosen && &list.properties == chosen.value(),
                    {}};
    for (const auto& [address, resource] : list.resources) {
      if (resource.uid.empty()) continue;
      auto tasks = tasksOfCalendar(resource.text, *values.value());
      if (!tasks) {
        NSLog("tasklane: passed over " + address + ": " + tasks.error().description);
        continue;
      }
      for (auto& task : tasks.value()) all.tasks.push_back(std::move(task));
    }
    lists.push_back(std::move(all));
  }
  ListContents contents = contentsOfLists(std::move(lists));
  contents.stamp = state.value().value_or("");
  return contents;
}

ListWatch CalDAVDestination::watch() { return {-1, settings_.pause}; }

DeliveryOutcome CalDAVDestination::takeBack(const DeliveryAction& action) {
  const auto web = client();
  if (!web) return {Kind::Later, web.error().description};
  const auto target = targetOf(action);
  const auto known = account_.addressesOfTasks();
  const auto found = known.find(action.uuid);
  if (found == known.end() && !target) return {Kind::Later, "the server's lists are not known yet"};
  const std::string address =
      found != known.end() ? found->second : target->list.address + action.uuid + ".ics";
  const auto there = web.value()->send({"GET", address, {}, {}});
  if (there.status == 404) return {Kind::Refused, "it is not in the server's lists any more"};
  if (!there.isSuccess()) return {Kind::Later, errorOfResponse(there).description};
  const auto ours = calendarOfNewTask(action, {}, target ? target->category : "");
  const DeliveryOutcome changed{Kind::Refused, "it has been changed since; it is at " + address};
  if (meaningOfCalendar(there.body) != meaningOfCalendar(ours)) return changed;
  const auto removed = web.value()->send(
      {"DELETE", address, {"If-Match: " + (there.etag.empty() ? "*" : there.etag)}, {}});
  if (removed.status == 412) return changed;
  if (!removed.isSuccess() && removed.status != 404)
    return {Kind::Later, errorOfResponse(removed).description};
  removeAttachments(action, folderOfKeptAttachments(action));
  account_.noteWithoutTask(address);
  account_.keepCopy();
  return {Kind::Delivered, "taken out of " + description()};
}

}  // namespace tasklane
