#pragma once

#include <memory>
#include <string>
#include <vector>

#include "foundation/base/NSError.h"
#include "foundation/property-lists/PropertyList.h"
#include "shared-store/TLXPlistPresenter.h"

namespace tasklane {

/// The file that holds entries of the queue which could not be carried out, in the queue's form,
/// each with the "reason" and "since" when.
inline constexpr const char* kSetAsideFileName = "set-aside.plist";

/// The names in the shared attachment folder that an entry of the queue lists; none of them leads
/// out of it.
std::vector<std::string> attachmentNamesOfEntry(const PropertyList& entry);

/// The entries that a presenter of such a file knows; none where there is none.
PropertyList::Array entriesOfPresenter(const std::shared_ptr<TLXPlistPresenter>& presenter);

/// The entries in a file of the queue's form; an error, without the file's name, when it is none.
/// Any thread.
Result<PropertyList::Array> entriesInFile(const std::string& path);

/// The same of a file of the shared container as it stands on the disk: the queue, or what was set
/// aside. None when there is no such file. Main thread.
Result<PropertyList::Array> entriesInSharedFile(const std::string& name);

}  // namespace tasklane
