#include <iterator>
#include <set>

#include "Command.h"
#include "DeliveryCommands.h"
#include "common/OutOfMemory.h"
#include "delivery/DeliveryLock.h"
#include "delivery/QueuedActions.h"
#include "delivery/SharedFileChange.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/property-lists/PropertyListLookup.h"
#include "shared-store/EntryAttachments.h"
#include "shared-store/TLXExternalAction.h"
#include "shared-store/TLXExternalItem.h"

namespace tasklane {

namespace {

/// Takes the newest new item, or the one with the uuid, out of entries; none when there is none.
std::optional<DeliveryAction> takeOutOf(PropertyList::Array& entries,
                                        const std::optional<std::string>& uuid) {
  for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
    auto action = deliveryActionOfEntry(*entry);
    if (!action || action->type != TLXExternalActionType::New) continue;
    if (uuid && action->uuid != *uuid) continue;
    entries.erase(std::next(entry).base());
    return action;
  }
  return std::nullopt;
}

void removeFilesOf(const DeliveryAction& action) {
  for (const auto& path : action.attachments)
    (void)NSFileManager::defaultManager().removeItemAtPath(path);
}

/// With its attachments.
std::optional<DeliveryAction> takeOutOfQueue(const std::optional<std::string>& uuid) {
  std::optional<DeliveryAction> taken;
  TLXExternalAction::changeEntries(
      [&](const PropertyList::Array& entries) -> std::optional<PropertyList::Array> {
        auto left = entries;
        taken = takeOutOf(left, uuid);
        return taken ? std::optional(std::move(left)) : std::nullopt;
      });
  if (const auto failure = failureOfLastChange(*TLXExternalAction::presenter())) throw *failure;
  if (taken) removeFilesOf(*taken);
  return taken;
}

/// Of what was refused; with nothing named only where nothing was delivered since.
std::optional<DeliveryAction> takeOutOfSetAside(const std::optional<std::string>& uuid) {
  const auto aside = entriesInSharedFile(kSetAsideFileName);
  auto entries = aside ? aside.value() : PropertyList::Array{};
  if (!uuid) {
    const auto newest = Deliverer::receipts().receipts(1);
    std::erase_if(entries, [&](const auto& entry) {
      const auto since =
          TLXExternalItem::sharedDateFormatter().dateFromString(textAt(&entry, "since"));
      return !since || !newest ||
             (!newest.value().empty() && *since <= newest.value().front().when);
    });
  }
  const auto taken = takeOutOf(entries, uuid);
  if (!taken) return taken;
  const auto removed =
      changeSharedEntries(Deliverer::setAsidePresenter(),
                          [&](PropertyList::Array& all) { (void)takeOutOf(all, taken->uuid); });
  if (!removed) fail("Nothing was taken back", removed.error());
  removeFilesOf(*taken);
  return taken;
}

/// By a delivery that was killed before it could take it out of the queue.
bool wasDelivered(const std::string& uuid) {
  const auto delivered = Deliverer::receipts().newTasks();
  return delivered && delivered.value()->contains(uuid);
}

void sayTakenBack(const std::string& title) {
  print("Taken back: \"" + oneLine(title) + "\".\n");
  finishNews("It was taken back, but that could not be printed.");
}

}  // namespace

DeliveryReceipts::Receipt receiptOfTask(const std::optional<std::string>& uuid) {
  auto receipts = Deliverer::receipts().receipts();
  if (!receipts) throw Failure{ExitCode::BadData, receipts.error().description + "."};
  std::set<std::string> undone;
  for (auto receipt = receipts.value().rbegin(); receipt != receipts.value().rend(); ++receipt) {
    const std::string& named = receipt->action.uuid;
    if (uuid && named != *uuid) continue;
    if (receipt->type == DeliveryReceipts::kTakenBack) undone.insert(named);
    if (receipt->type == DeliveryReceipts::kNewTask && !undone.contains(named)) return *receipt;
  }
  if (!undone.empty() && uuid)
    throw Failure{ExitCode::BadData,
                  "The item \"" + oneLine(*uuid) + "\" has been taken back already."};
  throw Failure{ExitCode::BadData,
                uuid ? "No saved item has the identifier \"" + oneLine(*uuid) + "\"."
                     : "Nothing was saved that could be taken back."};
}

void requireConnected(Deliverer& deliverer, const DeliveryReceipts::Receipt& receipt) {
  if (receipt.destination == deliverer.destination().description()) return;
  throw Failure{ExitCode::BadData, "\"" + oneLine(receipt.action.title) + "\" was delivered to " +
                                       oneLine(receipt.destination) +
                                       ", which is not connected any more (" +
                                       oneLine(receipt.where) + ")."};
}

void undo(const std::optional<std::string>& uuid) {
  requireContainer();
  requireReadable(*TLXExternalAction::presenter());
  OutOfMemory::changeHasSteps();
  // No delivery may be under way with the item that is to be taken back.
  const auto lock = inTurn([] { return DeliveryLock::take(DeliveryLock::Of::Delivery); });
  if (!lock) fail("Nothing was taken back", lock.error());
  const auto taken = takeOutOfQueue(uuid);
  if (taken && !wasDelivered(taken->uuid)) return sayTakenBack(taken->title);
  if (!taken) {
    if (const auto refused = takeOutOfSetAside(uuid)) return sayTakenBack(refused->title);
  }

  const auto receipt = receiptOfTask(taken ? std::optional(taken->uuid) : uuid);
  const auto deliverer = makeDeliverer();
  requireConnected(*deliverer, receipt);
  const auto outcome = deliverer->destination().takeBack(receipt.action);
  switch (outcome.kind) {
    case DeliveryOutcome::Kind::Delivered: {
      DeliveryReceipts::Receipt undone = receipt;
      undone.type = DeliveryReceipts::kTakenBack;
      undone.when = Clock::now();
      undone.where = outcome.text;
      if (const auto noted = Deliverer::receipts().append({undone}); !noted)
        throw Failure{ExitCode::WriteFailed,
                      "It was " + outcome.text +
                          ", but that could not be noted: " + noted.error().description + "."};
      return sayTakenBack(receipt.action.title);
    }
    case DeliveryOutcome::Kind::Refused:
      throw Failure{ExitCode::BadData, "\"" + oneLine(receipt.action.title) +
                                           "\" cannot be taken back: " + oneLine(outcome.text) +
                                           "."};
    case DeliveryOutcome::Kind::Later:
      throw Failure{ExitCode::Busy, "Not now: " + oneLine(outcome.text) + "."};
  }
}

}  // namespace tasklane
