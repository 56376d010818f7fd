#include "share-sheet/AttachmentFile.h"

#include <unordered_set>

#include "foundation/files/NSFileManager.h"

namespace tasklane {

namespace {
constexpr double kHighestQuality = 1.0;
}

AttachmentFile::AttachmentFile(const std::string& folder, const Writer& write) : folder_(folder) {
  const auto file = UnnamedFile::makeInFolder(folder);
  const auto written = file ? write(*file.value()) : Result<void>(file.error());
  if (written) {
    file_ = file.value();
  } else {
    failure_ = written.error();
  }
}

AttachmentFile AttachmentFile::ofImage(const EncodedImage& image, const std::string& folder) {
  return {folder,
          [&](UnnamedFile& file) { return image.writeJPEGRepresentation(kHighestQuality, file); }};
}

AttachmentFile AttachmentFile::ofText(const std::string& text, const std::string& folder) {
  return {folder, [&](UnnamedFile& file) { return file.write(text.data(), text.size()); }};
}

AttachmentFile AttachmentFile::ofFile(const std::string& path, const std::string& folder) {
  return {folder, [&](UnnamedFile& file) -> Result<void> {
            const auto bytes = NSFileManager::defaultManager().contentsAtPath(path);
            if (!bytes) return bytes.error();
            return file.write(bytes.value().data(), bytes.value().size());
          }};
}

std::string AttachmentFile::takeName(const Namer& name, AttachmentHold& hold) {
  if (file_) hold.take(file_->fileDescriptor());
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
      failure_ = linked.error();
      break;
    }
  }
  return name(number);
}

}  // namespace tasklane
