#pragma once

#include "common/ShareRequest.h"
#include "uikit/base/UIPasteboard.h"

namespace tasklane {

/// The request that what was copied makes, as if it had been shared by the program that it was
/// copied from: files, else a picture, unless it only shows a text that is there too, else a link,
/// else a text (its page's address behind it).
/// An error of kind FileNotFound, whose description is a sentence without its full stop, where
/// there is nothing to share. The request names the picture by its descriptor: keep the contents
/// until it is loaded.
Result<ShareRequest> requestFromPasteboard(const UIPasteboardContents& contents,
                                           ShareRequest::Clipboard clipboard);

UIPasteboard pasteboardFor(ShareRequest::Clipboard clipboard);

/// For a program without a display of its own: prints the request as JSON on standard output and
/// copies its picture into descriptor 3, which the request names by the given path. Where there is
/// nothing, the sentence that says why is printed instead. Answers the exit code. The backend has
/// been started.
int printClipboardRequest(ShareRequest::Clipboard clipboard, const std::string& picturePath);

}  // namespace tasklane
