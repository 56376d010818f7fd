#pragma once

#include <memory>
#include <optional>

#include "uikit/base/CGGeometry.h"
#include "uikit/drawing/UIColor.h"
#include "uikit/drawing/UIImage.h"

namespace tasklane {

/// What the drawing of a status circle asks of an appearance. Ratios are parts of the circle's
/// diameter.
class StatusCircleAppearance {
 public:
  virtual ~StatusCircleAppearance() = default;

  virtual const std::optional<UIColor>& StatusCirclePressingGradientCenterColor() const = 0;
  virtual const std::optional<UIColor>& StatusCirclePressingGradientEdgeColor() const = 0;
  virtual const std::optional<UIColor>& StatusCircleHoverTintColor() const = 0;
  virtual const std::optional<UIColor>& StatusCircleNormalColor() const = 0;
  virtual const std::optional<UIColor>& StatusCircleOverdueColor() const = 0;
  virtual const std::optional<UIColor>& StatusCircleDueSoonColor() const = 0;
  virtual const std::optional<UIColor>& StatusCircleFlaggedColor() const = 0;
  virtual const std::optional<UIColor>& StatusCircleEdgeStrokeColor() const = 0;
  virtual const std::optional<UIColor>& StatusCircleRepeatDotColor() const = 0;
  virtual const std::optional<UIColor>& StatusCircleCheckMarkColor() const = 0;
  virtual const std::optional<UIColor>& StatusCircleDesaturatedBackgroundColor() const = 0;
  virtual double StatusCircleRepeatDotDiameterRatio() const = 0;
  virtual double StatusCircleRepeatDotSpacingRatio() const = 0;
  virtual double StatusCircleRingInsetRatio() const = 0;
  virtual double StatusCircleCenterHoleInsetRatio() const = 0;
  virtual double StatusCirclePressingGradientFlatCenterRadiusRatio() const = 0;
  virtual double StatusCirclePressingGradientInsetRatio() const = 0;
  virtual bool shouldAddFlagDogEar() const = 0;

  // The dog-ear of a flagged item; an appearance that adds none need not answer.
  virtual CGImageRef flagDogEarCGImage() const { return nullptr; }
  virtual CGImageRef inheritedFlagDogEarCGImage() const { return nullptr; }
  virtual CGSize flagDogEarSize() const { return {}; }
  virtual double FlagDogEarSizeRatio() const { return 0; }
  virtual double FlagDogEarXOriginRatio() const { return 0; }
  virtual double FlagDogEarYOriginRatio() const { return 0; }
};

}  // namespace tasklane
