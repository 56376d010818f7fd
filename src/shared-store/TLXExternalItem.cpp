#include "shared-store/TLXExternalItem.h"

#include <functional>
#include <utility>

#include "foundation/base/NSLog.h"
#include "foundation/dates/NSCalendar.h"
#include "foundation/property-lists/PropertyListLookup.h"
#include "shared-store/TLXExternalAction.h"

namespace tasklane {

double TLXExternalItemDueSoonInterval = 0;
std::uint64_t TLXExternalItemTodayContentCategories = 0;
bool TLXExternalItemTodayUsesCustomPerspective = false;

namespace {

std::optional<NSDate> dateForKey(const PropertyList& plist, const char* key) {
  const auto* text = stringAt(&plist, key);
  return text ? TLXExternalItem::sharedDateFormatter().dateFromString(*text) : std::nullopt;
}

bool boolForKey(const PropertyList& plist, const char* key) {
  const auto* value = plist.valueForKey(key);
  return value && value->boolValue();
}

std::uint64_t unsignedValue(const PropertyList* value) {
  if (!value) return 0;
  return value->uint64().value_or(static_cast<std::uint64_t>(value->integerValue()));
}

/// The shared list, and the contents that it was last built from.
struct TodayList {
  TLXExternalItem::Items items;
  PropertyListObject builtFrom;
  bool built = false;
};

TodayList& todayList() {
  static TodayList list;
  return list;
}

PropertyList::Array propertyLists(const TLXExternalItem::Items& items) {
  PropertyList::Array array;
  array.reserve(items.size());
  for (const auto& item : items) array.push_back(item->propertyList());
  return array;
}

}  // namespace

TLXExternalItem::TLXExternalItem(const PropertyList& initFromPropertyList)
    : uuid_(optionalTextAt(&initFromPropertyList, "uuid")),
      title_(optionalTextAt(&initFromPropertyList, "title")),
      subtitle_(optionalTextAt(&initFromPropertyList, "subtitle")),
      dueDate_(dateForKey(initFromPropertyList, "due")),
      deferDate_(dateForKey(initFromPropertyList, "defer")),
      flagged_(boolForKey(initFromPropertyList, "flagged")),
      parentFlagged_(boolForKey(initFromPropertyList, "parentFlagged")),
      repeats_(boolForKey(initFromPropertyList, "repeats")),
      blocked_(boolForKey(initFromPropertyList, "blocked")),
      onlyBlockedByDeferDate_(boolForKey(initFromPropertyList, "onlyBlockedByDeferDate")),
      // Only the key's presence counts: its value is the moment of writing, not of completion.
      completed_(initFromPropertyList.valueForKey("completed") != nullptr),
      inboxItem_(boolForKey(initFromPropertyList, "inbox")) {
  const auto* children = arrayAt(&initFromPropertyList, "children");
  if (!children) return;
  children_.emplace();
  for (const auto& child : *children)
    if (child.dictionary()) children_->push_back(std::make_shared<TLXExternalItem>(child));
}

PropertyList TLXExternalItem::propertyList() const {
  PropertyListDictionary record;
  const auto setText = [&](const char* key, const std::optional<std::string>& text) {
    if (text) record.set(key, *text);
  };
  const auto setDate = [&](const char* key, const std::optional<NSDate>& date) {
    if (date) record.set(key, sharedDateFormatter().stringFromDate(*date));
  };
  setText("uuid", uuid_);
  setText("title", title_);
  setText("subtitle", subtitle_);
  setDate("due", dueDate_);
  setDate("defer", deferDate_);
  setDate("completed", completed_ ? std::optional(Clock::now()) : std::nullopt);
  record.set("flagged", flagged_);
  record.set("parentFlagged", parentFlagged_);
  record.set("repeats", repeats_);
  record.set("blocked", blocked_);
  record.set("inbox", inboxItem_);
  record.set("onlyBlockedByDeferDate", onlyBlockedByDeferDate_);
  if (children_) record.set("children", propertyLists(*children_));
  return record;
}

bool TLXExternalItem::isEqual(const NSObject* other) const {
  const auto item = dynamic_cast<const TLXExternalItem*>(other);
  return item && item->uuid_ == uuid_;
}

std::size_t TLXExternalItem::hash() const { return std::hash<std::optional<std::string>>{}(uuid_); }

std::string TLXExternalItem::description() const {
  const char* tag = isDueToday() ? "<Due Today>" : isPastDue() ? "<Past Due>" : "";
  return stringWithFormat("%@ — %@ (%@) %@", {NSObject::description(), title_.value_or("(null)"),
                                              uuid_.value_or("(null)"), tag});
}

const NSDateFormatter& TLXExternalItem::sharedDateFormatter() {
  static NSDateFormatter formatter;
  static const bool prepared = [] {
    formatter.setDateFormat("yyyy-MM-dd-HH:mm:ss ZZZ");
    return true;
  }();
  (void)prepared;
  return formatter;
}

const std::optional<NSURL>& TLXExternalItem::sharedItemsURL() {
  static std::optional<NSURL> url;
  if (!url) url = TLXPlistPresenter::sharedFileURL("items.plist");
  return url;
}

const std::shared_ptr<TLXPlistPresenter>& TLXExternalItem::presenter() {
  static auto presenter = TLXPlistPresenter::makeWithURL(sharedItemsURL());
  if (!presenter && sharedItemsURL()) presenter = TLXPlistPresenter::makeWithURL(sharedItemsURL());
  return presenter;
}

TLXExternalItem::Items TLXExternalItem::itemsFromPlistArray(const PropertyList::Array& array) {
  ItemsByUUIDTable table;
  auto items = itemsFromPlistArray(array, table);
  TLXExternalAction::applyActionsToExternalItems(table, nullptr);
  return items;
}

TLXExternalItem::Items TLXExternalItem::itemsFromPlistArray(const PropertyList::Array& array,
                                                            ItemsByUUIDTable& itemsByUUIDTable) {
  Items items;
  items.reserve(array.size());
  for (const auto& record : array) {
    if (!record.dictionary()) continue;
    const auto item = std::make_shared<TLXExternalItem>(record);
    items.push_back(item);
    if (item->uuid()) itemsByUUIDTable[*item->uuid()] = item;
    item->_addChildrenToItemsByUUIDTable(itemsByUUIDTable);
  }
  return items;
}

void TLXExternalItem::_addChildrenToItemsByUUIDTable(ItemsByUUIDTable& table) const {
  if (!children_) return;
  for (const auto& child : *children_) {
    if (child->uuid()) table[*child->uuid()] = child;
    child->_addChildrenToItemsByUUIDTable(table);
  }
}

TLXExternalItem::Items& TLXExternalItem::allTodayItems() {
  auto& list = todayList();
  const auto contents = presenter() ? presenter()->plist() : nullptr;
  if (list.built && list.builtFrom == contents) return list.items;

  const auto valueForKey = [&](const char* key) {
    return contents ? contents->valueForKey(key) : nullptr;
  };
  const auto* interval = valueForKey("dueSoonInterval");
  const auto* perspective = valueForKey("usesCustomPerspective");
  TLXExternalItemDueSoonInterval = interval ? interval->doubleValue() : 0;
  TLXExternalItemTodayContentCategories = unsignedValue(valueForKey("contentCategories"));
  TLXExternalItemTodayUsesCustomPerspective = perspective && perspective->boolValue();
  const auto* records = arrayAt(contents.get(), "items");
  list.items = records ? itemsFromPlistArray(*records) : Items{};
  list.builtFrom = contents;
  list.built = true;
  return list.items;
}

void TLXExternalItem::saveTodayItems(const Items& items) {
  auto& list = todayList();
  const auto contents = std::make_shared<const PropertyList>(
      PropertyListDictionary{{"items", propertyLists(items)},
                             {"dueSoonInterval", TLXExternalItemDueSoonInterval},
                             {"contentCategories", TLXExternalItemTodayContentCategories},
                             {"usesCustomPerspective", TLXExternalItemTodayUsesCustomPerspective}});
  list.builtFrom = contents;
  if (presenter()) {
    presenter()->performCoordinatedChange([&] { presenter()->writePlist(contents); });
    // Equal contents are not written: those that are there then stand for the written ones.
    if (const auto& present = presenter()->plist(); present && *present == *contents)
      list.builtFrom = present;
  }
  if (&items != &list.items) list.items = items;
  list.built = true;
}

bool TLXExternalItem::isDueToday() const {
  return dueDate_ && NSCalendar::autoupdatingCurrentCalendar().isDateInToday(*dueDate_);
}

bool TLXExternalItem::isDeferredUntilToday() const {
  return deferDate_ && NSCalendar::autoupdatingCurrentCalendar().isDateInToday(*deferDate_);
}

bool TLXExternalItem::hasFutureDeferDate() const {
  return deferDate_ && *deferDate_ > Clock::now();
}

bool TLXExternalItem::isDueSoon() const {
  return dueDate_ && *dueDate_ <= Clock::now() + NSTimeInterval(TLXExternalItemDueSoonInterval);
}

bool TLXExternalItem::isOverdue() const { return dueDate_ && *dueDate_ <= Clock::now(); }

bool TLXExternalItem::isBlocked() const {
  return blocked_ || (deferDate_ && *deferDate_ >= Clock::now());
}

bool TLXExternalItem::hasIncompleteChildren() const {
  if (!children_) return false;
  for (const auto& child : *children_)
    if (!child->isCompleted() || child->hasIncompleteChildren()) return true;
  return false;
}

bool TLXExternalItem::selectedByTodayCategories() const {
  using Category = TLXExternalItemTodayContentCategory;
  const auto shows = [](std::uint64_t category) {
    return (TLXExternalItemTodayContentCategories & category) != 0;
  };
  return (shows(Category::Overdue) && isOverdue()) || (shows(Category::DueToday) && isDueToday()) ||
         (shows(Category::DeferredUntilToday) && isDeferredUntilToday()) ||
         (shows(Category::Flagged) && isEffectivelyFlagged() && !isBlocked()) ||
         (shows(Category::Inbox) && inboxItem_ && !isBlocked()) ||
         (shows(Category::DueSoon) && isDueSoon());
}

bool TLXExternalItem::shouldDisplayInTodayExtension() const {
  if (!TLXExternalItemTodayUsesCustomPerspective && !selectedByTodayCategories()) return false;
  return !isBlocked() || onlyBlockedByDeferDate_;
}

}  // namespace tasklane
