#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "foundation/property-lists/PropertyList.h"

/// Looking into trees of which parts may be missing or be of another type, as what other programs
/// write may. A null pointer stands for a missing tree. Any thread.
namespace tasklane {

/// The text under a key, or a null pointer.
inline const std::string* stringAt(const PropertyList* plist, std::string_view key) {
  const auto* value = plist ? plist->valueForKey(key) : nullptr;
  return value ? value->string() : nullptr;
}

/// A copy of the text under a key.
inline std::optional<std::string> optionalTextAt(const PropertyList* plist, std::string_view key) {
  const auto* value = plist ? plist->valueForKey(key) : nullptr;
  if (!value || value->type() != PropertyList::Type::String) return std::nullopt;
  return std::string(value->stringView());
}

/// The same where no text is as good as an empty one.
inline std::string textAt(const PropertyList* plist, std::string_view key) {
  const auto* value = plist ? plist->valueForKey(key) : nullptr;
  return value ? std::string(value->stringView()) : std::string();
}

/// The array under a key, or a null pointer.
inline const PropertyList::Array* arrayAt(const PropertyList* plist, std::string_view key) {
  const auto* value = plist ? plist->valueForKey(key) : nullptr;
  return value ? value->array() : nullptr;
}

}  // namespace tasklane
