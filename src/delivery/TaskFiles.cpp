#include "delivery/TaskFiles.h"

#include <unistd.h>

#include <cstdlib>

#include "foundation/base/FileSystem.h"
#include "foundation/files/NSFileManager.h"

namespace tasklane {

std::string dataFolderOfUser() {
  const char* data = std::getenv("XDG_DATA_HOME");
  if (data && *data == '/') return std::string(data) + "/tasklane";
  const char* home = std::getenv("HOME");
  return std::string(home ? home : "") + "/.local/share/tasklane";
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
