#include "delivery/caldav/CalendarAttachments.h"

#include <sys/stat.h>

#include "delivery/TaskFiles.h"
#include "foundation/base/FileSystem.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/files/NSURL.h"

namespace tasklane {

namespace {

/// Servers that name no limit have one all the same.
constexpr std::uint64_t kUsualLimit = std::uint64_t{10} << 20;
/// Of a task's text besides its title, its note and its files.
constexpr std::uint64_t kFrame = 2048;
/// Bytes as lines of base64, with the property's name around them.
constexpr std::uint64_t lengthInText(std::uint64_t bytes) { return bytes * 4 / 3 * 78 / 75 + 256; }

std::uint64_t sizeOf(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

/// Whether the next file goes into the text; takes its room then.
bool takeRoom(const std::string& path, std::uint64_t& room) {
  const std::uint64_t length = lengthInText(sizeOf(path));
  if (length > room) return false;
  room -= length;
  return true;
}

}  // namespace

std::uint64_t roomForFiles(const CalendarList& list, const DeliveryAction& action) {
  const std::uint64_t limit = list.maxResourceSize.value_or(kUsualLimit);
  const std::uint64_t used = kFrame + 2 * (action.title.size() + action.notes.size());
  return limit > used ? limit - used : 0;
}

std::string folderOfKeptAttachments(const DeliveryAction& action) {
  return dataFolderOfUser() + "/caldav/" + action.uuid;
}

Result<std::vector<CalendarAttachment>> calendarAttachments(const DeliveryAction& action,
                                                            std::uint64_t room) {
  std::vector<CalendarAttachment> attachments;
  for (const auto& path : action.attachments) {
    auto bytes = NSFileManager::defaultManager().contentsAtPath(path);
    // Taken away with the rest of its task once that was delivered.
    if (!bytes && bytes.error().kind == NSError::Kind::FileNotFound) continue;
    if (!bytes) return bytes.error();
    const std::string name = nameInPath(path);
    if (takeRoom(path, room)) {
      attachments.push_back({name, {}, std::move(bytes).value()});
    } else {
      const std::string folder = folderOfKeptAttachments(action);
      const std::string copy = folder + "/" + name;
      if (const auto made = NSFileManager::defaultManager().createDirectoryAtPath(folder, true);
          !made)
        return made.error();
      if (const auto stored = storeFileOnce(copy, bytes.value()); !stored) return stored.error();
      attachments.push_back({name, NSURL::fileURLWithPath(copy).absoluteString(), {}});
    }
  }
  return attachments;
}

std::vector<std::string> attachmentsKeptHere(const DeliveryAction& action, std::uint64_t room) {
  std::vector<std::string> names;
  for (const auto& path : action.attachments)
    if (!takeRoom(path, room)) names.push_back(nameInPath(path));
  return names;
}

}  // namespace tasklane
