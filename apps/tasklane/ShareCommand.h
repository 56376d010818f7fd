#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ShareBatch.h"
#include "common/ShareRequest.h"

/// Starting a share.
namespace tasklane {

/// The extension's program, which is in its bundle.
std::string sheetProgram();
/// Whether there may be a display to show something on.
bool hasDisplay();

/// The request of a JSON file, or of standard input for "-".
ShareRequest requestFromFile(const std::string& file);

/// The batch of a file, or of standard input for "-".
ShareBatch batchFromFile(const std::string& file);

/// What was copied or is marked, read by the sheet's program, which knows displays. A picture lies
/// in a descriptor that stays open.
ShareRequest requestFromClipboard(ShareRequest::Clipboard clipboard);

/// Has the programs that a sheet needs read from the disk in one go, where they are not in memory.
/// They would be read piece by piece otherwise, as they come to be executed, each waited for, which
/// makes the first sheet of a login later by a tenth.
void readSheetAhead();

/// A picture of the sheet, instead of the sheet.
struct SnapshotOptions {
  std::string file;
  std::optional<std::string> scale;  ///< pixels per point
};

/// Has a process of the extension's program that waits show the sheet for the request, or becomes
/// that program, also to only draw the sheet into a PNG file. Its exit code is the share's. Returns
/// only by a Failure.
[[noreturn]] void openSheet(const ShareRequest& request,
                            const std::optional<SnapshotOptions>& snapshot);

/// Has a process of its own, in a session of its own, show the sheet for the request, and returns
/// once that holds all that is shared: this program may end or be killed, and files that are shared
/// be removed. What goes wrong from there on nobody is told. Throws where there is no display.
void openSheetDetached(ShareRequest request);

/// What --post puts into the sheet before it is saved.
struct PostOptions {
  std::optional<std::string> project;
  std::optional<std::string> context;
  std::optional<std::string> note;
};

/// Saves the items without a window, through the sheet's own code, and prints the queued action.
/// Interrupted meanwhile, or on any failure, it leaves no trace.
void postWithoutWindow(const std::vector<std::shared_ptr<NSExtensionItem>>& items,
                       const PostOptions& options);

/// Whether lines of a batch that cannot be used are told and left out, or keep all from being
/// saved.
enum class BadLines { Refuse, Skip };
/// The same for each entry of a batch: all are queued as one change, or none, and printed as one
/// array.
void postBatch(ShareBatch batch, BadLines badLines, const PostOptions& options);

}  // namespace tasklane
