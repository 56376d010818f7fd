#pragma once

#include "kestrel/views/KAAppearance.h"

namespace tasklane {

/// Eight colours by which the sections of a program are known, in the shades of one look; none in
/// this class itself. They stay apart for people who do not see red or green.
class KAAppearanceColors {
 public:
  virtual ~KAAppearanceColors() = default;
  virtual std::optional<UIColor> kestrelGraphiteColor() const { return std::nullopt; }
  virtual std::optional<UIColor> kestrelBlueColor() const { return std::nullopt; }
  virtual std::optional<UIColor> kestrelRedColor() const { return std::nullopt; }
  virtual std::optional<UIColor> kestrelPurpleColor() const { return std::nullopt; }
  virtual std::optional<UIColor> kestrelOrangeColor() const { return std::nullopt; }
  virtual std::optional<UIColor> kestrelGreenColor() const { return std::nullopt; }
  virtual std::optional<UIColor> kestrelCremaColor() const { return std::nullopt; }
  virtual std::optional<UIColor> kestrelTealColor() const { return std::nullopt; }
};

/// For light backgrounds.
class KAAppearanceDefaultColors : public KAAppearance, public KAAppearanceColors {
 public:
  static const std::shared_ptr<KAAppearanceDefaultColors>& appearance();
  std::optional<UIColor> kestrelGraphiteColor() const override;
  std::optional<UIColor> kestrelBlueColor() const override;
  std::optional<UIColor> kestrelRedColor() const override;
  std::optional<UIColor> kestrelPurpleColor() const override;
  std::optional<UIColor> kestrelOrangeColor() const override;
  std::optional<UIColor> kestrelGreenColor() const override;
  std::optional<UIColor> kestrelCremaColor() const override;
  std::optional<UIColor> kestrelTealColor() const override;
};

/// For dark backgrounds.
class KAAppearanceDarkColors : public KAAppearance, public KAAppearanceColors {
 public:
  static const std::shared_ptr<KAAppearanceDarkColors>& appearance();
  std::optional<UIColor> kestrelGraphiteColor() const override;
  std::optional<UIColor> kestrelBlueColor() const override;
  std::optional<UIColor> kestrelRedColor() const override;
  std::optional<UIColor> kestrelPurpleColor() const override;
  std::optional<UIColor> kestrelOrangeColor() const override;
  std::optional<UIColor> kestrelGreenColor() const override;
  std::optional<UIColor> kestrelCremaColor() const override;
  std::optional<UIColor> kestrelTealColor() const override;
};

}  // namespace tasklane
