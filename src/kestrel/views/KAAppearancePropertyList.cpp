#include "kestrel/views/KAAppearancePropertyList.h"

#include <algorithm>

#include "foundation/files/NSFileManager.h"

namespace tasklane {

Result<NSPropertyListSerialization::Parsed> KAAppearancePropertyList::contentsOfFile(
    const std::string& path) {
  auto bytes = NSFileManager::defaultManager().contentsAtPath(path);
  if (!bytes) return bytes.error();
  auto parsed = NSPropertyListSerialization::propertyListWithData(bytes.value());
  if (!parsed) return NSError{parsed.error().kind, path + ": " + parsed.error().description};
  if (!parsed.value().plist.dictionary())
    return NSError{NSError::Kind::Corrupt, path + ": a palette is a dictionary of keys and values"};
  return parsed;
}

std::vector<KAAppearanceComplaint> KAAppearancePropertyList::readValues(
    const NSPropertyListSerialization::Parsed& list, std::span<const KAAppearanceKey> keys,
    std::span<KAAppearanceValue> values, std::vector<bool>& found) {
  std::vector<KAAppearanceComplaint> complaints;
  const auto* dictionary = list.plist.dictionary();
  if (!dictionary) return {{"", "a palette is a dictionary of keys and values"}};
  for (const auto& key : list.repeatedKeys) complaints.push_back({key, "is there more than once"});

  std::size_t known = 0;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    const auto* spelled = dictionary->find(keys[i].name);
    if (!spelled) continue;
    ++known;
    found[i] = true;
    std::string reason;
    if (auto value = keys[i].convert(*spelled, reason)) {
      values[i] = std::move(*value);
    } else {
      values[i] = keys[i].emptyValue();
      complaints.push_back({std::string(keys[i].name), reason});
    }
  }
  if (known == dictionary->size()) return complaints;
  for (const auto& [name, value] : *dictionary) {
    const bool isKey = std::any_of(keys.begin(), keys.end(), [&spelled = name](const auto& key) {
      return key.name == std::string_view(spelled);
    });
    if (!isKey) complaints.push_back({std::string(name), "is not a key of this palette"});
  }
  return complaints;
}

std::vector<std::string> KAAppearancePropertyList::missingKeys(
    std::span<const KAAppearanceKey> keys, const std::vector<bool>& found) {
  std::vector<std::string> missing;
  for (std::size_t i = 0; i < keys.size(); ++i)
    if (keys[i].required && !found[i]) missing.emplace_back(keys[i].name);
  return missing;
}

}  // namespace tasklane
