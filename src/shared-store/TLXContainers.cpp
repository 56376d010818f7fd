#include "shared-store/TLXContainers.h"

namespace tasklane {

namespace {

struct Kind {
  const char* entriesKey;
  const char* orderKey;
};
constexpr Kind kProjects{"projects", "orderedProjectIDs"};
constexpr Kind kContexts{"contexts", "orderedContextIDs"};

const PropertyList* publishedValueForKey(const char* key) {
  const auto& presenter = TLXContainers::presenter();
  if (!presenter || !presenter->plist()) return nullptr;
  return presenter->plist()->valueForKey(key);
}

/// Calls back with each entry in order until the callback answers true.
template <class Callback>
void walkInOrder(const Kind& kind, Callback callback) {
  const auto* entries = publishedValueForKey(kind.entriesKey);
  const auto* order = publishedValueForKey(kind.orderKey);
  if (!entries || !order || !order->array()) return;
  for (const auto& identifier : *order->array()) {
    if (identifier.type() != PropertyList::Type::String) continue;
    const auto* entry = entries->valueForKey(identifier.stringView());
    if (entry && callback(*entry)) return;
  }
}

std::vector<PropertyList> entriesInOrder(const Kind& kind) {
  std::vector<PropertyList> result;
  walkInOrder(kind, [&](const PropertyList& entry) {
    result.push_back(entry);
    return false;
  });
  return result;
}

/// The list of the contents that it was last made of, so that opening a picker again costs nothing.
struct OrderedEntries {
  PropertyListObject contents;
  std::vector<PropertyList> entries;

  const std::vector<PropertyList>& of(const Kind& kind) {
    const auto& presenter = TLXContainers::presenter();
    const PropertyListObject current = presenter ? presenter->plist() : nullptr;
    if (current != contents) {
      entries = entriesInOrder(kind);
      contents = current;
    }
    return entries;
  }
};

std::optional<std::string> uniqueIDForEntryNamed(const Kind& kind, const std::string& title) {
  std::optional<std::string> result;
  walkInOrder(kind, [&](const PropertyList& entry) {
    const auto* entryTitle = entry.valueForKey(TLXContainerTitle);
    const bool isText = entryTitle && entryTitle->type() == PropertyList::Type::String;
    if (!isText || entryTitle->stringView() != title) return false;
    const auto* identifier = entry.valueForKey("id");
    if (identifier && identifier->string()) result = *identifier->string();
    return true;
  });
  return result;
}

std::optional<PropertyList> entryWithUniqueID(const Kind& kind, const std::string& identifier) {
  const auto* entries = publishedValueForKey(kind.entriesKey);
  const auto* entry = entries ? entries->valueForKey(identifier) : nullptr;
  return entry ? std::optional(*entry) : std::nullopt;
}

}  // namespace

const std::optional<NSURL>& TLXContainers::sharedContainersURL() {
  static std::optional<NSURL> url;
  if (!url) url = TLXPlistPresenter::sharedFileURL("containers.plist");
  return url;
}

const std::shared_ptr<TLXPlistPresenter>& TLXContainers::presenter() {
  static auto presenter = TLXPlistPresenter::makeWithURL(sharedContainersURL());
  if (!presenter && sharedContainersURL())
    presenter = TLXPlistPresenter::makeWithURL(sharedContainersURL());
  return presenter;
}

std::vector<PropertyList> TLXContainers::orderedProjects() {
  static OrderedEntries projects;
  return projects.of(kProjects);
}

std::vector<PropertyList> TLXContainers::orderedContexts() {
  static OrderedEntries contexts;
  return contexts.of(kContexts);
}

std::optional<std::string> TLXContainers::uniqueIDForProjectNamed(const std::string& title) {
  return uniqueIDForEntryNamed(kProjects, title);
}

std::optional<std::string> TLXContainers::uniqueIDForContextNamed(const std::string& title) {
  return uniqueIDForEntryNamed(kContexts, title);
}

std::optional<PropertyList> TLXContainers::projectWithUniqueID(const std::string& identifier) {
  return entryWithUniqueID(kProjects, identifier);
}

std::optional<PropertyList> TLXContainers::contextWithUniqueID(const std::string& identifier) {
  return entryWithUniqueID(kContexts, identifier);
}

}  // namespace tasklane
