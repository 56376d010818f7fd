#include "shared-store/AttachmentSweep.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <string_view>
#include <unordered_set>

#include "foundation/base/FileDescriptor.h"
#include "foundation/base/FileSystem.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/files/NSURL.h"
#include "shared-store/AttachmentHold.h"
#include "shared-store/EntryAttachments.h"
#include "shared-store/TLXExternalAction.h"

namespace tasklane {

namespace {

constexpr std::time_t kHour = 3600, kLongestFetching = 7 * 24 * kHour;

std::string attachmentFolder() {
  const auto group = NSFileManager::defaultManager().containerURLForBaseGroupContainerIdentifier(
      "com.kestrelworks.Tasklane");
  return group ? group->URLByAppendingPathComponent("attachments").path() : std::string();
}

bool isStandIn(std::string_view name) { return name.starts_with(".unnamed-"); }

bool isOfTheSheet(std::string_view name) {
  if (isStandIn(name)) return true;
  const bool isText = name.starts_with("Attachment-");
  if (isText) name.remove_prefix(std::string_view("Attachment-").size());
  const auto digits = name.find_first_not_of("0123456789");
  if (digits == 0 || digits == std::string_view::npos) return false;
  return isText ? name[digits] == '.' : name.substr(digits) == ".jpg";
}

struct Candidate {
  std::string name;
  struct stat state;
};

bool isFile(int folder, const std::string& name, struct stat& state) {
  return ::fstatat(folder, name.c_str(), &state, AT_SYMLINK_NOFOLLOW) == 0 &&
         S_ISREG(state.st_mode) && state.st_uid == ::geteuid();
}

/// Of the queue and of what was set aside. An entry may go from one to the other meanwhile; it is
/// in both for a moment, so that it is met on one of three looks.
Result<std::unordered_set<std::string>> namedByEntries() {
  std::unordered_set<std::string> names;
  for (const char* file : {kSetAsideFileName, "actions.plist", kSetAsideFileName}) {
    const auto entries = entriesInSharedFile(file);
    if (!entries) return entries.error();
    for (const auto& entry : entries.value())
      for (auto& name : attachmentNamesOfEntry(entry)) names.insert(std::move(name));
  }
  return names;
}

bool isDamagedQueueKept() {
  const auto& url = TLXExternalAction::sharedActionsURL();
  if (!url) return false;
  const auto names = NSFileManager::defaultManager().contentsOfDirectoryAtPath(
      url->URLByDeletingLastPathComponent().path());
  return names && std::any_of(names.value().begin(), names.value().end(), [](const auto& name) {
           return name.starts_with("actions.plist.damaged-");
         });
}

OrphanedAttachment::Kind kindOf(int folder, const Candidate& candidate) {
  using Kind = OrphanedAttachment::Kind;
  const std::time_t now = ::time(nullptr);
  if (isStandIn(candidate.name))
    return now - candidate.state.st_mtime > kHour ? Kind::Unfinished : Kind::Recent;
  if (candidate.state.st_mode & S_ISVTX) return Kind::NeverQueued;
  if ((candidate.state.st_mode & 0777) != AttachmentHold::kSeenOrphaned) {
    // The moment of this change is when it was first seen.
    AttachmentHold::mark(folder, candidate.name, AttachmentHold::kSeenOrphaned);
    return Kind::Recent;
  }
  return now - candidate.state.st_ctime > kLongestFetching ? Kind::Forgotten : Kind::Recent;
}

}  // namespace

Result<std::vector<OrphanedAttachment>> findOrphanedAttachments() {
  std::vector<OrphanedAttachment> orphans;
  const std::string path = attachmentFolder();
  const FileDescriptor folder = openFile(path, O_RDONLY | O_DIRECTORY);
  if (!folder && errno == ENOENT) return orphans;
  if (!folder) return NSError::fromErrno(errno, "cannot read the folder " + path);
  const auto names = NSFileManager::defaultManager().contentsOfDirectoryAtPath(path);
  if (!names) return names.error();
  std::vector<Candidate> candidates;
  for (const auto& name : names.value()) {
    Candidate candidate{name, {}};
    if (isOfTheSheet(name) && isFile(folder.get(), name, candidate.state) &&
        !AttachmentHold::isHeld(folder.get(), candidate.state.st_ino))
      candidates.push_back(std::move(candidate));
  }
  if (candidates.empty()) return orphans;
  // Only now: whoever has let go of a file before has queued or removed it before that.
  const auto queued = namedByEntries();
  if (!queued) return queued.error();
  const bool mayBeNamed = isDamagedQueueKept();
  for (auto& candidate : candidates) {
    if (queued.value().contains(candidate.name)) {
      // A process that was killed right after its Save has left the mark.
      if (candidate.state.st_mode & S_ISVTX)
        AttachmentHold::mark(folder.get(), candidate.name, AttachmentHold::kQueued);
      continue;
    }
    // As it is by now: it may have been queued meanwhile, and taken out of the queue again.
    if (!isFile(folder.get(), candidate.name, candidate.state)) continue;
    auto kind = kindOf(folder.get(), candidate);
    if (mayBeNamed && kind == OrphanedAttachment::Kind::Forgotten)
      kind = OrphanedAttachment::Kind::Recent;
    orphans.push_back({candidate.name, kind});
  }
  return orphans;
}

void sweepAttachments() {
  const auto orphans = findOrphanedAttachments();
  if (!orphans) return;  // another time
  for (const auto& orphan : orphans.value())
    if (orphan.kind != OrphanedAttachment::Kind::Recent)
      ::unlink((attachmentFolder() + "/" + orphan.name).c_str());
}

}  // namespace tasklane
