#include "delivery/QueuedActions.h"

#include <algorithm>
#include <unordered_map>
#include <vector>

#include "foundation/files/NSFileManager.h"
#include "foundation/property-lists/PropertyListLookup.h"
#include "shared-store/EntryAttachments.h"
#include "shared-store/TLXExternalAction.h"
#include "shared-store/TLXExternalItem.h"

namespace tasklane {

namespace {

std::optional<ListContainer> containerAt(const PropertyList& info, const std::string& key) {
  const std::string id = textAt(&info, key.c_str());
  if (id.empty()) return std::nullopt;
  const std::string name = textAt(&info, (key + "Name").c_str());
  return ListContainer{id, name.empty() ? id : name, std::nullopt};
}

}  // namespace

std::string uuidOfEntry(const PropertyList& entry) {
  return textAt(entry.valueForKey("info"), "uuid");
}

std::optional<DeliveryAction> deliveryActionOfEntry(const PropertyList& entry) {
  DeliveryAction action;
  action.type = TLXExternalAction::actionFromPropertyList(entry)->type();
  action.uuid = uuidOfEntry(entry);
  if (action.uuid.empty() || action.type == TLXExternalActionType::Unknown) return std::nullopt;
  const PropertyList& info = *entry.valueForKey("info");
  action.moment = Clock::now();
  if (action.type != TLXExternalActionType::New) {
    // A whole record says of itself when it was marked; other actions carry the uuid alone.
    if (info.dictionary()->size() > 1) action.item = std::make_shared<const TLXExternalItem>(info);
    if (const auto marked =
            TLXExternalItem::sharedDateFormatter().dateFromString(textAt(&info, "completed")))
      action.moment = *marked;
    return action;
  }
  action.title = textAt(&info, "title");
  action.notes = textAt(&info, "notes");
  action.project = containerAt(info, "project");
  action.context = containerAt(info, "context");
  for (const auto& name : attachmentNamesOfEntry(entry)) {
    std::string path = TLXExternalAction::sharedAttachmentPath() + "/" + name;
    if (NSFileManager::defaultManager().fileExistsAtPath(path)) {
      action.attachments.push_back(std::move(path));
    } else {
      action.missingAttachments.push_back(name);
    }
  }
  return action;
}

PropertyList::Array entriesWithout(const PropertyList::Array& entries,
                                   const PropertyList::Array& gone) {
  std::unordered_multimap<std::string, const PropertyList*> goneByUUID;
  for (const auto& entry : gone) goneByUUID.emplace(uuidOfEntry(entry), &entry);
  PropertyList::Array left;
  for (const auto& entry : entries) {
    const auto [first, last] = goneByUUID.equal_range(uuidOfEntry(entry));
    const auto found = std::find_if(
        first, last, [&](const auto& candidate) { return *candidate.second == entry; });
    if (found == last) {
      left.push_back(entry);
    } else {
      goneByUUID.erase(found);
    }
  }
  return left;
}

}  // namespace tasklane
