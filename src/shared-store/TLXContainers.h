#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/files/NSURL.h"
#include "foundation/property-lists/PropertyList.h"
#include "shared-store/TLXPlistPresenter.h"

namespace tasklane {

/// Keys of a catalogue entry, a dictionary with "id", "title" and, where it sits in folders,
/// "path".
inline constexpr const char* TLXContainerTitle = "title";
inline constexpr const char* TLXContainerPath = "path";

/// The projects and contexts that the main application has published in "containers.plist". Every
/// answer is taken from the presenter's cached contents; without a readable file the lists are
/// empty. Main thread.
class TLXContainers {
 public:
  static const std::optional<NSURL>& sharedContainersURL();
  /// Null when there is no container to keep the file in.
  static const std::shared_ptr<TLXPlistPresenter>& presenter();

  /// The entries in their published order, which is the only way into the list: an entry that the
  /// order leaves out is not there, a name without an entry is skipped.
  static std::vector<PropertyList> orderedProjects();
  static std::vector<PropertyList> orderedContexts();

  /// The first in order with exactly this title.
  static std::optional<std::string> uniqueIDForProjectNamed(const std::string& title);
  static std::optional<std::string> uniqueIDForContextNamed(const std::string& title);

  /// Any entry, also one that the order leaves out.
  static std::optional<PropertyList> projectWithUniqueID(const std::string& identifier);
  static std::optional<PropertyList> contextWithUniqueID(const std::string& identifier);
};

}  // namespace tasklane
