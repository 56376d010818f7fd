#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "foundation/base/NSObject.h"
#include "foundation/files/NSURL.h"
#include "foundation/property-lists/PropertyList.h"
#include "shared-store/TLXPlistPresenter.h"

namespace tasklane {

class TLXExternalItem;

/// What the main application is asked to do. In the file a type stands as its name.
enum class TLXExternalActionType : std::int32_t {
  Unknown = -1,  ///< a name that no type has; never applied
  New = 0,
  Completed = 1,
  Uncompleted = 2,
  Flagged = 3,
  Unflagged = 4
};

/// One thing that the main application is asked to do, and, through the static operations, the
/// queue of them in "actions.plist": {"actions": [{"type": name, "info": {"uuid": …, …}}, …]},
/// oldest first.
///
/// Every operation that changes the queue is one step against all other processes, so that none
/// loses what another one queued. None reports an error: the presenter tells failures on the
/// console. Main thread.
class TLXExternalAction : public NSObject {
 public:
  using ItemsByUUIDTable = std::unordered_map<std::string, std::shared_ptr<TLXExternalItem>>;
  using MissingHandler = std::function<void(const std::shared_ptr<TLXExternalAction>& action)>;

  static std::shared_ptr<TLXExternalAction> actionFromPropertyList(const PropertyList& plist);
  /// A new entry for the queue. One of an unknown type has no "type".
  PropertyList propertyList() const;

  TLXExternalActionType type() const { return type_; }
  void setType(TLXExternalActionType type) { type_ = type; }
  /// What the action needs to know; none when the file's entry has none.
  const std::optional<PropertyList>& info() const { return info_; }
  void setInfo(std::optional<PropertyList> info) { info_ = std::move(info); }

  static const std::optional<NSURL>& sharedActionsURL();
  /// The presenter of the queue's file; null when there is no container to keep it in. The
  /// operations below then do nothing.
  static const std::shared_ptr<TLXPlistPresenter>& presenter();
  /// The folder of attachment files, which lies in the group container itself. It is made at the
  /// first call that finds the container; later ones do not touch the disk. Empty while there is no
  /// container.
  static const std::string& sharedAttachmentPath();

  static void appendAction(const std::shared_ptr<TLXExternalAction>& action);
  /// Takes the oldest queued opposite of the action for the item out of the queue; with none there,
  /// queues the action, with the item's whole record or its uuid alone.
  static void performAction(TLXExternalActionType type, TLXExternalActionType oppositeOf,
                            const std::shared_ptr<TLXExternalItem>& onItem, bool includeItem);
  /// Queues a new item; a "uuid" is added to the info where it has none.
  static void newItemWithInfo(const std::optional<PropertyList>& info);
  static void completeItem(const std::shared_ptr<TLXExternalItem>& item);
  static void uncompleteItem(const std::shared_ptr<TLXExternalItem>& item);
  static void flagItem(const std::shared_ptr<TLXExternalItem>& item);
  static void unflagItem(const std::shared_ptr<TLXExternalItem>& item);

  static std::vector<std::shared_ptr<TLXExternalAction>> currentActions();
  static void removeAllActions();

  /// Gives a function the queued entries as they stand in the file, also those of types unknown
  /// here, and makes what it answers the queue; with no answer nothing is written. One step against
  /// all other processes, so that what is taken out was handed over or stays. The function is not
  /// called when the queue cannot be read; the presenter's lastChange() tells how it ended.
  using EntriesChange =
      std::function<std::optional<PropertyList::Array>(const PropertyList::Array& entries)>;
  static void changeEntries(const EntriesChange& change);

  /// Sets completed and flagged of the records that queued actions are about, in the queue's order.
  /// Actions of a known type for other records go to the handler, if there is one.
  static void applyActionsToExternalItems(const ItemsByUUIDTable& items,
                                          const MissingHandler& missingHandler);
  static void _applyActions(const PropertyList::Array& actions,
                            const ItemsByUUIDTable& toExternalItems,
                            const MissingHandler& missingHandler);

 private:
  TLXExternalActionType type_ = TLXExternalActionType::New;
  std::optional<PropertyList> info_;
};

}  // namespace tasklane
