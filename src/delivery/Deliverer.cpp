#include "delivery/Deliverer.h"

#include <algorithm>
#include <set>
#include <unordered_set>
#include <utility>

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

using Kind = DeliveryOutcome::Kind;

constexpr const char* kUnknown = "this program does not know what is asked for";

std::string nowText() {
  return TLXExternalItem::sharedDateFormatter().stringFromDate(Clock::now());
}

PropertyList typeOf(const PropertyList& entry) {
  const auto* type = entry.valueForKey("type");
  return type ? *type : PropertyList("unknown");
}

bool isSameAction(const PropertyList& one, const PropertyList& other) {
  const auto* info = one.valueForKey("info");
  const auto* otherInfo = other.valueForKey("info");
  return typeOf(one) == typeOf(other) &&
         (info && otherInfo ? *info == *otherInfo : info == otherInfo);
}

/// The queue as it is on the disk by now.
Result<PropertyList::Array> queuedEntries() {
  PropertyList::Array queued;
  TLXExternalAction::changeEntries([&](const PropertyList::Array& entries) {
    queued = entries;
    return std::optional<PropertyList::Array>();
  });
  const auto& read = TLXExternalAction::presenter()->lastChange();
  if (!read) return read.error();
  return queued;
}

}  // namespace

/// The entries of one delivery, and what becomes of them.
class Deliverer::Batch {
 public:
  Batch(std::string destination, const std::unordered_set<std::string>& deliveredBefore)
      : destination_(std::move(destination)), deliveredBefore_(deliveredBefore) {}

  std::vector<DeliveryAction> actions;  // to be carried out
  std::size_t delivered = 0;
  std::vector<DeliveryReceipts::Receipt> newReceipts;
  PropertyList::Array refused;  // as they are set aside
  PropertyList::Array gone;     // delivered or refused: to be taken out of the queue
  bool isRepetition = false;    // some of it a former process has noted, which may have been killed
  std::set<std::string> usedFiles;
  std::size_t waiting = 0;
  std::string problem;

  void reserve(std::size_t count) {
    for (auto* list : {&entries_, &gone}) list->reserve(count);
    actions.reserve(count);
  }

  void addEntry(const PropertyList& entry) {
    auto action = deliveryActionOfEntry(entry);
    if (!action) {
      refuse(entry, kUnknown);
    } else if (action->type == TLXExternalActionType::New &&
               deliveredBefore_.contains(action->uuid)) {
      isRepetition = true;
      isDone(entry, *action);
    } else {
      actions.push_back(std::move(*action));
      entries_.push_back(entry);
    }
  }

  /// Behind all entries.
  void addLookedAfter(std::vector<DeliveryAction> recent) {
    for (auto& action : recent) actions.push_back(std::move(action));
  }

  /// The actions are the receipts' afterwards.
  void add(std::vector<DeliveryOutcome> outcomes) {
    const NSDate now = Clock::now();
    newReceipts.reserve(actions.size());
    for (std::size_t i = 0; i < actions.size(); ++i) {
      const bool isLookedAfter = i >= entries_.size();
      auto& outcome = outcomes[i];
      if (outcome.kind == Kind::Delivered) {
        if (!isLookedAfter) isDone(entries_[i], actions[i]);
        if (isLookedAfter && outcome.isRepetition) continue;
        const PropertyList type =
            isLookedAfter ? PropertyList(DeliveryReceipts::kNewTask) : typeOf(entries_[i]);
        newReceipts.push_back(
            {*type.string(), now, destination_, std::move(outcome.text), std::move(actions[i])});
      } else if (isLookedAfter) {
        continue;  // the next look
      } else if (outcome.kind == Kind::Refused) {
        refuse(entries_[i], outcome.text);
      } else {
        ++waiting;
        if (problem.empty()) problem = outcome.text;
      }
    }
  }

 private:
  void isDone(const PropertyList& entry, const DeliveryAction& action) {
    ++delivered;
    gone.push_back(entry);
    usedFiles.insert(action.attachments.begin(), action.attachments.end());
  }

  void refuse(const PropertyList& entry, const std::string& reason) {
    gone.push_back(entry);
    PropertyListDictionary aside{{"type", typeOf(entry)}, {"reason", reason}, {"since", nowText()}};
    if (const auto* info = entry.valueForKey("info")) aside.set("info", *info);
    refused.emplace_back(std::move(aside));
  }

  const std::string destination_;
  const std::unordered_set<std::string>& deliveredBefore_;
  PropertyList::Array entries_;  // of the first actions
};

Deliverer::Deliverer(std::unique_ptr<Destination> destination, DeliveryConfiguration configuration)
    : destination_(std::move(destination)), configuration_(std::move(configuration)) {}

const std::shared_ptr<TLXPlistPresenter>& Deliverer::setAsidePresenter() {
  static const auto presenter =
      TLXPlistPresenter::makeWithURL(TLXPlistPresenter::sharedFileURL(kSetAsideFileName));
  return presenter;
}

const std::shared_ptr<TLXPlistPresenter>& Deliverer::statePresenter() {
  static const auto presenter =
      TLXPlistPresenter::makeWithURL(TLXPlistPresenter::sharedFileURL("delivery.plist"));
  return presenter;
}

DeliveryReceipts& Deliverer::receipts() {
  static DeliveryReceipts receipts = [] {
    const auto url = TLXPlistPresenter::sharedFileURL("receipts.jsonl");
    return DeliveryReceipts(url ? url->path() : std::string());
  }();
  return receipts;
}

Result<Deliverer::Summary> Deliverer::deliver(const Progress& progress) {
  if (!TLXExternalAction::presenter())
    return NSError{NSError::Kind::Io, "there is no folder of shared files"};
  const auto lock = DeliveryLock::take(DeliveryLock::Of::Delivery);
  if (!lock) return lock.error();
  const auto entries = queuedEntries();
  if (!entries) return entries.error();

  const auto deliveredBefore = receipts().newTasks();
  if (!deliveredBefore) return deliveredBefore.error();
  Batch batch(destination_->description(), *deliveredBefore.value());
  batch.reserve(entries.value().size());
  for (const auto& entry : entries.value()) batch.addEntry(entry);
  if (destination_->canBeWrittenBack())
    batch.addLookedAfter(receipts().newTasksOfLast(kLookedAfter, destination_->description()));
  if (!batch.actions.empty())
    batch.add(destination_->carryOut(batch.actions, [&](std::size_t done) {
      if (progress) progress(done, batch.actions.size());
    }));
  const auto finished = finish(batch);
  if (!finished) return finished.error();
  noteState(batch);
  return Summary{batch.delivered, batch.waiting, batch.refused.size(), batch.problem};
}

/// In this order, so that what ends the process at any step only repeats a step.
Result<void> Deliverer::finish(Batch& batch) {
  if (!batch.newReceipts.empty()) {
    if (const auto appended = receipts().append(batch.newReceipts); !appended) return appended;
  }
  if (!batch.refused.empty()) {
    const auto kept = changeSharedEntries(setAsidePresenter(), [&](PropertyList::Array& aside) {
      for (const auto& entry : batch.refused) {
        const bool isThere = std::any_of(aside.begin(), aside.end(), [&](const auto& other) {
          return isSameAction(entry, other);
        });
        batch.isRepetition |= isThere;
        if (!isThere) aside.push_back(entry);
      }
    });
    if (!kept) return kept;
  }
  if (batch.isRepetition) {
    if (const auto flushed = receipts().flush(); !flushed) return flushed;
  }
  if (batch.gone.empty()) return {};
  std::set<std::string> stillNamed;
  TLXExternalAction::changeEntries([&](const PropertyList::Array& queued) {
    auto left = entriesWithout(queued, batch.gone);
    for (const auto& entry : left)
      if (const auto action = deliveryActionOfEntry(entry))
        stillNamed.insert(action->attachments.begin(), action->attachments.end());
    return std::optional(std::move(left));
  });
  const auto& taken = TLXExternalAction::presenter()->lastChange();
  if (!taken) return taken;
  for (const auto& path : batch.usedFiles)
    if (!stillNamed.contains(path)) (void)NSFileManager::defaultManager().removeItemAtPath(path);
  return {};
}

void Deliverer::noteState(const Batch& batch) {
  const auto noted = [](const char* key) { return textAt(statePresenter()->plist().get(), key); };
  if (batch.problem.empty() && noted("problem").empty()) return;
  (void)changeSharedDictionary(statePresenter(), [&](PropertyListDictionary& state) {
    if (batch.problem == noted("problem")) return;
    if (batch.problem.empty()) {
      state.erase("problem");
      state.erase("since");
    } else {
      state.set("problem", batch.problem);
      if (noted("since").empty()) state.set("since", nowText());
    }
  });
}

std::vector<Deliverer::Preview> Deliverer::preview() const {
  std::vector<Preview> previews;
  const auto entries = queuedEntries();
  if (!entries) return previews;
  for (const auto& entry : entries.value()) {
    const auto action = deliveryActionOfEntry(entry);
    Preview preview{entry, {}};
    if (!action) {
      preview.losses.emplace_back(kUnknown);
    } else {
      preview.losses = destination_->losses(*action);
      for (const auto& name : action->missingAttachments)
        preview.losses.push_back("its attachment " + name + " is not there any more");
    }
    previews.push_back(std::move(preview));
  }
  return previews;
}

Result<std::vector<DeliveryAction>> Deliverer::missing() {
  auto delivered = receipts().newTasksOfLast(kTold, destination_->description());
  if (delivered.empty()) return delivered;
  const auto gone = destination_->missing(delivered);
  if (!gone) return gone.error();
  const std::set<std::string> uuids(gone.value().begin(), gone.value().end());
  std::erase_if(delivered, [&](const auto& action) { return !uuids.contains(action.uuid); });
  return delivered;
}

Result<DeliveryOutcome> Deliverer::deliverAgain(const DeliveryAction& action) {
  const auto lock = DeliveryLock::take(DeliveryLock::Of::Delivery);
  if (!lock) return lock.error();
  auto outcome = destination_->carryOut({action}, [](std::size_t) {}).front();
  if (outcome.kind != Kind::Delivered || outcome.isRepetition) return outcome;
  const auto noted = receipts().append({{DeliveryReceipts::kNewTask, Clock::now(),
                                         destination_->description(), outcome.text, action}});
  if (!noted) return noted.error();
  return outcome;
}

Result<std::size_t> Deliverer::retry(const std::optional<std::string>& uuid) {
  const auto lock = DeliveryLock::take(DeliveryLock::Of::Delivery);
  if (!lock) return lock.error();
  const auto aside = entriesInSharedFile(kSetAsideFileName);
  if (!aside) return aside.error();
  PropertyList::Array chosen = aside.value();
  std::erase_if(chosen, [&](const auto& entry) { return uuid && uuidOfEntry(entry) != *uuid; });
  if (chosen.empty()) return std::size_t{0};
  // Into the queue first: what is in both is delivered once, by its uuid.
  TLXExternalAction::changeEntries([&](const PropertyList::Array& queued) {
    auto all = queued;
    for (const auto& entry : chosen) {
      PropertyListDictionary back{{"type", typeOf(entry)}};
      if (const auto* info = entry.valueForKey("info")) back.set("info", *info);
      all.emplace_back(std::move(back));
    }
    return std::optional(std::move(all));
  });
  const auto& queued = TLXExternalAction::presenter()->lastChange();
  if (!queued) return queued.error();
  const auto removed = changeSharedEntries(setAsidePresenter(), [&](PropertyList::Array& entries) {
    entries = entriesWithout(entries, chosen);
  });
  if (!removed) return removed.error();
  return chosen.size();
}

}  // namespace tasklane
