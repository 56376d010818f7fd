#include "share-sheet/Draft.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "foundation/base/FileSystem.h"
#include "foundation/base/NSLog.h"
#include "foundation/base/NSUUID.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/files/UserFolder.h"
#include "foundation/property-lists/NSPropertyListSerialization.h"
#include "foundation/property-lists/PropertyList.h"
#include "foundation/property-lists/PropertyListLookup.h"

namespace tasklane {

namespace {

constexpr int kMostAttempts = 10;
constexpr const char* kDocument = "/draft.plist";

std::string draftsFolder() { return pathOfUserFolder(UserFolder::State) + "/tasklane/drafts"; }

/// With those above it, as far as they are missing.
Result<void> makePrivateFolder(const std::string& path) {
  if (NSFileManager::defaultManager().fileExistsAtPath(path)) return {};
  if (const auto above = makePrivateFolder(parentOfPath(path)); !above) return above;
  return makeFolder(path);
}

FileDescriptor lockOf(const std::string& folder) {
  FileDescriptor lock = openFile(folder, O_RDONLY | O_DIRECTORY);
  if (lock && ::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) return {};
  return lock;
}

}  // namespace

Draft::Draft(std::string id, std::string folder, FileDescriptor lock)
    : id_(std::move(id)), folder_(std::move(folder)), lock_(std::move(lock)) {}

Draft::~Draft() {
  if (!kept_) remove();
}

Result<std::unique_ptr<Draft>> Draft::make() {
  const std::string drafts = draftsFolder();
  std::string id = NSUUID::UUIDString();
  const std::string folder = drafts + "/" + id;
  // Another process that looks for drafts may hold the folder for a moment, and remove it.
  for (int attempt = 0; attempt < kMostAttempts; ++attempt) {
    if (const auto made = makePrivateFolder(folder); !made) return made.error();
    if (FileDescriptor lock = lockOf(folder))
      return std::unique_ptr<Draft>(new Draft(std::move(id), folder, std::move(lock)));
  }
  return NSError::fromErrno(errno, "cannot lock the folder " + folder);
}

std::unique_ptr<Draft> Draft::open(const std::string& id) {
  const std::string folder = draftsFolder() + "/" + id;
  FileDescriptor lock = lockOf(folder);
  if (!lock) return nullptr;
  auto draft = std::unique_ptr<Draft>(new Draft(id, folder, std::move(lock)));
  draft->kept_ = NSFileManager::defaultManager().fileExistsAtPath(folder + kDocument);
  if (!draft->kept_) return nullptr;  // left by a process that was killed: its end removes it
  if (const auto read = draft->read(); !read) {
    NSLog("The draft " + folder + " cannot be read: " + read.error().description);
    return nullptr;
  }
  return draft;
}

std::unique_ptr<Draft> Draft::youngest() {
  std::unique_ptr<Draft> found;
  const std::string drafts = draftsFolder();
  const auto names = NSFileManager::defaultManager().contentsOfDirectoryAtPath(drafts);
  if (!names) return found;
  for (const auto& name : names.value()) {
    auto draft = open(name);
    if (draft && (!found || draft->date_ > found->date_)) found = std::move(draft);
  }
  return found;
}

Result<void> Draft::read() {
  const auto data = NSFileManager::defaultManager().contentsAtPath(folder_ + kDocument);
  if (!data) return data.error();
  const auto document = NSPropertyListSerialization::propertyListWithData(data.value());
  if (!document) return document.error();
  const PropertyList& plist = document.value().plist;
  contents_.title = textAt(&plist, "title");
  contents_.note = textAt(&plist, "note");
  contents_.project = optionalTextAt(&plist, "project");
  contents_.context = optionalTextAt(&plist, "context");
  if (const auto* date = plist.valueForKey("date")) date_ = date->doubleValue();
  if (const auto* names = arrayAt(&plist, "attachments"))
    for (const auto& name : *names)
      // Nothing outside of its folder is a draft's.
      if (name.string() && name.string()->find('/') == std::string::npos)
        contents_.attachments.push_back(*name.string());
  return {};
}

Result<std::string> Draft::takeAttachment(const std::string& path, std::size_t number) const {
  const auto dot = path.rfind('.');
  const std::string name =
      std::to_string(number) + (dot == std::string::npos ? "" : path.substr(dot));
  const std::string mine = pathOfAttachment(name);
  if (path == mine || ::link(path.c_str(), mine.c_str()) == 0) return name;
  struct stat theirs {
  }, there{};
  if (errno == EEXIST && ::stat(path.c_str(), &theirs) == 0 && ::stat(mine.c_str(), &there) == 0 &&
      theirs.st_dev == there.st_dev && theirs.st_ino == there.st_ino)
    return name;
  // Another file system, or another file of that name from before.
  auto& manager = NSFileManager::defaultManager();
  const auto bytes = manager.contentsAtPath(path);
  if (!bytes) return bytes.error();
  if (const auto written = manager.writeToFileAtomically(mine, bytes.value()); !written)
    return written.error();
  return name;
}

Result<void> Draft::keep(Contents contents, const std::vector<std::string>& attachmentPaths) {
  contents.attachments.clear();
  PropertyList::Array names;
  for (const auto& path : attachmentPaths) {
    const auto name = takeAttachment(path, contents.attachments.size() + 1);
    if (!name) return name.error();
    contents.attachments.push_back(name.value());
    names.push_back(name.value());
  }
  if (const auto flushed = flushFolder(folder_); !flushed) return flushed;
  // The date as seconds since 1970: a document's dates hold whole seconds, in which two can be
  // kept.
  PropertyListDictionary document{{"id", id_},
                                  {"date", Clock::now().time_since_epoch().count()},
                                  {"title", contents.title},
                                  {"note", contents.note},
                                  {"attachments", std::move(names)}};
  if (contents.project) document.set("project", *contents.project);
  if (contents.context) document.set("context", *contents.context);
  const auto data = NSPropertyListSerialization::dataWithPropertyList(std::move(document));
  if (!data) return data.error();
  const auto written =
      NSFileManager::defaultManager().writeToFileAtomically(folder_ + kDocument, data.value());
  if (!written) return written;
  kept_ = true;
  contents_ = std::move(contents);
  return flushFolder(draftsFolder());
}

void Draft::remove() {
  auto& manager = NSFileManager::defaultManager();
  // The document first: without it the rest is no draft, should this be the last step.
  (void)manager.removeItemAtPath(folder_ + kDocument);
  (void)manager.removeItemAtPath(folder_);
  kept_ = false;
}

}  // namespace tasklane
