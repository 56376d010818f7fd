#include "kestrel/views/KAAppearanceKey.h"

#include <array>
#include <cmath>

namespace tasklane {

namespace {

std::string kindOf(const PropertyList& value) {
  switch (value.type()) {
    case PropertyList::Type::Dictionary:
      return "a dictionary";
    case PropertyList::Type::Array:
      return "an array";
    case PropertyList::Type::String:
      return "the text \"" + *value.string() + "\"";
    case PropertyList::Type::Integer:
    case PropertyList::Type::Real:
      return "a number";
    case PropertyList::Type::Boolean:
      return "a boolean";
    case PropertyList::Type::Date:
      return "a date";
    case PropertyList::Type::Data:
      return "data";
  }
  return "something else";
}

std::optional<double> numberIn(const PropertyList& value) {
  const bool isNumber =
      value.type() == PropertyList::Type::Integer || value.type() == PropertyList::Type::Real;
  if (!isNumber || !std::isfinite(value.doubleValue())) return std::nullopt;
  return value.doubleValue();
}

/// The numbers of a dictionary that has exactly these keys.
template <std::size_t count>
std::optional<std::array<double, count>> numbersIn(
    const PropertyList& value, const std::array<std::string_view, count>& names) {
  const auto* dictionary = value.dictionary();
  if (!dictionary || dictionary->size() != count) return std::nullopt;
  std::array<double, count> numbers{};
  for (std::size_t i = 0; i < count; ++i) {
    const auto* entry = dictionary->find(names[i]);
    const auto number = entry ? numberIn(*entry) : std::nullopt;
    if (!number) return std::nullopt;
    numbers[i] = *number;
  }
  return numbers;
}

std::string namesOf(const KFEnumNameTable& table) {
  std::string names;
  for (const auto& [name, value] : table.entries())
    names += (names.empty() ? "\"" : ", \"") + name + "\"";
  return names;
}

}  // namespace

std::optional<UIColor> KAColorFromString(std::string_view text) {
  if ((text.size() != 7 && text.size() != 9) || text[0] != '#') return std::nullopt;
  std::array<double, 4> components{0, 0, 0, 1};
  for (std::size_t i = 1; i < text.size(); i += 2) {
    int byte = 0;
    for (const char digit : text.substr(i, 2)) {
      const int value = digit >= '0' && digit <= '9'   ? digit - '0'
                        : digit >= 'A' && digit <= 'F' ? digit - 'A' + 10
                        : digit >= 'a' && digit <= 'f' ? digit - 'a' + 10
                                                       : -1;
      if (value < 0) return std::nullopt;
      byte = byte * 16 + value;
    }
    components[i / 2] = byte / 255.0;
  }
  return UIColor{components[0], components[1], components[2], components[3]};
}

KAAppearanceValue KAAppearanceKey::emptyValue() const {
  switch (type) {
    case KAAppearanceValueType::Color:
      return std::optional<UIColor>();
    case KAAppearanceValueType::Number:
      return 0.0;
    case KAAppearanceValueType::Size:
      return CGSize{};
    case KAAppearanceValueType::EdgeInsets:
      return UIEdgeInsets{};
    case KAAppearanceValueType::Boolean:
      return false;
    case KAAppearanceValueType::Image:
      return std::string();
    case KAAppearanceValueType::Enum:
      return enumNameTable().defaultEnumValue();
  }
  return {};
}

std::optional<KAAppearanceValue> KAAppearanceKey::convert(const PropertyList& spelled,
                                                          std::string& reason) const {
  std::string wanted;
  switch (type) {
    case KAAppearanceValueType::Color:
      if (spelled.string())
        if (const auto color = KAColorFromString(*spelled.string())) return color;
      wanted = "a colour, \"#RRGGBB\" or \"#RRGGBBAA\"";
      break;
    case KAAppearanceValueType::Number:
      if (const auto number = numberIn(spelled)) return *number;
      wanted = "a finite number";
      break;
    case KAAppearanceValueType::Size:
      if (const auto n = numbersIn<2>(spelled, {"width", "height"}))
        return CGSize{(*n)[0], (*n)[1]};
      wanted = "a size, a dictionary of the numbers width and height";
      break;
    case KAAppearanceValueType::EdgeInsets:
      if (const auto n = numbersIn<4>(spelled, {"top", "left", "bottom", "right"}))
        return UIEdgeInsets{(*n)[0], (*n)[1], (*n)[2], (*n)[3]};
      wanted = "edge insets, a dictionary of the numbers top, left, bottom and right";
      break;
    case KAAppearanceValueType::Boolean:
      if (spelled.boolean()) return *spelled.boolean();
      wanted = "a boolean";
      break;
    case KAAppearanceValueType::Image:
      if (spelled.string() && !spelled.string()->empty()) return *spelled.string();
      wanted = "the name of an image";
      break;
    case KAAppearanceValueType::Enum:
      if (spelled.string())
        if (const auto value = enumNameTable().enumForName(*spelled.string())) return *value;
      wanted = "one of " + namesOf(enumNameTable());
      break;
  }
  reason = "needs " + wanted + ", not " + kindOf(spelled);
  return std::nullopt;
}

}  // namespace tasklane
