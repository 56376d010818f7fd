#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "foundation/property-lists/PropertyList.h"
#include "kestrel/base/KFEnumNameTable.h"
#include "uikit/base/CGGeometry.h"
#include "uikit/drawing/UIColor.h"

namespace tasklane {

/// What kind of value a key has in a palette.
enum class KAAppearanceValueType : std::uint8_t {
  Color,
  Number,
  Size,
  EdgeInsets,
  Boolean,
  Image,
  Enum
};

/// A value as an appearance keeps it: of its key's type always, empty (no colour, 0, false, no
/// image name, the name table's default) where the list has none. The alternatives stand in the
/// order of KAAppearanceValueType.
using KAAppearanceValue = std::variant<std::optional<UIColor>, double, CGSize, UIEdgeInsets, bool,
                                       std::string, std::int64_t>;

/// One entry of an appearance's vocabulary.
struct KAAppearanceKey {
  std::string_view name;  ///< case counts
  KAAppearanceValueType type;
  std::string_view group;
  /// The names of an enum key's values; null for every other type.
  const KFEnumNameTable& (*enumNameTable)() = nullptr;
  /// Whether a complete list must hold the key.
  bool required = true;

  KAAppearanceValue emptyValue() const;
  /// The value that a property list spells for this key or, with the reason set, none.
  std::optional<KAAppearanceValue> convert(const PropertyList& spelled, std::string& reason) const;
};

/// A colour's notation, "#RRGGBB" or "#RRGGBBAA"; none for any other text.
std::optional<UIColor> KAColorFromString(std::string_view text);

}  // namespace tasklane
