#include "CheckCommand.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Command.h"
#include "common/OutOfMemory.h"
#include "foundation/base/FileSystem.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/property-lists/NSPropertyListSerialization.h"
#include "foundation/property-lists/PropertyListLookup.h"
#include "shared-store/AttachmentSweep.h"
#include "shared-store/EntryAttachments.h"
#include "shared-store/TLXContainers.h"
#include "shared-store/TLXExternalAction.h"
#include "shared-store/TLXExternalItem.h"

namespace tasklane {

using nlohmann::json;

namespace {

struct Finding {
  const char* kind;
  std::string path;
  std::string problem;
  bool mended = false;
};

/// Puts entries that the queue lacks at its end, an action that was done twice twice; whether they
/// are safely there.
bool bringBack(const PropertyList::Array& entries) {
  TLXExternalAction::changeEntries([&](const PropertyList::Array& queued) {
    PropertyList::Array all = queued;
    std::vector<bool> met(queued.size());
    for (const auto& entry : entries) {
      std::size_t at = 0;
      while (at < queued.size() && (met[at] || queued[at] != entry)) ++at;
      if (at < queued.size()) {
        met[at] = true;
      } else {
        all.push_back(entry);
      }
    }
    return all.size() > queued.size() ? std::optional(all) : std::nullopt;
  });
  return !failureOfLastChange(*TLXExternalAction::presenter());
}

/// None for what somebody may still fetch.
const char* whyOrphaned(OrphanedAttachment::Kind kind) {
  switch (kind) {
    case OrphanedAttachment::Kind::NeverQueued:
      return "belongs to no action: the sheet that took it was ended before it was saved";
    case OrphanedAttachment::Kind::Unfinished:
      return "is unfinished: the sheet that wrote it was ended meanwhile";
    case OrphanedAttachment::Kind::Forgotten:
      return "belongs to no action any more, for more than a week";
    case OrphanedAttachment::Kind::Recent:
      return nullptr;
  }
  return nullptr;
}

class Inspection {
 public:
  explicit Inspection(Repair repair) : repair_(repair) {}

  const std::vector<Finding>& run() {
    container_ = TLXPlistPresenter::sharedContainerURL()->path();
    group_ = parentOfPath(container_);
    attachments_ = TLXExternalAction::sharedAttachmentPath();
    checkGroup();
    checkContainer();
    checkEntries();
    checkAttachments();
    return findings_;
  }

 private:
  Finding& report(const char* kind, const std::string& path, const std::string& problem) {
    return findings_.emplace_back(Finding{kind, path, problem});
  }

  std::vector<std::string> namesIn(const std::string& folder) {
    auto names = NSFileManager::defaultManager().contentsOfDirectoryAtPath(folder);
    if (!names) {
      report("unreadable", folder, names.error().description);
      return {};
    }
    std::sort(names.value().begin(), names.value().end());
    return std::move(names).value();
  }

  /// Whether it belongs to who owns the container and is of the wanted kind; says what is not.
  bool isOurs(const std::string& path, mode_t type) {
    struct stat status {};
    struct stat container {};
    if (::lstat(path.c_str(), &status) != 0) {
      report("unreadable", path, std::strerror(errno));
      return false;
    }
    if (::stat(container_.c_str(), &container) == 0 && status.st_uid != container.st_uid)
      report("stranger", path, "belongs to another user than its folder");
    if ((status.st_mode & S_IFMT) == type) return true;
    report("stranger", path, type == S_IFDIR ? "is no folder" : "is no regular file");
    return false;
  }

  /// Another application's folder, or one that an older program made when it did not know its own.
  void checkGroup() {
    const std::string own = container_.substr(group_.size() + 1);
    for (const auto& name : namesIn(group_)) {
      const std::string path = group_ + "/" + name;
      if (name == own || name == "attachments" || name == ".coordination") {
        isOurs(path, S_IFDIR);
        continue;
      }
      auto& finding = report("unknown-folder", path, "is no folder of this application");
      const std::string queue = path + "/actions.plist";
      const auto entries = entriesInFile(queue);
      if (repair_ == Repair::Yes && ::rmdir(path.c_str()) == 0) finding.mended = true;
      if (!entries || entries.value().empty()) continue;
      finding.problem +=
          ", and holds " + std::to_string(entries.value().size()) + " pending actions";
      mendQueueFile(findings_.size() - 1, queue, entries.value());
    }
  }

  void checkContainer() {
    const std::set<std::string> shared{"actions.plist", "containers.plist", "items.plist",
                                       kSetAsideFileName, "delivery.plist"};
    const std::set<std::string> others{"receipts.jsonl", "delivery.lock", "agent.lock",
                                       "background.lock"};
    for (const auto& name : namesIn(container_)) {
      const std::string path = container_ + "/" + name;
      const auto mark = name.find(".plist.damaged-");
      if (shared.contains(name)) {
        if (isOurs(path, S_IFREG)) checkSharedFile(name, path);
      } else if (others.contains(name)) {
        isOurs(path, S_IFREG);
      } else if (mark != std::string::npos) {
        checkDamaged(path, name.substr(0, mark) == "actions");
      } else {
        report("stranger", path, "is no file of this application");
      }
    }
  }

  void checkSharedFile(const std::string& name, const std::string& path) {
    if (name == "actions.plist" || name == kSetAsideFileName) {
      const auto queue = entriesInFile(path);
      if (!queue && queue.error().kind == NSError::Kind::Corrupt) {
        report("damaged", path, queue.error().description + "; the next change sets it aside");
      } else if (!queue) {
        report("unreadable", path,
               queue.error().description + "; nothing is saved until it can be");
      }
      return;
    }
    const auto data = NSFileManager::defaultManager().contentsAtPath(path);
    if (!data) {
      report("unreadable", path, data.error().description);
    } else if (const auto parsed = NSPropertyListSerialization::propertyListWithData(data.value());
               !parsed || !parsed.value().plist.dictionary()) {
      report("damaged", path,
             (parsed ? std::string("it holds no dictionary") : parsed.error().description) +
                 (name == "delivery.plist" ? "; the next delivery writes it again"
                                           : "; publish it again"));
    }
  }

  void checkDamaged(const std::string& path, bool isQueue) {
    report("set-aside", path, "was set aside because it could not be read");
    const std::size_t finding = findings_.size() - 1;
    if (!isQueue) return;
    const auto entries = entriesInFile(path);
    if (!entries) {
      findings_[finding].problem += ", and still cannot (" + entries.error().description + ")";
      return;
    }
    findings_[finding].problem +=
        ", and can: it holds " + std::to_string(entries.value().size()) + " actions";
    mendQueueFile(finding, path, entries.value());
  }

  void mendQueueFile(std::size_t finding, const std::string& path,
                     const PropertyList::Array& entries) {
    if (repair_ == Repair::No || !bringBack(entries)) return;
    auto& manager = NSFileManager::defaultManager();
    findings_[finding].mended = manager.removeItemAtPath(path).ok();
    const std::string folder = parentOfPath(path);
    if (folder != container_) ::rmdir(folder.c_str());
  }

  void checkEntries() {
    for (const char* file : {"actions.plist", kSetAsideFileName}) {
      const auto entries = entriesInSharedFile(file);
      if (!entries) continue;  // reported with the file
      for (const auto& entry : entries.value()) {
        const auto* uuid = stringAt(entry.valueForKey("info"), "uuid");
        const std::string action = uuid ? *uuid : "without identifier";
        for (const auto& name : attachmentNamesOfEntry(entry)) {
          const std::string path = attachments_ + "/" + name;
          if (!NSFileManager::defaultManager().fileExistsAtPath(path))
            report("dangling", path, "is missing, though the action " + action + " names it");
        }
      }
    }
  }

  void checkAttachments() {
    const auto orphans = findOrphanedAttachments();
    if (!orphans) {
      report("unreadable", attachments_, orphans.error().description);
      return;
    }
    for (const auto& orphan : orphans.value()) {
      const char* problem = whyOrphaned(orphan.kind);
      if (!problem) continue;
      const std::string path = attachments_ + "/" + orphan.name;
      auto& finding = report("orphan", path, problem);
      if (repair_ == Repair::Yes)
        finding.mended = NSFileManager::defaultManager().removeItemAtPath(path).ok();
    }
  }

  const Repair repair_;
  std::string group_;
  std::string container_;
  std::string attachments_;
  std::vector<Finding> findings_;
};

}  // namespace

void check(Repair repair, OutputFormat format) {
  requireContainer();
  requireFree(*TLXExternalAction::presenter());
  if (repair == Repair::Yes) OutOfMemory::changeHasSteps();
  Inspection inspection(repair);
  const auto& findings = inspection.run();
  if (format == OutputFormat::JSON) {
    json list = json::array();
    for (const auto& finding : findings)
      list.push_back({{"kind", finding.kind},
                      {"path", finding.path},
                      {"problem", finding.problem},
                      {"mended", finding.mended}});
    printJSON(list);
  } else {
    if (findings.empty()) print("Everything is in order.\n");
    for (const auto& finding : findings)
      print((finding.mended ? "mended  " : "        ") + oneLine(finding.path) + " " +
            oneLine(finding.problem) + "\n");
  }
  const auto left = std::count_if(findings.begin(), findings.end(),
                                  [](const Finding& finding) { return !finding.mended; });
  if (left == 0) return;
  throw Failure{ExitCode::BadData,
                std::to_string(left) + (left == 1 ? " thing is" : " things are") + " wrong" +
                    (repair == Repair::No ? "; `tasklane check --repair` mends what can be mended."
                                          : " and cannot be mended without you.")};
}

}  // namespace tasklane
