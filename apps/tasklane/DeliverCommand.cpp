#include <chrono>
#include <nlohmann/json.hpp>

#include "Command.h"
#include "DeliveryCommands.h"
#include "ProgressBar.h"
#include "common/BackgroundDelivery.h"
#include "common/OutOfMemory.h"
#include "delivery/DeliveryLock.h"
#include "foundation/events/Interruption.h"
#include "foundation/events/NSRunLoop.h"
#include "foundation/property-lists/PropertyListLookup.h"
#include "shared-store/EntryAttachments.h"
#include "shared-store/TLXExternalAction.h"
#include "shared-store/TLXExternalItem.h"

namespace tasklane {

using nlohmann::json;

namespace {

constexpr std::chrono::milliseconds kPauseForOthers{50};
constexpr std::chrono::seconds kLongestForOthers{10};

/// "new “Buy milk”", "completed 0F2A-…"
std::string nameOfEntry(const PropertyList& entry) {
  const auto* info = entry.valueForKey("info");
  const std::string title = textAt(info, "title");
  return oneLine(textAt(&entry, "type") + " " +
                 (title.empty() ? textAt(info, "uuid") : "\"" + title + "\""));
}

void printPreview(const Deliverer& deliverer, OutputFormat format) {
  json list = json::array();
  for (const auto& preview : deliverer.preview()) {
    if (format == OutputFormat::JSON) {
      const auto* info = preview.entry.valueForKey("info");
      list.push_back({{"type", textAt(&preview.entry, "type")},
                      {"uuid", textAt(info, "uuid")},
                      {"title", textAt(info, "title")},
                      {"losses", preview.losses}});
      continue;
    }
    print(nameOfEntry(preview.entry) + "\n");
    for (const auto& loss : preview.losses) print("    " + oneLine(loss) + "\n");
  }
  if (format == OutputFormat::JSON) printJSON(list);
}

json JSONFromReceipt(const DeliveryReceipts::Receipt& receipt) {
  const auto when =
      std::chrono::duration_cast<std::chrono::seconds>(receipt.when.time_since_epoch());
  return {{"type", receipt.type},
          {"uuid", receipt.action.uuid},
          {"title", receipt.action.title},
          {"where", receipt.where},
          {"when", when.count()}};
}

std::string lineOfReceipt(const DeliveryReceipts::Receipt& receipt) {
  return TLXExternalItem::sharedDateFormatter().stringFromDate(receipt.when) + "  " +
         oneLine(receipt.type) + "  " +
         oneLine(receipt.action.title.empty() ? receipt.action.uuid : receipt.action.title) + "  " +
         oneLine(receipt.where) + "\n";
}

std::vector<DeliveryReceipts::Receipt> newestReceipts(std::optional<std::size_t> count) {
  const auto receipts = Deliverer::receipts().receipts(count);
  if (!receipts) throw Failure{ExitCode::BadData, receipts.error().description + "."};
  return receipts.value();
}

void deliverAgain(const std::string& uuid) {
  const auto receipt = receiptOfTask(uuid);
  const auto deliverer = makeDeliverer();
  requireConnected(*deliverer, receipt);
  const auto outcome = inTurn([&] { return deliverer->deliverAgain(receipt.action); });
  if (!outcome) fail("Not delivered", outcome.error());
  const std::string text = oneLine(outcome.value().text);
  if (outcome.value().kind != DeliveryOutcome::Kind::Delivered)
    throw Failure{ExitCode::Busy, "Not delivered: " + text + "."};
  (void)inTurn([&] { return deliverer->publish(); });
  print((outcome.value().isRepetition ? "It is in the list: " : "Delivered again: ") + text +
        ".\n");
  finishNews("It is done, but could not be printed; `tasklane status` shows how things stand.");
}

/// How things stand.
struct Status {
  std::string destination;
  bool agentRuns = false;
  std::vector<Deliverer::Preview> waiting;
  std::string problem, since;
  PropertyList::Array aside;
  std::vector<DeliveryAction> missing;
  std::optional<DeliveryReceipts::Receipt> last;
};

Status currentStatus() {
  const auto deliverer = makeDeliverer();
  const auto* state = Deliverer::statePresenter()->plist().get();
  Status status{deliverer->destination().description(),
                DeliveryLock::isHeld(DeliveryLock::Of::Agent),
                deliverer->preview(),
                textAt(state, "problem"),
                textAt(state, "since"),
                entriesOfPresenter(Deliverer::setAsidePresenter()),
                {},
                {}};
  // Where the list cannot be looked at, the problem says so.
  if (auto missing = deliverer->missing()) status.missing = std::move(missing).value();
  for (auto& receipt : newestReceipts({}))
    if (receipt.type != DeliveryReceipts::kTakenBack) status.last = std::move(receipt);
  return status;
}

json JSONFromStatus(const Status& status) {
  json waiting = json::array(), aside = json::array(), missing = json::array();
  for (const auto& preview : status.waiting)
    waiting.push_back({{"action", nameOfEntry(preview.entry)}, {"losses", preview.losses}});
  for (const auto& entry : status.aside)
    aside.push_back({{"action", nameOfEntry(entry)},
                     {"reason", textAt(&entry, "reason")},
                     {"since", textAt(&entry, "since")}});
  for (const auto& action : status.missing)
    missing.push_back({{"uuid", action.uuid}, {"title", action.title}});
  return {{"destination", status.destination},
          {"agentRuns", status.agentRuns},
          {"waiting", waiting},
          {"problem", status.problem},
          {"since", status.since},
          {"setAside", aside},
          {"missing", missing},
          {"last", status.last ? JSONFromReceipt(*status.last) : json()}};
}

void printAsText(const Status& status) {
  print("Items go to " + oneLine(status.destination) + ".\n");
  print(status.agentRuns ? "The agent runs.\n"
                         : "The agent does not run; each save delivers by itself.\n");
  if (!status.problem.empty())
    print("Not delivered since " + status.since + ": " + oneLine(status.problem) + ".\n");
  print(status.waiting.empty() ? "Nothing waits.\n"
                               : std::to_string(status.waiting.size()) + " waiting:\n");
  for (const auto& preview : status.waiting) {
    print("  " + nameOfEntry(preview.entry) + "\n");
    for (const auto& loss : preview.losses) print("      " + oneLine(loss) + "\n");
  }
  for (const auto& entry : status.aside)
    print("Set aside since " + textAt(&entry, "since") + ": " + nameOfEntry(entry) + ", because " +
          oneLine(textAt(&entry, "reason")) + ".\n");
  for (const auto& action : status.missing)
    print("No longer in the list: \"" + oneLine(action.title) +
          "\"; removed there, or lost to a program that wrote an older version back. `tasklane "
          "retry " +
          oneLine(action.uuid) + "` delivers it again.\n");
  if (status.last) print("Last delivered: " + lineOfReceipt(*status.last));
}

}  // namespace

bool waitForOthers(std::chrono::steady_clock::time_point since) {
  if (std::chrono::steady_clock::now() - since > kLongestForOthers) return false;
  NSRunLoop::mainRunLoop().runUntil([] { return Interruption::happened(); }, kPauseForOthers);
  return !Interruption::happened();
}

void fail(const std::string& what, const NSError& error) {
  const bool isBusy = error.kind == NSError::Kind::Busy;
  throw Failure{isBusy ? ExitCode::Busy : ExitCode::WriteFailed,
                what + ": " + error.description + "."};
}

void deliver(DeliverMode mode, OutputFormat format) {
  requireContainer();
  requireReadable(*TLXExternalAction::presenter());
  const auto deliverer = makeDeliverer();
  if (mode == DeliverMode::DryRun) return printPreview(*deliverer, format);
  OutOfMemory::changeHasSteps();
  ProgressBar bar;
  const auto summary = inTurn([&] {
    return deliverer->deliver([&](std::size_t done, std::size_t all) { bar.show(done, all); });
  });
  bar.clear();
  if (!summary) fail("Not delivered", summary.error());
  const auto published = inTurn([&] { return deliverer->publish(); });
  deliverInBackground();  // what was delivered is looked after
  const auto& result = summary.value();
  if (format == OutputFormat::JSON) {
    printJSON({{"delivered", result.delivered},
               {"waiting", result.waiting},
               {"setAside", result.setAside},
               {"problem", result.problem.empty() ? json() : json(result.problem)}});
  } else {
    print(std::to_string(result.delivered) + " delivered to " +
          oneLine(deliverer->destination().description()) + ".\n");
  }
  finishNews("It is done, but could not be printed; `tasklane status` shows how things stand.");
  if (result.setAside > 0)
    throw Failure{ExitCode::BadData,
                  std::to_string(result.setAside) + " set aside; `tasklane status` says why."};
  if (result.waiting > 0)
    throw Failure{ExitCode::Busy,
                  std::to_string(result.waiting) + " wait: " + oneLine(result.problem) + "."};
  if (!published)
    throw Failure{ExitCode::Busy,
                  "The list could not be published: " + published.error().description + "."};
}

void printStatus(OutputFormat format) {
  requireContainer();
  requireReadable(*TLXExternalAction::presenter());
  const Status status = currentStatus();
  format == OutputFormat::JSON ? printJSON(JSONFromStatus(status)) : printAsText(status);
}

void printReceipts(OutputFormat format) {
  requireContainer();
  json list = json::array();
  for (const auto& receipt : newestReceipts({})) {
    if (format == OutputFormat::JSON) {
      list.push_back(JSONFromReceipt(receipt));
    } else {
      print(lineOfReceipt(receipt));
    }
  }
  if (format == OutputFormat::JSON) printJSON(list);
}

void retry(const std::optional<std::string>& uuid) {
  requireContainer();
  OutOfMemory::changeHasSteps();
  const auto retried = inTurn([&] { return Deliverer::retry(uuid); });
  if (!retried) fail("Nothing was put back", retried.error());
  if (uuid && retried.value() == 0) return deliverAgain(*uuid);
  print(std::to_string(retried.value()) + " put back into the queue.\n");
  deliver(DeliverMode::Tell, OutputFormat::Text);
}

}  // namespace tasklane
