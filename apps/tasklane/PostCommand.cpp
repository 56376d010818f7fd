#include <algorithm>
#include <nlohmann/json.hpp>

#include "Command.h"
#include "ShareCommand.h"
#include "common/BackgroundDelivery.h"
#include "common/JSONFromPlist.h"
#include "foundation/base/NSLog.h"
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

/// Queues what the sheet holds and answers the entry.
PropertyList save(ShareViewController& sheet) {
  PropertyList entry;
  changeSharedFile(
      TLXExternalAction::presenter(), [&] { sheet.didSelectPost(); },
      // Others are shut out until the change is over, so that the last entry is this one.
      [&](const PropertyList& contents) {
        entry = contents.valueForKey("actions")->array()->back();
      });
  return entry;
}

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

}  // namespace

void postWithoutWindow(const std::vector<std::shared_ptr<NSExtensionItem>>& items,
                       const PostOptions& options) {
  // First of all, so that loading photos leaves it the descriptors that it waits with.
  (void)NSRunLoop::mainRunLoop();
  requirePublished("project", options.project, TLXContainers::uniqueIDForProjectNamed);
  requirePublished("context", options.context, TLXContainers::uniqueIDForContextNamed);

  Interruption::startNoting();
  const auto sheet = std::make_shared<ShareViewController>();
  sheet->setShowsThumbnails(false);
  sheet->beginRequestWithExtensionContext(std::make_shared<NSExtensionContext>(items));
  waitForAttachments();
  if (Interruption::happened()) {
    sheet->didSelectCancel();
    throw Failure{ExitCode::Cancelled, "Interrupted; nothing was saved."};
  }
  if (!sheet->attachmentFailures().empty()) {
    sheet->didSelectCancel();
    throw failureOf(sheet->attachmentFailures());
  }
  if (sheet->isContentLoading()) {  // and will be for ever
    sheet->didSelectCancel();
    throw Failure{ExitCode::WriteFailed,
                  "There is not enough memory for what is shared; nothing was saved."};
  }
  if (options.project) sheet->projectConfigItem()->setValue(*options.project);
  if (options.context) sheet->contextConfigItem()->setValue(*options.context);
  if (options.note) sheet->setNoteText(*options.note);
  PropertyList entry;
  try {
    entry = save(*sheet);
  } catch (const Failure&) {
    sheet->didSelectCancel();  // nothing refers to the attachments
    throw;
  }
  printJSON(JSONFromPlist(entry));
  finishNews("It was saved, but could not be printed; `tasklane queue` shows it.");
  deliverInBackground();
  if (!sheet->attachmentFiles().empty()) sweepAttachments();
}

}  // namespace tasklane
