#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "delivery/DeliveryConfiguration.h"
#include "delivery/DeliveryReceipts.h"
#include "delivery/Destination.h"
#include "foundation/base/NSError.h"
#include "foundation/property-lists/PropertyList.h"
#include "shared-store/TLXPlistPresenter.h"

namespace tasklane {

/// The main application's side of the queue: carries the queued actions out in a person's list, and
/// publishes what the list holds.
///
/// Delivery is at least once, with the action's uuid as the key by which the list tells a
/// repetition: attachments and the task are durable, then the receipt is written, and only then are
/// exactly these entries taken out of the queue. Each step may be the last before a power cut. All
/// state is on disk, so any number of processes may have one; they take turns. Main thread.
///
/// A program that had read the list before and writes it back afterwards takes a new task out
/// without knowing of it. So new tasks are looked after for kLookedAfter: each delivery within that
/// time carries them out again, which changes nothing where the list still has them. Whoever has
/// delivered therefore stays for so long and delivers again when the list changes. Afterwards
/// nobody can tell such a loss from a task that a person has deleted, so it is not written again
/// but told: missing() names what is gone within kTold, and deliverAgain() delivers one of them.
class Deliverer {
 public:
  static constexpr std::chrono::seconds kLookedAfter{5};
  static constexpr std::chrono::seconds kTold = std::chrono::hours(24);

  Deliverer(std::unique_ptr<Destination> destination, DeliveryConfiguration configuration);

  Destination& destination() { return *destination_; }

  /// How things stand after a delivery.
  struct Summary {
    std::size_t delivered = 0;
    std::size_t waiting = 0;
    std::size_t setAside = 0;
    /// Why the first of those that wait does.
    std::string problem;
  };
  /// Carries out what is queued, once. The function is told how much is done. Busy when another
  /// process is delivering; other errors are those of the queue's own file.
  using Progress = std::function<void(std::size_t done, std::size_t all)>;
  Result<Summary> deliver(const Progress& progress = {});

  /// Publishes the list, if it is not what was published last; whether it was not. Busy as above.
  Result<bool> publish();

  /// One entry of the queue for a person: what is wrong with it or would be lost.
  struct Preview {
    PropertyList entry;
    std::vector<std::string> losses;
  };
  std::vector<Preview> preview() const;

  /// Entries that were refused for good, oldest first: {"type", "info", "reason", "since"}.
  static const std::shared_ptr<TLXPlistPresenter>& setAsidePresenter();
  /// How the last delivery went and what was published: {"problem", "since", "destination",
  /// "publishedStamp"}.
  static const std::shared_ptr<TLXPlistPresenter>& statePresenter();
  static DeliveryReceipts& receipts();

  /// New tasks of the last time that the list has no trace of any more.
  Result<std::vector<DeliveryAction>> missing();
  /// Delivers a new task once more, where it is missing. Busy as above.
  Result<DeliveryOutcome> deliverAgain(const DeliveryAction& action);

  /// Puts what was set aside, or of that the entries with a uuid, back at the end of the queue; how
  /// many. Busy as above.
  static Result<std::size_t> retry(const std::optional<std::string>& uuid);

 private:
  class Batch;
  Result<void> finish(Batch& batch);
  void noteState(const Batch& batch);
  std::string settingsText() const;

  std::unique_ptr<Destination> destination_;
  DeliveryConfiguration configuration_;
};

}  // namespace tasklane
