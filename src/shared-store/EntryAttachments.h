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

/// The entries as they stand on the disk in a file of the queue's form: the queue, or what was set
/// aside. None when there is no such file, an error when it is no such list. Main thread.
Result<PropertyList::Array> entriesInSharedFile(const std::string& name);

}  // namespace tasklane
