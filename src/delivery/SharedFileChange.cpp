#include "delivery/SharedFileChange.h"

#include <utility>

namespace tasklane {

Result<void> changeSharedDictionary(
    const std::shared_ptr<TLXPlistPresenter>& presenter,
    const std::function<void(PropertyListDictionary& contents)>& change) {
  if (!presenter) return NSError{NSError::Kind::Io, "there is no folder of shared files"};
  presenter->performCoordinatedChange([&] {
    const auto* old = presenter->plist() ? presenter->plist()->dictionary() : nullptr;
    PropertyListDictionary contents = old ? *old : PropertyListDictionary{};
    change(contents);
    if (!old && contents.empty()) return;
    presenter->writePlist(std::make_shared<const PropertyList>(std::move(contents)));
  });
  return presenter->lastChange();
}

Result<void> changeSharedEntries(const std::shared_ptr<TLXPlistPresenter>& presenter,
                                 const std::function<void(PropertyList::Array& entries)>& change) {
  return changeSharedDictionary(presenter, [&](PropertyListDictionary& contents) {
    const auto* old = contents.find("actions");
    PropertyList::Array entries = old && old->array() ? *old->array() : PropertyList::Array{};
    change(entries);
    contents.set("actions", PropertyList(std::move(entries)));
  });
}

}  // namespace tasklane
