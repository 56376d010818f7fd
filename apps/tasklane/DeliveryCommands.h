#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "QueueCommands.h"
#include "delivery/Deliverer.h"
#include "delivery/DestinationKinds.h"

/// The commands about the person's own list: connecting it, delivering to it, looking and taking
/// back.
namespace tasklane {

/// A deliverer for the configured list; throws when the configuration is wrong.
std::unique_ptr<Deliverer> makeDeliverer();

/// Tries a list, shows what it offers, and has everything delivered there from then on.
void connect(const std::string& kind, const DestinationKind::Options& options);

/// What `deliver` is asked for.
enum class DeliverMode {
  Tell,   ///< prints what was done
  DryRun  ///< changes nothing, and prints what would be lost
};
void deliver(DeliverMode mode, OutputFormat format);

/// A short pause for a process that is delivering; false when that has been tried for long enough.
bool waitForOthers(std::chrono::steady_clock::time_point since);

/// Does something that only one process does at a time, when others that are at it have ended.
template <class Work>
auto inTurn(const Work& work) {
  const auto start = std::chrono::steady_clock::now();
  for (;;) {
    auto result = work();
    if (result || result.error().kind != NSError::Kind::Busy || !waitForOthers(start))
      return result;
  }
}

/// Throws what ends a command that could not do its work: "Not delivered: …".
[[noreturn]] void fail(const std::string& what, const NSError& error);

void printStatus(OutputFormat format);
void printReceipts(OutputFormat format);

/// Puts what was set aside back into the queue and delivers; with a uuid that entry alone, or the
/// task that was delivered and is no longer in the list.
void retry(const std::optional<std::string>& uuid);

/// The newest receipt of a new task that was not taken back, or that of the uuid; throws where
/// there is none.
DeliveryReceipts::Receipt receiptOfTask(const std::optional<std::string>& uuid);
/// Throws unless what a receipt is about lies in the list that is connected.
void requireConnected(Deliverer& deliverer, const DeliveryReceipts::Receipt& receipt);

/// Takes back the newest saved item or the one with the uuid, wherever it lies.
void undo(const std::optional<std::string>& uuid);

/// Stays and delivers whatever is queued, and publishes whatever changes: until it is asked to end,
/// or until nothing has happened for some seconds. The latter says nothing, and leaves at once
/// where another does it.
enum class Stay { ForGood, Briefly };
void runAgent(Stay stay);

}  // namespace tasklane
