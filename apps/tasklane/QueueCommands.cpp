#include "QueueCommands.h"

#include <nlohmann/json.hpp>

#include "Command.h"
#include "common/JSONFromPlist.h"
#include "foundation/property-lists/PropertyListLookup.h"
#include "shared-store/EntryAttachments.h"
#include "shared-store/TLXExternalAction.h"

namespace tasklane {

using nlohmann::json;

namespace {

/// "new          Buy milk  (Errands, Town, 2 attachments)  UUID"
std::string lineOfEntry(const PropertyList& entry) {
  const auto* info = entry.valueForKey("info");
  std::string line = oneLine(textAt(&entry, "type"));
  line.resize(std::max<std::size_t>(line.size(), 12), ' ');
  line += oneLine(textAt(info, "title"));
  std::string details;
  const auto addDetail = [&](const std::string& detail) {
    if (!detail.empty()) details += (details.empty() ? "" : ", ") + oneLine(detail);
  };
  addDetail(textAt(info, "projectName"));
  addDetail(textAt(info, "contextName"));
  if (!textAt(info, "notes").empty()) addDetail("note");
  const auto* attachments = arrayAt(info, "attachments");
  if (const std::size_t count = attachments ? attachments->size() : 0; count > 0)
    addDetail(std::to_string(count) + (count == 1 ? " attachment" : " attachments"));
  if (!details.empty()) line += "  (" + details + ")";
  return line + "  " + oneLine(textAt(info, "uuid")) + "\n";
}

std::shared_ptr<TLXExternalItem> findItem(const TLXExternalItem::Items& items,
                                          const std::string& uuid) {
  for (const auto& item : items) {
    if (item->uuid() == uuid) return item;
    if (!item->children()) continue;
    if (auto found = findItem(*item->children(), uuid)) return found;
  }
  return nullptr;
}

}  // namespace

json JSONFromEntries(const PropertyList::Array& entries) {
  json list = json::array();
  for (const auto& entry : entries) {
    const auto valueOrNull = [&](const char* key) {
      const auto* value = entry.valueForKey(key);
      return value ? JSONFromItem(*value) : json();
    };
    list.push_back({{"type", valueOrNull("type")}, {"info", valueOrNull("info")}});
  }
  return list;
}

void printQueue(OutputFormat format) {
  requireContainer();
  const auto& presenter = TLXExternalAction::presenter();
  requireReadable(*presenter);
  // Taken from the file as it is, so that an action of a type unknown here is shown too.
  const auto entries = entriesOfPresenter(presenter);
  if (format == OutputFormat::Text) {
    if (entries.empty()) print("The queue is empty.\n");
    for (const auto& entry : entries) print(lineOfEntry(entry));
    return;
  }
  printJSON(JSONFromEntries(entries));
}

void clearQueue() {
  requireContainer();
  changeSharedFile(TLXExternalAction::presenter(), [] { TLXExternalAction::removeAllActions(); });
}

void queueActionForItem(const std::string& uuid,
                        void (*action)(const std::shared_ptr<TLXExternalItem>& item)) {
  requireContainer();
  requireReadable(*TLXExternalItem::presenter());
  const auto item = findItem(TLXExternalItem::allTodayItems(), uuid);
  if (!item)
    throw Failure{ExitCode::BadData, "No published item has the identifier \"" + oneLine(uuid) +
                                         "\"; see `tasklane today --all --json`."};
  changeSharedFile(TLXExternalAction::presenter(), [&] { action(item); });
}

}  // namespace tasklane
