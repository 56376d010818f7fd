#include "delivery/Deliverer.h"
#include "delivery/DeliveryLock.h"
#include "delivery/SharedFileChange.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/property-lists/PropertyListLookup.h"
#include "shared-store/TLXContainers.h"
#include "shared-store/TLXExternalItem.h"

namespace tasklane {

namespace {

void addContainers(PropertyListDictionary& catalogue, const std::vector<ListContainer>& containers,
                   const char* entriesKey, const char* orderKey) {
  PropertyListDictionary entries;
  PropertyList::Array order;
  for (const auto& container : containers) {
    PropertyListDictionary entry{{"id", container.id}, {TLXContainerTitle, container.title}};
    if (container.path) entry.set(TLXContainerPath, *container.path);
    entries.set(container.id, PropertyList(std::move(entry)));
    order.emplace_back(container.id);
  }
  catalogue.set(entriesKey, PropertyList(std::move(entries)));
  catalogue.set(orderKey, PropertyList(std::move(order)));
}

/// Only the presence of "completed" counts. A record writes the present moment there, which would
/// make equal lists unequal files.
PropertyList itemRecord(const TLXExternalItem& item) {
  PropertyList plain = item.propertyList();
  if (!item.isCompleted() && !item.children()) return plain;
  PropertyListDictionary record = *plain.dictionary();
  if (item.isCompleted()) record.set("completed", "yes");
  if (item.children()) {
    PropertyList::Array children;
    for (const auto& child : *item.children()) children.push_back(itemRecord(*child));
    record.set("children", PropertyList(std::move(children)));
  }
  return PropertyList(std::move(record));
}

/// A presenter for one change: what a long list's file holds is not to stay in memory afterwards.
std::shared_ptr<TLXPlistPresenter> presenterFor(const std::optional<NSURL>& url) {
  return TLXPlistPresenter::makeWithURL(url);
}

bool isInContainer(const char* name) {
  const auto url = TLXPlistPresenter::sharedFileURL(name);
  return url && NSFileManager::defaultManager().fileExistsAtPath(url->path());
}

}  // namespace

/// What, besides the list, decides what is published.
std::string Deliverer::settingsText() const {
  return destination_->description() + " " + std::to_string(configuration_.dueSoonInterval) + " " +
         std::to_string(configuration_.todayContentCategories) +
         (configuration_.todayUsesCustomPerspective ? " all " : " ");
}

Result<bool> Deliverer::publish() {
  const auto& state = statePresenter();
  if (!state) return NSError{NSError::Kind::Io, "there is no folder of shared files"};
  const auto lock = DeliveryLock::take(DeliveryLock::Of::Delivery);
  if (!lock) return lock.error();
  const auto stamp = destination_->stamp();
  if (!stamp) return stamp.error();
  const auto* published = stringAt(state->plist().get(), "publishedStamp");
  const bool isThere = isInContainer("containers.plist") && isInContainer("items.plist");
  if (isThere && stamp.value() && published && settingsText() + *stamp.value() == *published)
    return false;

  const auto contents = destination_->contents();
  if (!contents) return contents.error();
  auto written = changeSharedDictionary(
      presenterFor(TLXContainers::sharedContainersURL()), [&](PropertyListDictionary& catalogue) {
        catalogue = {};
        addContainers(catalogue, contents.value().projects, "projects", "orderedProjectIDs");
        addContainers(catalogue, contents.value().contexts, "contexts", "orderedContextIDs");
      });
  if (!written) return written.error();

  PropertyList::Array items;
  for (const auto& item : contents.value().items) items.push_back(itemRecord(*item));
  written = changeSharedDictionary(
      presenterFor(TLXExternalItem::sharedItemsURL()), [&](PropertyListDictionary& file) {
        file = PropertyListDictionary{
            {"items", std::move(items)},
            {"dueSoonInterval", configuration_.dueSoonInterval},
            {"contentCategories", configuration_.todayContentCategories},
            {"usesCustomPerspective", configuration_.todayUsesCustomPerspective}};
      });
  if (!written) return written.error();
  written = changeSharedDictionary(state, [&](PropertyListDictionary& noted) {
    noted.set("publishedStamp", settingsText() + contents.value().stamp);
    noted.set("destination", destination_->description());
  });
  if (!written) return written.error();
  return true;
}

}  // namespace tasklane
