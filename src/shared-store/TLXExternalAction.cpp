#include "shared-store/TLXExternalAction.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "foundation/base/NSLog.h"
#include "foundation/base/NSUUID.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/property-lists/PropertyListLookup.h"
#include "kestrel/base/KFEnumNameTable.h"
#include "shared-store/EntryAttachments.h"
#include "shared-store/TLXExternalItem.h"

namespace tasklane {

namespace {

using Type = TLXExternalActionType;

const KFEnumNameTable& typeNames() {
  static const KFEnumNameTable table = [] {
    KFEnumNameTable names(static_cast<std::int64_t>(Type::Unknown));
    names.setName("new", static_cast<std::int64_t>(Type::New));
    names.setName("completed", static_cast<std::int64_t>(Type::Completed));
    names.setName("uncompleted", static_cast<std::int64_t>(Type::Uncompleted));
    names.setName("flagged", static_cast<std::int64_t>(Type::Flagged));
    names.setName("unflagged", static_cast<std::int64_t>(Type::Unflagged));
    return names;
  }();
  return table;
}

Type typeOfEntry(const PropertyList& entry) {
  const auto* name = stringAt(&entry, "type");
  const auto& names = typeNames();
  return static_cast<Type>(
      (name ? names.enumForName(*name) : std::nullopt).value_or(names.defaultEnumValue()));
}

const std::string* uuidOfEntry(const PropertyList& entry) {
  return stringAt(entry.valueForKey("info"), "uuid");
}

/// The queued entries in file order.
PropertyList::Array queuedEntries() { return entriesOfPresenter(TLXExternalAction::presenter()); }

/// Whether the file holds something else where the queue should be, which a write would destroy.
bool holdsNoQueue(const PropertyListObject& plist) {
  if (!plist) return false;
  const auto* entries = plist->valueForKey("actions");
  return !plist->dictionary() || (entries && !entries->array());
}

void writeEntries(PropertyList::Array entries) {
  const auto& presenter = TLXExternalAction::presenter();
  if (holdsNoQueue(presenter->plist()) && !presenter->setAsideFile()) return;
  presenter->writePlist(std::make_shared<const PropertyList>(
      PropertyListDictionary{{"actions", std::move(entries)}}));
}

}  // namespace

std::shared_ptr<TLXExternalAction> TLXExternalAction::actionFromPropertyList(
    const PropertyList& plist) {
  auto action = std::make_shared<TLXExternalAction>();
  action->setType(typeOfEntry(plist));
  if (const auto* info = plist.valueForKey("info")) action->setInfo(*info);
  return action;
}

PropertyList TLXExternalAction::propertyList() const {
  PropertyListDictionary entry;
  if (const auto name = typeNames().nameForEnum(static_cast<std::int64_t>(type_)))
    entry.set("type", *name);
  if (info_) entry.set("info", *info_);
  return entry;
}

const std::optional<NSURL>& TLXExternalAction::sharedActionsURL() {
  static std::optional<NSURL> url;
  if (!url) url = TLXPlistPresenter::sharedFileURL("actions.plist");
  return url;
}

const std::shared_ptr<TLXPlistPresenter>& TLXExternalAction::presenter() {
  static auto presenter = TLXPlistPresenter::makeWithURL(sharedActionsURL());
  if (!presenter && sharedActionsURL())
    presenter = TLXPlistPresenter::makeWithURL(sharedActionsURL());
  return presenter;
}

const std::string& TLXExternalAction::sharedAttachmentPath() {
  static std::string path;
  if (!path.empty()) return path;
  auto& manager = NSFileManager::defaultManager();
  const auto group =
      manager.containerURLForBaseGroupContainerIdentifier("com.kestrelworks.Tasklane");
  if (!group) return path;
  path = group->URLByAppendingPathComponent("attachments").path();
  if (const auto made = manager.createDirectoryAtPath(path, false); !made)
    NSLog(
        stringWithFormat("Error creating shared attachment path: %@", {made.error().description}));
  return path;
}

void TLXExternalAction::appendAction(const std::shared_ptr<TLXExternalAction>& action) {
  if (!presenter()) return;
  presenter()->performCoordinatedChange([&] {
    auto entries = queuedEntries();
    entries.push_back(action->propertyList());
    writeEntries(std::move(entries));
  });
}

void TLXExternalAction::performAction(TLXExternalActionType type, TLXExternalActionType oppositeOf,
                                      const std::shared_ptr<TLXExternalItem>& onItem,
                                      bool includeItem) {
  // An action that names no item could never be carried out.
  if (!presenter() || !onItem->uuid()) return;
  const std::string& uuid = *onItem->uuid();
  const auto isPendingOpposite = [&](const PropertyList& entry) {
    const auto* entryUUID = uuidOfEntry(entry);
    return typeOfEntry(entry) == oppositeOf && entryUUID && *entryUUID == uuid;
  };
  presenter()->performCoordinatedChange([&] {
    auto entries = queuedEntries();
    const auto opposite = std::find_if(entries.begin(), entries.end(), isPendingOpposite);
    if (opposite != entries.end()) {
      entries.erase(opposite);
    } else {
      TLXExternalAction action;
      action.setType(type);
      action.setInfo(includeItem ? onItem->propertyList()
                                 : PropertyList(PropertyListDictionary{{"uuid", uuid}}));
      entries.push_back(action.propertyList());
    }
    writeEntries(std::move(entries));
  });
}

void TLXExternalAction::newItemWithInfo(const std::optional<PropertyList>& info) {
  if (!presenter()) return;
  presenter()->performCoordinatedChange([&] {
    auto entries = info && info->dictionary() ? *info->dictionary() : PropertyListDictionary{};
    if (!entries.contains("uuid")) entries.set("uuid", NSUUID::UUIDString());
    auto action = std::make_shared<TLXExternalAction>();
    action->setType(Type::New);
    action->setInfo(PropertyList(std::move(entries)));
    appendAction(action);
  });
}

void TLXExternalAction::completeItem(const std::shared_ptr<TLXExternalItem>& item) {
  performAction(Type::Completed, Type::Uncompleted, item, true);
}

void TLXExternalAction::uncompleteItem(const std::shared_ptr<TLXExternalItem>& item) {
  performAction(Type::Uncompleted, Type::Completed, item, false);
}

void TLXExternalAction::flagItem(const std::shared_ptr<TLXExternalItem>& item) {
  performAction(Type::Flagged, Type::Unflagged, item, true);
}

void TLXExternalAction::unflagItem(const std::shared_ptr<TLXExternalItem>& item) {
  performAction(Type::Unflagged, Type::Flagged, item, false);
}

std::vector<std::shared_ptr<TLXExternalAction>> TLXExternalAction::currentActions() {
  std::vector<std::shared_ptr<TLXExternalAction>> actions;
  for (const auto& entry : queuedEntries()) actions.push_back(actionFromPropertyList(entry));
  return actions;
}

void TLXExternalAction::removeAllActions() {
  if (!presenter()) return;
  presenter()->performCoordinatedChange([] { writeEntries({}); });
}

void TLXExternalAction::changeEntries(const EntriesChange& change) {
  if (!presenter()) return;
  presenter()->performCoordinatedChange([&] {
    if (auto entries = change(queuedEntries())) writeEntries(std::move(*entries));
  });
}

void TLXExternalAction::applyActionsToExternalItems(const ItemsByUUIDTable& items,
                                                    const MissingHandler& missingHandler) {
  _applyActions(queuedEntries(), items, missingHandler);
}

void TLXExternalAction::_applyActions(const PropertyList::Array& actions,
                                      const ItemsByUUIDTable& toExternalItems,
                                      const MissingHandler& missingHandler) {
  for (const auto& entry : actions) {
    const Type type = typeOfEntry(entry);
    if (type == Type::Unknown) continue;
    const auto* uuid = uuidOfEntry(entry);
    const auto found = uuid ? toExternalItems.find(*uuid) : toExternalItems.end();
    if (found == toExternalItems.end()) {
      if (missingHandler) missingHandler(actionFromPropertyList(entry));
      continue;
    }
    auto& item = *found->second;
    if (type == Type::Completed || type == Type::Uncompleted)
      item.setCompleted(type == Type::Completed);
    else if (type == Type::Flagged || type == Type::Unflagged)
      item.setFlagged(type == Type::Flagged);
  }
}

}  // namespace tasklane
