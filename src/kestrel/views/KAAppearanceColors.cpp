#include "kestrel/views/KAAppearanceColors.h"

namespace tasklane {

namespace {

constexpr UIColor rgb(unsigned value) {
  return {(value >> 16 & 0xFF) / 255.0, (value >> 8 & 0xFF) / 255.0, (value & 0xFF) / 255.0, 1};
}

}  // namespace

// Each has a contrast of at least 3 to its background, and any two
// are far apart in CIELAB, for people who see all colours and for those who lack red or green.

const std::shared_ptr<KAAppearanceDefaultColors>& KAAppearanceDefaultColors::appearance() {
  return appearanceForClass<KAAppearanceDefaultColors>();
}

std::optional<UIColor> KAAppearanceDefaultColors::kestrelGraphiteColor() const {
  return rgb(0x596571);
}
std::optional<UIColor> KAAppearanceDefaultColors::kestrelBlueColor() const { return rgb(0x1A69D4); }
std::optional<UIColor> KAAppearanceDefaultColors::kestrelRedColor() const { return rgb(0xC72922); }
std::optional<UIColor> KAAppearanceDefaultColors::kestrelPurpleColor() const {
  return rgb(0x7731AF);
}
std::optional<UIColor> KAAppearanceDefaultColors::kestrelOrangeColor() const {
  return rgb(0xDB7401);
}
std::optional<UIColor> KAAppearanceDefaultColors::kestrelGreenColor() const {
  return rgb(0x168E51);
}
std::optional<UIColor> KAAppearanceDefaultColors::kestrelCremaColor() const {
  return rgb(0xAB8F46);
}
std::optional<UIColor> KAAppearanceDefaultColors::kestrelTealColor() const { return rgb(0x0B94A5); }

const std::shared_ptr<KAAppearanceDarkColors>& KAAppearanceDarkColors::appearance() {
  return appearanceForClass<KAAppearanceDarkColors>();
}

std::optional<UIColor> KAAppearanceDarkColors::kestrelGraphiteColor() const {
  return rgb(0x8D96A5);
}
std::optional<UIColor> KAAppearanceDarkColors::kestrelBlueColor() const { return rgb(0x4C9BFF); }
std::optional<UIColor> KAAppearanceDarkColors::kestrelRedColor() const { return rgb(0xFF5F56); }
std::optional<UIColor> KAAppearanceDarkColors::kestrelPurpleColor() const { return rgb(0xA163D5); }
std::optional<UIColor> KAAppearanceDarkColors::kestrelOrangeColor() const { return rgb(0xFF9F2E); }
std::optional<UIColor> KAAppearanceDarkColors::kestrelGreenColor() const { return rgb(0x41C46C); }
std::optional<UIColor> KAAppearanceDarkColors::kestrelCremaColor() const { return rgb(0xEBD9A9); }
std::optional<UIColor> KAAppearanceDarkColors::kestrelTealColor() const { return rgb(0x36C3D3); }

}  // namespace tasklane
