#include <algorithm>
#include <cstddef>
#include <nlohmann/json.hpp>

#include "Command.h"
#include "ShareCommand.h"
#include "common/BackgroundDelivery.h"
#include "common/JSONFromPlist.h"
#include "foundation/base/NSLog.h"
#include "foundation/base/NSUUID.h"
#include "foundation/events/Interruption.h"
#include "foundation/events/NSOperationQueue.h"
#include "foundation/events/NSRunLoop.h"
#include "foundation/extension/NSItemProvider.h"
#include "share-sheet/ShareViewController.h"
#include "shared-store/AttachmentSweep.h"
#include "shared-store/TLXContainers.h"
#include "shared-store/TLXExternalAction.h"

namespace tasklane {

namespace {

using nlohmann::json;

void requirePublished(const char* kind, const std::optional<std::string>& name,
                      std::optional<std::string> (*identifier)(const std::string&)) {
  if (!name || identifier(*name)) return;
  requireReadable(*TLXContainers::presenter());
  const std::string catalogue = std::string(kind) + "s";
  throw Failure{ExitCode::BadData, "No " + std::string(kind) + " is called \"" + oneLine(*name) +
                                       "\"; `tasklane catalogue " + catalogue +
                                       "` lists them. Nothing was saved."};
}

void waitForAttachments() {
  auto& runLoop = NSRunLoop::mainRunLoop();
  // There is nothing to do but to look at the condition again.
  const auto source = runLoop.addDescriptor(Interruption::descriptor(), [] {});
  const auto isDone = [] {
    return Interruption::happened() ||
           (NSItemProvider::outstandingLoads() == 0 && NSOperationQueue::mainQueue().empty());
  };
  while (!runLoop.runUntil(isDone, std::chrono::hours(1))) {
  }
}

/// Sheets that nobody looks at. What they have written goes with them, unless it is kept.
class HiddenSheets {
 public:
  ~HiddenSheets() {
    for (const auto& sheet : sheets_) sheet->didSelectCancel();
  }
  HiddenSheets() = default;
  HiddenSheets(const HiddenSheets&) = delete;
  HiddenSheets& operator=(const HiddenSheets&) = delete;

  void add(const std::vector<std::shared_ptr<NSExtensionItem>>& items, const PostOptions& options) {
    const auto sheet = std::make_shared<ShareViewController>();
    sheet->setShowsThumbnails(false);
    sheet->beginRequestWithExtensionContext(std::make_shared<NSExtensionContext>(items));
    if (options.project) sheet->projectConfigItem()->setValue(*options.project);
    if (options.context) sheet->contextConfigItem()->setValue(*options.context);
    sheets_.push_back(sheet);
  }

  /// Waits until all is loaded that can be; throws when that is not everything.
  void load() const {
    waitForAttachments();
    if (Interruption::happened())
      throw Failure{ExitCode::Cancelled, "Interrupted; nothing was saved."};
    for (const auto& sheet : sheets_)
      if (sheet->attachmentFailures().empty() && sheet->isContentLoading())  // and will be for ever
        throw Failure{ExitCode::WriteFailed,
                      "There is not enough memory for what is shared; nothing was saved."};
  }

  const std::vector<std::shared_ptr<ShareViewController>>& all() const { return sheets_; }
  /// Takes one back.
  void remove(std::size_t index) {
    sheets_[index]->didSelectCancel();
    sheets_.erase(sheets_.begin() + static_cast<std::ptrdiff_t>(index));
  }

  /// Queues what the sheets hold, as one change, and answers the entries.
  PropertyList::Array save() {
    PropertyList::Array entries;
    for (const auto& sheet : sheets_) {
      auto info = *sheet->newItemInfo().dictionary();
      info.set("uuid", NSUUID::UUIDString());
      TLXExternalAction action;
      action.setType(TLXExternalActionType::New);
      action.setInfo(PropertyList(std::move(info)));
      entries.push_back(action.propertyList());
    }
    changeSharedFile(TLXExternalAction::presenter(), [&] {
      TLXExternalAction::changeEntries([&](PropertyList::Array queued) {
        queued.insert(queued.end(), entries.begin(), entries.end());
        return std::optional(std::move(queued));
      });
    });
    for (const auto& sheet : sheets_) sheet->newItemWasQueued();
    sheets_.clear();
    return entries;
  }

 private:
  std::vector<std::shared_ptr<ShareViewController>> sheets_;
};

ExitCode exitCodeForAttachment(const NSError& error) {
  switch (error.kind) {
    case NSError::Kind::Corrupt:
    case NSError::Kind::Unsupported:
      return ExitCode::BadData;
    case NSError::Kind::FileNotFound:
      return ExitCode::MissingInput;
    default:
      return ExitCode::WriteFailed;
  }
}

/// The gravest of the reasons decides how the command ends.
Failure failureOf(const std::vector<NSError>& attachments) {
  Failure failure{ExitCode::BadData, {}};
  for (const NSError& error : attachments) {
    if (!failure.sentence.empty()) NSLog(failure.sentence + ".");
    failure.sentence = error.description;
    failure.code = std::max(failure.code, exitCodeForAttachment(error));
  }
  failure.sentence += "; nothing was saved.";
  return failure;
}

void sayOfLine(std::size_t line, const std::string& sentence) {
  NSLog("tasklane: Line " + std::to_string(line) + ": " + oneLine(sentence) + ".");
}

/// Tells of the lines that cannot be used, and throws unless they may be left out.
void refuseBadLines(ShareBatch& batch, BadLines badLines) {
  std::sort(batch.badLines.begin(), batch.badLines.end(),
            [](const auto& a, const auto& b) { return a.line < b.line; });
  for (const auto& bad : batch.badLines) sayOfLine(bad.line, bad.fault);
  if (batch.badLines.empty() || badLines == BadLines::Skip) return;
  throw Failure{ExitCode::BadData, std::to_string(batch.badLines.size()) +
                                       " of the batch's lines cannot be used; nothing was saved. "
                                       "--skip-bad-lines saves the others."};
}

void prepareToPost(const PostOptions& options) {
  // First of all, so that loading photos leaves it the descriptors that it waits with.
  (void)NSRunLoop::mainRunLoop();
  requirePublished("project", options.project, TLXContainers::uniqueIDForProjectNamed);
  requirePublished("context", options.context, TLXContainers::uniqueIDForContextNamed);
  Interruption::startNoting();
}

void finishPosting(const json& news, bool hasAttachments) {
  printJSON(news);
  finishNews("It was saved, but could not be printed; `tasklane queue` shows it.");
  deliverInBackground();
  if (hasAttachments) sweepAttachments();
}

bool hasAttachments(const PropertyList& entry) {
  return entry.valueForKey("info")->valueForKey("attachments") != nullptr;
}

}  // namespace

void postWithoutWindow(const std::vector<std::shared_ptr<NSExtensionItem>>& items,
                       const PostOptions& options) {
  prepareToPost(options);
  HiddenSheets sheets;
  sheets.add(items, options);
  sheets.load();
  const auto& sheet = sheets.all().front();
  if (!sheet->attachmentFailures().empty()) throw failureOf(sheet->attachmentFailures());
  if (options.note) sheet->setNoteText(*options.note);
  const auto entries = sheets.save();
  finishPosting(JSONFromPlist(entries.front()), hasAttachments(entries.front()));
}

void postBatch(ShareBatch batch, BadLines badLines, const PostOptions& options) {
  prepareToPost(options);
  for (const auto line : batch.doneLines)
    NSLog("tasklane: Line " + std::to_string(line) + " is done already and passed over.");
  HiddenSheets sheets;
  std::vector<std::size_t> lines;
  for (const auto& entry : batch.entries) {
    const auto items = entry.request.inputItems();
    if (!items) {
      batch.badLines.push_back({entry.line, items.error().description});
      continue;
    }
    for (const auto& sentence : entry.request.warnings()) sayOfLine(entry.line, sentence);
    sheets.add(items.value(), options);
    lines.push_back(entry.line);
  }
  sheets.load();
  for (std::size_t i = lines.size(); i-- > 0;) {
    const auto& failures = sheets.all()[i]->attachmentFailures();
    if (failures.empty()) continue;
    batch.badLines.push_back({lines[i], failures.front().description});
    sheets.remove(i);
  }
  refuseBadLines(batch, badLines);
  if (sheets.all().empty())
    throw Failure{ExitCode::BadData, "There is no item in the batch; nothing was saved."};
  json news = json::array();
  bool anyAttachments = false;
  for (const auto& entry : sheets.save()) {
    news.push_back(JSONFromPlist(entry));
    anyAttachments |= hasAttachments(entry);
  }
  finishPosting(news, anyAttachments);
}

}  // namespace tasklane
