#pragma once

#include "kestrel/views/KAAppearance.h"

namespace tasklane {

/// The maker's eight colours, by which the sections of its programs are known, in the shades of one
/// look. They stay apart for people who do not see red or green.
class KAAppearanceColors {
 public:
  virtual ~KAAppearanceColors() = default;
  virtual UIColor kestrelGraphiteColor() const = 0;
  virtual UIColor kestrelBlueColor() const = 0;
  virtual UIColor kestrelRedColor() const = 0;
  virtual UIColor kestrelPurpleColor() const = 0;
  virtual UIColor kestrelOrangeColor() const = 0;
  virtual UIColor kestrelGreenColor() const = 0;
  virtual UIColor kestrelCremaColor() const = 0;
  virtual UIColor kestrelTealColor() const = 0;
};

/// For light backgrounds.
class KAAppearanceDefaultColors : public KAAppearance, public KAAppearanceColors {
 public:
  static const std::shared_ptr<KAAppearanceDefaultColors>& appearance();
  UIColor kestrelGraphiteColor() const override;
  UIColor kestrelBlueColor() const override;
  UIColor kestrelRedColor() const override;
  UIColor kestrelPurpleColor() const override;
  UIColor kestrelOrangeColor() const override;
  UIColor kestrelGreenColor() const override;
  UIColor kestrelCremaColor() const override;
  UIColor kestrelTealColor() const override;
};

/// For dark backgrounds.
class KAAppearanceDarkColors : public KAAppearance, public KAAppearanceColors {
 public:
  static const std::shared_ptr<KAAppearanceDarkColors>& appearance();
  UIColor kestrelGraphiteColor() const override;
  UIColor kestrelBlueColor() const override;
  UIColor kestrelRedColor() const override;
  UIColor kestrelPurpleColor() const override;
  UIColor kestrelOrangeColor() const override;
  UIColor kestrelGreenColor() const override;
  UIColor kestrelCremaColor() const override;
  UIColor kestrelTealColor() const override;
};

}  // namespace tasklane
