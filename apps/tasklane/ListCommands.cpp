#include "ListCommands.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

#include "Command.h"
#include "common/JSONFromPlist.h"
#include "foundation/dates/RelativeDate.h"
#include "foundation/events/CFNotificationCenter.h"
#include "foundation/events/NSNotificationCenter.h"
#include "foundation/events/NSRunLoop.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/property-lists/PropertyListLookup.h"
#include "shared-store/TLXContainers.h"
#include "shared-store/TLXExternalAction.h"

namespace tasklane {

using nlohmann::json;

namespace {

std::string lineAt(const PropertyList& entry, const char* key) {
  return oneLine(textAt(&entry, key));
}

json JSONWithAnswers(const TLXExternalItem& item) {
  json object = JSONFromItem(item.propertyList());
  object["isEffectivelyFlagged"] = item.isEffectivelyFlagged();
  object["isDueToday"] = item.isDueToday();
  object["isDeferredUntilToday"] = item.isDeferredUntilToday();
  object["hasFutureDeferDate"] = item.hasFutureDeferDate();
  object["isDueSoon"] = item.isDueSoon();
  object["isOverdue"] = item.isOverdue();
  object["isPastDue"] = item.isPastDue();
  object["isBlocked"] = item.isBlocked();
  object["hasIncompleteChildren"] = item.hasIncompleteChildren();
  object["shouldDisplayInTodayExtension"] = item.shouldDisplayInTodayExtension();
  if (!item.children()) return object;
  json children = json::array();
  for (const auto& child : *item.children()) children.push_back(JSONWithAnswers(*child));
  object["children"] = std::move(children);
  return object;
}

/// "[x] Water the plants — Home  ⚑ <Due Today>  UUID", children indented below.
void printItem(const TLXExternalItem& item, std::size_t depth) {
  std::string line = std::string(depth * 4, ' ') + (item.isCompleted() ? "[x] " : "[ ] ");
  line += oneLine(item.title().value_or(""));
  if (item.subtitle()) line += " — " + oneLine(*item.subtitle());
  if (item.isEffectivelyFlagged()) line += "  flagged";
  if (item.dueDate()) line += "  due " + relativeDateText(*item.dueDate());
  if (item.isPastDue()) line += " (past due)";
  if (item.isBlocked()) line += "  blocked";
  print(line + "  " + oneLine(item.uuid().value_or("")) + "\n");
  if (!item.children()) return;
  for (const auto& child : *item.children()) printItem(*child, depth + 1);
}

}  // namespace

void printCatalogue(Catalogue catalogue, OutputFormat format) {
  requireContainer();
  requireReadable(*TLXContainers::presenter());
  const auto entries = catalogue == Catalogue::Projects ? TLXContainers::orderedProjects()
                                                        : TLXContainers::orderedContexts();
  if (format == OutputFormat::JSON) {
    json list = json::array();
    for (const auto& entry : entries) list.push_back(JSONFromPlist(entry));
    return printJSON(list);
  }
  for (const auto& entry : entries) {
    const std::string path = lineAt(entry, TLXContainerPath);
    print(lineAt(entry, TLXContainerTitle) + (path.empty() ? "" : "  (" + path + ")") + "\n");
  }
}

void printToday(TodaySelection selection, OutputFormat format) {
  requireContainer();
  requireReadable(*TLXExternalItem::presenter());
  requireFree(*TLXExternalAction::presenter());
  json list = json::array();
  bool any = false;
  for (const auto& item : TLXExternalItem::allTodayItems()) {
    if (selection == TodaySelection::Shown && !item->shouldDisplayInTodayExtension()) continue;
    any = true;
    if (format == OutputFormat::JSON)
      list.push_back(JSONWithAnswers(*item));
    else
      printItem(*item, 0);
  }
  if (format == OutputFormat::JSON) return printJSON(list);
  if (!any)
    print(selection == TodaySelection::All ? "No items are published.\n" : "Nothing for today.\n");
}

void printPaths(OutputFormat format) {
  requireContainer();
  const auto group = NSFileManager::defaultManager().containerURLForBaseGroupContainerIdentifier(
      "com.kestrelworks.Tasklane");
  const auto pathOf = [](const std::optional<NSURL>& url) { return url ? url->path() : ""; };
  const std::vector<std::pair<std::string, std::string>> paths{
      {"groupContainer", pathOf(group)},
      {"sharedContainer", pathOf(TLXPlistPresenter::sharedContainerURL())},
      {"actions", pathOf(TLXExternalAction::sharedActionsURL())},
      {"containers", pathOf(TLXContainers::sharedContainersURL())},
      {"items", pathOf(TLXExternalItem::sharedItemsURL())},
      {"attachments", TLXExternalAction::sharedAttachmentPath()},
      {"notifications", CFNotificationCenterGetDarwinNotifyCenter().folder()}};
  json object = json::object();
  for (const auto& [name, path] : paths) {
    object[name] = path;
    if (format == OutputFormat::Text)
      print(name + std::string(17 - name.size(), ' ') + path + "\n");
  }
  if (format == OutputFormat::JSON) printJSON(object);
}

void watch(const std::string& name, std::optional<unsigned> count) {
  requireContainer();
  const auto presenter = name == "actions"      ? TLXExternalAction::presenter()
                         : name == "containers" ? TLXContainers::presenter()
                                                : TLXExternalItem::presenter();
  unsigned announced = 0;
  const auto token = NSNotificationCenter::defaultCenter().addObserver(
      TLXPlistPresenterDidChangeNotification, presenter, [&](const NSNotification&) {
        if (count && announced == *count) return;
        ++announced;
        print(name + " changed\n");
        finishOutput();
        if (count && announced == *count) NSRunLoop::mainRunLoop().stop();
      });
  print("watching\n");
  finishOutput();
  if (count != 0u) NSRunLoop::mainRunLoop().run();
}

}  // namespace tasklane
