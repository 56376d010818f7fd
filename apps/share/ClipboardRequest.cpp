#include "ClipboardRequest.h"

#include <sys/sendfile.h>
#include <sys/stat.h>

#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include "common/ExitCode.h"
#include "common/LinkCleaning.h"
#include "common/SharedWords.h"
#include "foundation/extension/UTType.h"

namespace tasklane {

namespace {

constexpr int kPictureDescriptor = 3;

std::string pathOfDescriptor(int descriptor) {
  return "/proc/self/fd/" + std::to_string(descriptor);
}

NSError nothing(const std::string& why) { return {NSError::Kind::FileNotFound, why}; }

void addText(const UIPasteboardContents& contents, ShareRequest::Item& item) {
  item.text = contents.text;
  sortOutLink(item);
  if (contents.sourceAddress.empty() || !item.attachments.empty() ||
      contents.text.find(contents.sourceAddress) != std::string::npos)
    return;
  // Its first line becomes the title; what follows stands in the note, and the address behind it.
  const auto lineBreak = contents.text.find('\n');
  const bool hasNote = lineBreak != std::string::npos &&
                       contents.text.find_first_not_of("\n", lineBreak) != std::string::npos;
  if (hasNote) *item.text += "\n\n";
  item.attachments.push_back(attachmentOfAddress(contents.sourceAddress));
}

Result<ShareRequest::Item> itemOf(const UIPasteboardContents& contents) {
  ShareRequest::Item item;
  if (!contents.files.empty()) {
    if (auto added = addSharedWords(contents.files, item); !added) return added.error();
  } else if (contents.picture && (contents.text.empty() || !contents.links.empty())) {
    const auto path = pathOfDescriptor(contents.picture->fileDescriptor());
    item.attachments.push_back({{kUTTypeImage, {}, path, {}, {}}});
    if (!contents.sourceAddress.empty())
      item.attachments.push_back(attachmentOfAddress(contents.sourceAddress));
  } else if (!contents.links.empty()) {
    std::vector<std::string> addresses;
    for (const auto& link : contents.links) {
      if (!item.title && !link.title.empty()) item.title = link.title;
      addresses.push_back(link.address);
    }
    if (auto added = addSharedWords(addresses, item); !added) return added.error();
  } else if (!contents.text.empty()) {
    addText(contents, item);
  }
  return item;
}

bool hasAnything(const ShareRequest::Item& item) {
  return item.title || item.text || !item.attachments.empty();
}

/// Copies the picture to where the other program looks for it.
bool movePicture(const EncodedImage& picture, const std::string& name, ShareRequest& request) {
  struct stat state {};
  off_t at = 0;
  if (::fstat(picture.fileDescriptor(), &state) != 0) return false;
  while (at < state.st_size)
    if (::sendfile(kPictureDescriptor, picture.fileDescriptor(), &at,
                   static_cast<size_t>(state.st_size - at)) <= 0)
      return false;
  const auto path = pathOfDescriptor(picture.fileDescriptor());
  for (auto& attachment : request.items.front().attachments)
    if (attachment.front().file == path) attachment.front().file = name;
  return true;
}

}  // namespace

UIPasteboard pasteboardFor(ShareRequest::Clipboard clipboard) {
  return clipboard == ShareRequest::Clipboard::Copied ? UIPasteboard::General
                                                      : UIPasteboard::Selection;
}

Result<ShareRequest> requestFromPasteboard(const UIPasteboardContents& contents,
                                           ShareRequest::Clipboard clipboard) {
  const bool isCopied = clipboard == ShareRequest::Clipboard::Copied;
  if (contents.isSecret)
    return nothing("what was copied is marked as a password and is not shared");
  auto item = itemOf(contents);
  if (!item) return item.error();
  ShareRequest request{{std::move(item).value()}, {}, false};
  if (hasAnything(request.items.front())) return request;
  if (contents.pictureFault)
    return nothing("the picture that was copied cannot be shared: " +
                   contents.pictureFault->description);
  return nothing(isCopied ? "nothing that can be shared is on the clipboard; copy it first"
                          : "nothing that can be shared is selected; select it first");
}

int printClipboardRequest(ShareRequest::Clipboard clipboard, const std::string& picturePath) {
  const auto contents = backend::waitForPasteboard(pasteboardFor(clipboard));
  auto request = contents ? requestFromPasteboard(*contents, clipboard)
                          : nothing("this desktop does not let the clipboard be read");
  if (request && contents->picture &&
      !movePicture(*contents->picture, picturePath, request.value()))
    request = nothing("the picture that was copied cannot be kept");
  std::puts(request ? request.value().JSON().c_str() : request.error().description.c_str());
  if (std::fflush(stdout) != 0) return static_cast<int>(ExitCode::WriteFailed);
  return static_cast<int>(request ? ExitCode::Done : ExitCode::MissingInput);
}

}  // namespace tasklane
