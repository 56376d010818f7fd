#include "shared-store/EntryAttachments.h"

#include "foundation/files/NSFileManager.h"
#include "foundation/property-lists/NSPropertyListSerialization.h"
#include "shared-store/TLXPlistPresenter.h"

namespace tasklane {

std::vector<std::string> attachmentNamesOfEntry(const PropertyList& entry) {
  std::vector<std::string> names;
  const auto* info = entry.valueForKey("info");
  const auto* attachments = info ? info->valueForKey("attachments") : nullptr;
  if (!attachments || !attachments->array()) return names;
  for (const auto& name : *attachments->array()) {
    const auto* text = name.string();
    if (text && !text->empty() && *text != "." && *text != ".." &&
        text->find('/') == std::string::npos)
      names.push_back(*text);
  }
  return names;
}

Result<PropertyList::Array> entriesInSharedFile(const std::string& name) {
  const auto url = TLXPlistPresenter::sharedFileURL(name);
  if (!url || !NSFileManager::defaultManager().fileExistsAtPath(url->path()))
    return PropertyList::Array{};
  // Without the lock, for whose holder nobody should wait here: a list is replaced whole.
  const auto data = NSFileManager::defaultManager().contentsAtPath(url->path());
  if (!data) return data.error();
  const auto contents = NSPropertyListSerialization::propertyListWithData(data.value());
  if (!contents) return contents.error();
  const auto* entries = contents.value().plist.valueForKey("actions");
  if (!entries || !entries->array())
    return NSError{NSError::Kind::Corrupt, "the file " + url->path() + " cannot be read"};
  return *entries->array();
}

}  // namespace tasklane
