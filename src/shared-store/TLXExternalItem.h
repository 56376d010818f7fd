#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "foundation/base/NSObject.h"
#include "foundation/dates/NSDate.h"
#include "foundation/dates/NSDateFormatter.h"
#include "foundation/files/NSURL.h"
#include "foundation/property-lists/PropertyList.h"
#include "shared-store/TLXPlistPresenter.h"

namespace tasklane {

/// What the today list shows, published and saved together with the items.
extern double TLXExternalItemDueSoonInterval;  ///< seconds
extern std::uint64_t TLXExternalItemTodayContentCategories;
extern bool TLXExternalItemTodayUsesCustomPerspective;

/// The bits of TLXExternalItemTodayContentCategories.
struct TLXExternalItemTodayContentCategory {
  static constexpr std::uint64_t Overdue = 1;
  static constexpr std::uint64_t DueToday = 2;
  static constexpr std::uint64_t DeferredUntilToday = 4;
  static constexpr std::uint64_t Flagged = 8;
  static constexpr std::uint64_t Inbox = 16;
  static constexpr std::uint64_t DueSoon = 32;
};

/// One published item with its sub-items, and, through the static operations, the list of them in
/// "items.plist". Records are equal when their uuids are. Main thread.
class TLXExternalItem : public NSObject {
 public:
  using Items = std::vector<std::shared_ptr<TLXExternalItem>>;
  using ItemsByUUIDTable = std::unordered_map<std::string, std::shared_ptr<TLXExternalItem>>;

  TLXExternalItem() = default;
  /// Reads a record; what is missing or of a wrong type reads as none, false or no date.
  explicit TLXExternalItem(const PropertyList& initFromPropertyList);
  /// The record as a new dictionary. Of a completed item "completed" is the moment of this call.
  PropertyList propertyList() const;

  const std::optional<std::string>& uuid() const { return uuid_; }
  void setUuid(std::optional<std::string> uuid) { uuid_ = std::move(uuid); }
  const std::optional<std::string>& title() const { return title_; }
  void setTitle(std::optional<std::string> title) { title_ = std::move(title); }
  const std::optional<std::string>& subtitle() const { return subtitle_; }
  void setSubtitle(std::optional<std::string> subtitle) { subtitle_ = std::move(subtitle); }
  const std::optional<NSDate>& dueDate() const { return dueDate_; }
  void setDueDate(std::optional<NSDate> date) { dueDate_ = date; }
  const std::optional<NSDate>& deferDate() const { return deferDate_; }
  void setDeferDate(std::optional<NSDate> date) { deferDate_ = date; }
  bool isFlagged() const { return flagged_; }
  void setFlagged(bool flagged) { flagged_ = flagged; }
  /// Flagged through an enclosing item.
  bool isParentFlagged() const { return parentFlagged_; }
  void setParentFlagged(bool parentFlagged) { parentFlagged_ = parentFlagged; }
  bool repeats() const { return repeats_; }
  void setRepeats(bool repeats) { repeats_ = repeats; }
  /// Blocked by something other than its dates; isBlocked() takes the dates into account.
  void setBlocked(bool blocked) { blocked_ = blocked; }
  bool isOnlyBlockedByDeferDate() const { return onlyBlockedByDeferDate_; }
  void setOnlyBlockedByDeferDate(bool only) { onlyBlockedByDeferDate_ = only; }
  bool isCompleted() const { return completed_; }
  void setCompleted(bool completed) { completed_ = completed; }
  bool isInboxItem() const { return inboxItem_; }
  void setInboxItem(bool inboxItem) { inboxItem_ = inboxItem; }
  const std::optional<Items>& children() const { return children_; }
  void setChildren(std::optional<Items> children) { children_ = std::move(children); }

  bool isEqual(const NSObject* other) const override;
  bool isEqual(const std::shared_ptr<NSObject>& other) const { return isEqual(other.get()); }
  std::size_t hash() const;
  std::string description() const override;

  // Questions about now, which is read afresh in each. A moment equal to now is due and overdue,
  // and still deferred.
  bool isEffectivelyFlagged() const { return flagged_ || parentFlagged_; }
  bool isDueToday() const;
  bool isDeferredUntilToday() const;
  bool hasFutureDeferDate() const;
  /// Due at the latest TLXExternalItemDueSoonInterval from now; whatever is overdue is due soon.
  bool isDueSoon() const;
  bool isOverdue() const;
  bool isPastDue() const { return isOverdue() && !isDueToday(); }
  bool isBlocked() const;
  /// At any depth.
  bool hasIncompleteChildren() const;
  /// Whether the today list shows it, by the three settings above.
  bool shouldDisplayInTodayExtension() const;

  /// The one formatter of the dates in the file, "yyyy-MM-dd-HH:mm:ss ZZZ".
  static const NSDateFormatter& sharedDateFormatter();
  static const std::optional<NSURL>& sharedItemsURL();
  /// Null when there is no container to keep the file in.
  static const std::shared_ptr<TLXPlistPresenter>& presenter();

  /// Records with the queued actions already applied to them.
  static Items itemsFromPlistArray(const PropertyList::Array& array);
  /// Records as they stand, all of them, children included, entered in the table; of records with
  /// one uuid the last is.
  static Items itemsFromPlistArray(const PropertyList::Array& array,
                                   ItemsByUUIDTable& itemsByUUIDTable);
  void _addChildrenToItemsByUUIDTable(ItemsByUUIDTable& table) const;

  /// The shared list of top-level records, always the same object; built anew, and the settings
  /// with it, whenever the presenter has other contents than the last time.
  static Items& allTodayItems();
  /// Writes the records and the settings, and makes the records the shared list.
  static void saveTodayItems(const Items& items);

 private:
  bool selectedByTodayCategories() const;

  std::optional<std::string> uuid_;
  std::optional<std::string> title_;
  std::optional<std::string> subtitle_;
  std::optional<NSDate> dueDate_;
  std::optional<NSDate> deferDate_;
  bool flagged_ = false;
  bool parentFlagged_ = false;
  bool repeats_ = false;
  bool blocked_ = false;
  bool onlyBlockedByDeferDate_ = false;
  bool completed_ = false;
  bool inboxItem_ = false;
  std::optional<Items> children_;
};

}  // namespace tasklane
