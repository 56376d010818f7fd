#include "share-sheet/AttachmentFile.h"

#include <unordered_set>

#include "foundation/NSFileManager.h"
#include "foundation/NSLog.h"

namespace tasklane {

namespace {
constexpr double kHighestQuality = 1.0;
}

AttachmentFile AttachmentFile::ofImage(const EncodedImage& image, const std::string& folder) {
  AttachmentFile attachment(folder);
  auto file = UnnamedFile::makeInFolder(folder);
  if (!file) {
    attachment.failure_ = file.error().description;
    return attachment;
  }
  const auto encoded = image.writeJPEGRepresentation(kHighestQuality, *file.value());
  if (encoded) {
    attachment.file_ = file.value();
  } else {
    attachment.failure_ = encoded.error().description;
  }
  return attachment;
}

AttachmentFile AttachmentFile::ofText(const std::string& text, const std::string& folder) {
  AttachmentFile attachment(folder);
  auto file = UnnamedFile::makeInFolder(folder);
  if (!file) {
    attachment.failure_ = file.error().description;
    return attachment;
  }
  const auto stored = file.value()->write(text.data(), text.size());
  if (stored) {
    attachment.file_ = file.value();
  } else {
    attachment.failure_ = stored.error().description;
  }
  return attachment;
}

std::string AttachmentFile::takeName(const Namer& name) {
  const auto listing = NSFileManager::defaultManager().contentsOfDirectoryAtPath(folder_);
  std::unordered_set<std::string> taken;
  if (listing) taken.insert(listing.value().begin(), listing.value().end());

  std::size_t number = 1;
  for (;; ++number) {
    if (taken.contains(name(number))) continue;
    if (!file_) break;
    const auto linked = file_->linkToPath(folder_ + "/" + name(number));
    if (linked) {
      written_ = true;
      return name(number);
    }
    if (linked.error().kind != NSError::Kind::Exists) {
      failure_ = linked.error().description;
      break;
    }
  }
  NSLog(stringWithFormat("Attachment %@ was not saved: %@", {name(number), failure_}));
  return name(number);
}

}  // namespace tasklane
