#pragma once

#include <functional>
#include <memory>

#include "foundation/base/NSError.h"
#include "foundation/property-lists/PropertyList.h"
#include "shared-store/TLXPlistPresenter.h"

namespace tasklane {

/// Changes a file's dictionary (an empty one when there is no file) as one step against all other
/// processes. An error when it is not on the disk, which is unchanged then. Nothing is written when
/// nothing is changed. Main thread.
Result<void> changeSharedDictionary(
    const std::shared_ptr<TLXPlistPresenter>& presenter,
    const std::function<void(PropertyListDictionary& contents)>& change);

/// The same for the entries of a file that has nothing but "actions".
Result<void> changeSharedEntries(const std::shared_ptr<TLXPlistPresenter>& presenter,
                                 const std::function<void(PropertyList::Array& entries)>& change);

}  // namespace tasklane
