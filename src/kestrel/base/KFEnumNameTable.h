#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tasklane {

/// The names of an enumeration's values, for files in which people read and write them. Each name
/// and each value occurs once; the last setting of either counts. Immutable once filled; then any
/// thread may ask.
class KFEnumNameTable {
 public:
  explicit KFEnumNameTable(std::int64_t defaultEnumValue) : defaultEnumValue_(defaultEnumValue) {}

  /// What stands for a name that is missing or unknown.
  std::int64_t defaultEnumValue() const { return defaultEnumValue_; }

  void setName(std::string name, std::int64_t forEnumValue);
  std::optional<std::string> nameForEnum(std::int64_t value) const;
  std::optional<std::int64_t> enumForName(std::string_view name) const;
  /// Every entry in the order of setting.
  const std::vector<std::pair<std::string, std::int64_t>>& entries() const { return entries_; }

 private:
  std::int64_t defaultEnumValue_;
  std::vector<std::pair<std::string, std::int64_t>> entries_;
};

}  // namespace tasklane
