#include "kestrel/base/KFEnumNameTable.h"

namespace tasklane {

void KFEnumNameTable::setName(std::string name, std::int64_t forEnumValue) {
  std::erase_if(entries_, [&](const auto& entry) {
    return entry.first == name || entry.second == forEnumValue;
  });
  entries_.emplace_back(std::move(name), forEnumValue);
}

std::optional<std::string> KFEnumNameTable::nameForEnum(std::int64_t value) const {
  for (const auto& [name, enumValue] : entries_)
    if (enumValue == value) return name;
  return std::nullopt;
}

std::optional<std::int64_t> KFEnumNameTable::enumForName(std::string_view name) const {
  for (const auto& [entryName, enumValue] : entries_)
    if (entryName == name) return enumValue;
  return std::nullopt;
}

}  // namespace tasklane
