#include "kestrel/views/KAAppearanceColors.h"

namespace tasklane {

namespace {

constexpr UIColor rgb(unsigned value) {
  return {(value >> 16 & 0xFF) / 255.0, (value >> 8 & 0xFF) / 255.0, (value & 0xFF) / 255.0, 1};
}

}  // namespace

// The shades were searched for: each has a contrast of at least 3 to its background, and any two
// are far apart in CIELAB, for people who see all colours and for those who lack red or green.

const std::shared_ptr<KAAppearanceDefaultColors>& KAAppearanceDefaultColors::appearance() {
  return appearanceForClass<KAAppearanceDefaultColors>();
}

UIColor KAAppearanceDefaultColors::kestrelGraphiteColor() const { return rgb(0x596571); }
UIColor KAAppearanceDefaultColors::kestrelBlueColor() const { return rgb(0x1A69D4); }
UIColor KAAppearanceDefaultColors::kestrelRedColor() const { return rgb(0xC72922); }
UIColor KAAppearanceDefaultColors::kestrelPurpleColor() const { return rgb(0x7731AF); }
UIColor KAAppearanceDefaultColors::kestrelOrangeColor() const { return rgb(0xDB7401); }
UIColor KAAppearanceDefaultColors::kestrelGreenColor() const { return rgb(0x168E51); }
UIColor KAAppearanceDefaultColors::kestrelCremaColor() const { return rgb(0xAB8F46); }
UIColor KAAppearanceDefaultColors::kestrelTealColor() const { return rgb(0x0B94A5); }

const std::shared_ptr<KAAppearanceDarkColors>& KAAppearanceDarkColors::appearance() {
  return appearanceForClass<KAAppearanceDarkColors>();
}

UIColor KAAppearanceDarkColors::kestrelGraphiteColor() const { return rgb(0x8D96A5); }
UIColor KAAppearanceDarkColors::kestrelBlueColor() const { return rgb(0x4C9BFF); }
UIColor KAAppearanceDarkColors::kestrelRedColor() const { return rgb(0xFF5F56); }
UIColor KAAppearanceDarkColors::kestrelPurpleColor() const { return rgb(0xA163D5); }
UIColor KAAppearanceDarkColors::kestrelOrangeColor() const { return rgb(0xFF9F2E); }
UIColor KAAppearanceDarkColors::kestrelGreenColor() const { return rgb(0x41C46C); }
UIColor KAAppearanceDarkColors::kestrelCremaColor() const { return rgb(0xEBD9A9); }
UIColor KAAppearanceDarkColors::kestrelTealColor() const { return rgb(0x36C3D3); }

}  // namespace tasklane
