#pragma once

#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

#include "delivery/Destination.h"
#include "foundation/base/NSError.h"

namespace tasklane {

/// What was delivered, one line of JSON each, oldest first, in a file of the shared container that
/// is only ever appended to. A line that a power cut tore is passed over.
///
///     {"uuid": …, "type": "new", "when": "2026-11-23T08:00:00Z", "destination": …, "where": …,
///     "action": {…}}
///
/// Only who holds the delivery lock appends. One thread.
class DeliveryReceipts {
 public:
  struct Receipt {
    std::string type;
    NSDate when;
    std::string destination;  ///< its description
    std::string where;
    DeliveryAction action;
  };

  static constexpr const char* kNewTask = "new";
  /// The type of a receipt for a new task that was taken out of the list again.
  static constexpr const char* kTakenBack = "taken back";

  explicit DeliveryReceipts(std::string path) : path_(std::move(path)) {}

  /// The uuids of new tasks that were delivered before, read on from where it was read last. They
  /// are this object's.
  Result<const std::unordered_set<std::string>*> newTasks();
  /// All of them, or the newest so many.
  Result<std::vector<Receipt>> receipts(std::optional<std::size_t> newest = {}) const;
  /// New tasks that were delivered to a destination within the last seconds and not taken back
  /// since. Reads no more than it has to.
  std::vector<DeliveryAction> newTasksOfLast(std::chrono::seconds time,
                                             const std::string& destination) const;
  /// Has what a process that was killed may have left unflushed on the disk, names in the folder
  /// too.
  Result<void> flush() const;
  /// Flushed to disk when it returns. Very old receipts are dropped when there are many.
  Result<void> append(const std::vector<Receipt>& receipts);

 private:
  std::string path_;
  std::unordered_set<std::string> newTasks_;
  std::size_t known_ = 0;  // bytes of the file
};

}  // namespace tasklane
