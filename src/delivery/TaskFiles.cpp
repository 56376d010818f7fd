#include "delivery/TaskFiles.h"

#include <unistd.h>

#include <cstdio>

#include "foundation/base/FileSystem.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/files/UserFolder.h"

namespace tasklane {

std::string dataFolderOfUser() { return pathOfUserFolder(UserFolder::Data) + "/tasklane"; }

std::string stampOfFile(const struct stat& status) {
  char text[96];
  const int length = std::snprintf(text, sizeof text, "%llx-%llx-%llx-%llx.%lx",
                                   static_cast<unsigned long long>(status.st_dev),
                                   static_cast<unsigned long long>(status.st_ino),
                                   static_cast<unsigned long long>(status.st_size),
                                   static_cast<unsigned long long>(status.st_mtim.tv_sec),
                                   static_cast<unsigned long>(status.st_mtim.tv_nsec));
  return {text, static_cast<std::size_t>(length)};
}

Result<void> storeFileOnce(const std::string& path, std::string_view bytes) {
  auto& manager = NSFileManager::defaultManager();
  const auto there = manager.contentsAtPath(path);
  // It may be there by a process that was killed before it had flushed its name.
  if (there) return flushFolder(parentOfPath(path));
  if (there.error().kind != NSError::Kind::FileNotFound) return there.error();
  return manager.writeToFileAtomically(path, bytes);
}

Result<void> copyAttachments(const DeliveryAction& action, const std::string& folder) {
  auto& manager = NSFileManager::defaultManager();
  for (const auto& path : action.attachments) {
    const auto bytes = manager.contentsAtPath(path);
    if (!bytes && bytes.error().kind == NSError::Kind::FileNotFound) continue;
    if (!bytes) return bytes.error();
    if (const auto made = manager.createDirectoryAtPath(folder, false); !made) return made;
    const auto stored = storeFileOnce(folder + "/" + nameInPath(path), bytes.value());
    if (!stored) return stored;
  }
  return {};
}

void removeAttachments(const DeliveryAction& action, const std::string& folder) {
  for (const auto& path : action.attachments)
    (void)NSFileManager::defaultManager().removeItemAtPath(folder + "/" + nameInPath(path));
  ::rmdir(folder.c_str());
}

}  // namespace tasklane
