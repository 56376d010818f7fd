#include "shared-store/EntryAttachments.h"

#include "foundation/files/NSFileManager.h"
#include "foundation/property-lists/NSPropertyListSerialization.h"
#include "foundation/property-lists/PropertyListLookup.h"

namespace tasklane {

std::vector<std::string> attachmentNamesOfEntry(const PropertyList& entry) {
  std::vector<std::string> names;
  const auto* attachments = arrayAt(entry.valueForKey("info"), "attachments");
  if (!attachments) return names;
  for (const auto& name : *attachments) {
    const auto* text = name.string();
    if (text && !text->empty() && *text != "." && *text != ".." &&
        text->find('/') == std::string::npos)
      names.push_back(*text);
  }
  return names;
}

PropertyList::Array entriesOfPresenter(const std::shared_ptr<TLXPlistPresenter>& presenter) {
  const auto* entries = arrayAt(presenter ? presenter->plist().get() : nullptr, "actions");
  return entries ? *entries : PropertyList::Array{};
}

Result<PropertyList::Array> entriesInFile(const std::string& path) {
  const auto data = NSFileManager::defaultManager().contentsAtPath(path);
  if (!data) return data.error();
  const auto contents = NSPropertyListSerialization::propertyListWithData(data.value());
  if (!contents) return contents.error();
  const auto* entries = arrayAt(&contents.value().plist, "actions");
  if (!entries) return NSError{NSError::Kind::Corrupt, "it holds no \"actions\""};
  return *entries;
}

Result<PropertyList::Array> entriesInSharedFile(const std::string& name) {
  const auto url = TLXPlistPresenter::sharedFileURL(name);
  if (!url || !NSFileManager::defaultManager().fileExistsAtPath(url->path()))
    return PropertyList::Array{};
  // Without the lock, for whose holder nobody should wait here: a list is replaced whole.
  auto entries = entriesInFile(url->path());
  if (!entries && entries.error().kind == NSError::Kind::Corrupt)
    return NSError{NSError::Kind::Corrupt,
                   "the file " + url->path() + " cannot be read: " + entries.error().description};
  return entries;
}

}  // namespace tasklane
