#include "appearance/TasklaneAppearanceKeys.h"

#include "appearance/TasklaneAppearance.h"

namespace tasklane {

namespace {

using Type = KAAppearanceValueType;

#define TASKLANE_KEY(group, name, type) TASKLANE_KEY_##type(group, name)
#define TASKLANE_KEY_Color(group, name) {#name, Type::Color, #group},
#define TASKLANE_KEY_Number(group, name) {#name, Type::Number, #group},
#define TASKLANE_KEY_Size(group, name) {#name, Type::Size, #group},
#define TASKLANE_KEY_EdgeInsets(group, name) {#name, Type::EdgeInsets, #group},
#define TASKLANE_KEY_Boolean(group, name) {#name, Type::Boolean, #group},
#define TASKLANE_KEY_Image(group, name) {#name, Type::Image, #group},
#define TASKLANE_KEY_Enum(group, name) \
  {#name, Type::Enum, #group, &TasklaneAppearance::name##EnumNameTable},

constexpr KAAppearanceKey kKeys[] = {
    TASKLANE_APPEARANCE_KEYS(TASKLANE_KEY)  //
    {"ActionTableSeparatorInset", Type::EdgeInsets, "ActionTable", nullptr, false},
    {"ActionTableFooterSeparatorInset", Type::EdgeInsets, "ActionTable", nullptr, false},
    TASKLANE_TODAY_APPEARANCE_KEYS(TASKLANE_KEY)};

}  // namespace

std::span<const KAAppearanceKey> tasklaneAppearanceKeys() {
  constexpr auto firstOfToday =
      static_cast<std::size_t>(TasklaneAppearanceKey::TodayItemCellSelectionColor);
  return std::span(kKeys).first(firstOfToday);
}

std::span<const KAAppearanceKey> tasklaneTodayAppearanceKeys() { return kKeys; }

}  // namespace tasklane
