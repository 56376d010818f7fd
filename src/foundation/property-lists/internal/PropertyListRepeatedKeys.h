#pragma once

#include <algorithm>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/property-lists/PropertyList.h"

namespace tasklane::plist {

/// Adds the keys that several of a dictionary's entries have, once for each entry too many. Entries
/// in the order in which documents are written cost one comparison each.
inline void noteRepeatedKeys(std::span<const PropertyListDictionary::Entry> entries,
                             std::vector<std::string>& repeatedKeys) {
  const auto key = [](const auto& entry) { return std::string_view(entry.first); };
  const auto notAscending = [&](const auto& a, const auto& b) { return key(a) >= key(b); };
  if (std::ranges::adjacent_find(entries, notAscending) == entries.end()) return;
  std::vector<std::string_view> keys(entries.size());
  std::ranges::transform(entries, keys.begin(), key);
  std::ranges::sort(keys);
  for (std::size_t i = 1; i < keys.size(); ++i)
    if (keys[i] == keys[i - 1]) repeatedKeys.emplace_back(keys[i]);
}

}  // namespace tasklane::plist
