#pragma once

#include <memory>
#include <optional>
#include <string>

#include "appearance/StatusCircleAppearance.h"
#include "appearance/TasklaneAppearanceKeys.h"
#include "kestrel/views/KAAppearance.h"
#include "kestrel/views/KAAppearanceColors.h"
#include "uikit/base/UIKeyboardAppearance.h"
#include "uikit/drawing/UIFont.h"
#include "uikit/navigation/UINavigationBar.h"
#include "uikit/views/UIScrollView.h"
#include "uikit/views/UIViewController.h"

namespace tasklane {

/// The look of the product: every colour, metric, font and themed image is asked of the current
/// palette's appearance at the moment of use. The palettes are 0 (default, light), 1 (dark) and
/// 2 (today, dark); a process starts with 0. Each key of the vocabulary is a property of the same
/// name; asking costs an array look-up. Main thread.
class TasklaneAppearance : public KAAppearance, public StatusCircleAppearance {
 public:
  /// The current palette's instance, or null while the current palette number is none of the three.
  static const std::shared_ptr<TasklaneAppearance>& appearance();
  /// The same but, for an unknown number, an appearance of which everything is absent: no colour,
  /// no image, 0, false. What drawing code asks.
  static const TasklaneAppearance& currentAppearance();

  /// Switches the palette: posts KAAppearanceValuesWillChangeNotification, takes the number over,
  /// posts KAAppearanceValuesDidChangeNotification, both with the coming palette's instance (null
  /// for an unknown number). The number that is current already does nothing.
  static void setCurrentPalette(unsigned palette);
  static unsigned currentPalette();

  /// Preferred fonts follow the desktop's text size and are asked for anew on every call.
  static UIFont cellMetadataFont();
  static UIFont settingsButtonFont();
  static const UIFont& forecastTimelineEventCellFont();

  // The names of enum keys' values in the palettes' lists.
  static const KFEnumNameTable& ScrollViewIndicatorStyleEnumNameTable();
  static const KFEnumNameTable& BarStyleEnumNameTable();
  static const KFEnumNameTable& StatusBarStyleEnumNameTable();
  static const KFEnumNameTable& KeyboardAppearanceEnumNameTable();

  // The keys. A colour is none, and any other value 0, where the palette's list has none.
#define TASKLANE_KEY(group, name, type) TASKLANE_PROPERTY_##type(name, )
#define TASKLANE_ASKED_KEY(group, name, type) TASKLANE_PROPERTY_##type(name, override)
#define TASKLANE_PROPERTY(Result, Stored, name, specifier)                              \
  Result name() const specifier {                                                       \
    return valueAtIndex<Stored>(static_cast<std::size_t>(TasklaneAppearanceKey::name)); \
  }
#define TASKLANE_PROPERTY_Color(name, specifier) \
  TASKLANE_PROPERTY(const std::optional<UIColor>&, std::optional<UIColor>, name, specifier)
#define TASKLANE_PROPERTY_Number(name, specifier) TASKLANE_PROPERTY(double, double, name, specifier)
#define TASKLANE_PROPERTY_Size(name, specifier) TASKLANE_PROPERTY(CGSize, CGSize, name, specifier)
#define TASKLANE_PROPERTY_EdgeInsets(name, specifier) \
  TASKLANE_PROPERTY(UIEdgeInsets, UIEdgeInsets, name, specifier)
#define TASKLANE_PROPERTY_Boolean(name, specifier) TASKLANE_PROPERTY(bool, bool, name, specifier)
#define TASKLANE_PROPERTY_Image(name, specifier)                                \
  std::shared_ptr<UIImage> name() const specifier {                             \
    return imageAtIndex(static_cast<std::size_t>(TasklaneAppearanceKey::name)); \
  }
#define TASKLANE_PROPERTY_Enum(name, specifier)                                             \
  UI##name name() const specifier {                                                         \
    return static_cast<UI##name>(                                                           \
        valueAtIndex<std::int64_t>(static_cast<std::size_t>(TasklaneAppearanceKey::name))); \
  }
  TASKLANE_OWN_APPEARANCE_KEYS(TASKLANE_KEY)
  TASKLANE_STATUS_CIRCLE_KEYS(TASKLANE_ASKED_KEY)

  /// The eight colours in this palette's shades, and the sections' colours taken from them. A
  /// subclass that has none of its own ends the process when it is asked.
  virtual const KAAppearanceColors& themedKestrelColors() const;
  std::optional<UIColor> InboxColor() const { return themedKestrelColors().kestrelGraphiteColor(); }
  std::optional<UIColor> ProjectsColor() const { return themedKestrelColors().kestrelBlueColor(); }
  std::optional<UIColor> ForecastColor() const { return themedKestrelColors().kestrelRedColor(); }
  std::optional<UIColor> ContextsColor() const {
    return themedKestrelColors().kestrelPurpleColor();
  }
  std::optional<UIColor> FlaggedColor() const { return themedKestrelColors().kestrelOrangeColor(); }
  std::optional<UIColor> MapColor() const { return themedKestrelColors().kestrelGreenColor(); }
  std::optional<UIColor> ReviewColor() const { return themedKestrelColors().kestrelCremaColor(); }
  std::optional<UIColor> PerspectivesColor() const {
    return themedKestrelColors().kestrelTealColor();
  }

  /// Flag images of the application, looked up by name on every call; null, and a size of zero,
  /// where the image is missing.
  bool shouldAddFlagDogEar() const override { return true; }
  virtual std::shared_ptr<UIImage> statusCircleFlagImage() const;
  virtual std::shared_ptr<UIImage> statusCircleInheritedFlagImage() const;
  CGImageRef flagDogEarCGImage() const override;
  CGImageRef inheritedFlagDogEarCGImage() const override;
  CGSize flagDogEarSize() const override;

  /// Where rows' text begins: 20 on a phone wider than 414 points, else 15.
  virtual double TasklaneAppearance_leftSeparatorInset() const;
  double TitleTextFieldLeadingInset() const { return TasklaneAppearance_leftSeparatorInset(); }
  /// Top, bottom and right are those of the palette that was asked first in the process, whatever
  /// palette is asked later; left is TasklaneAppearance_leftSeparatorInset.
  virtual UIEdgeInsets ActionTableSeparatorInset() const;
  virtual UIEdgeInsets ActionTableFooterSeparatorInset() const;

  std::span<const KAAppearanceKey> keys() const override { return tasklaneAppearanceKeys(); }
};

/// The light palette, number 0.
class TasklaneDefaultAppearance : public TasklaneAppearance {
 public:
  static const std::shared_ptr<TasklaneDefaultAppearance>& appearance();
  const KAAppearanceColors& themedKestrelColors() const override;
  std::vector<std::string> propertyListNames() const override;
};

/// The dark palette, number 1.
class TasklaneDarkAppearance : public TasklaneAppearance {
 public:
  static const std::shared_ptr<TasklaneDarkAppearance>& appearance();
  const KAAppearanceColors& themedKestrelColors() const override;
  std::shared_ptr<UIImage> statusCircleFlagImage() const override;
  std::shared_ptr<UIImage> statusCircleInheritedFlagImage() const override;
  std::vector<std::string> propertyListNames() const override;
};

/// The today view's palette, number 2: the dark one with its own values over it.
class TasklaneTodayAppearance : public TasklaneDarkAppearance {
 public:
  static const std::shared_ptr<TasklaneTodayAppearance>& appearance();
  const KAAppearanceColors& themedKestrelColors() const override;
  TASKLANE_TODAY_APPEARANCE_KEYS(TASKLANE_KEY)
  std::span<const KAAppearanceKey> keys() const override { return tasklaneTodayAppearanceKeys(); }
  std::vector<std::string> propertyListNames() const override;
};

#undef TASKLANE_KEY
#undef TASKLANE_ASKED_KEY
#undef TASKLANE_PROPERTY
#undef TASKLANE_PROPERTY_Color
#undef TASKLANE_PROPERTY_Number
#undef TASKLANE_PROPERTY_Size
#undef TASKLANE_PROPERTY_EdgeInsets
#undef TASKLANE_PROPERTY_Boolean
#undef TASKLANE_PROPERTY_Image
#undef TASKLANE_PROPERTY_Enum

namespace detail {
/// Puts replacement_viewWillAppear in place (see UIViewController+TasklaneAppearanceClient.h);
/// answers true.
bool exchangeViewWillAppear();
/// Every program that knows the appearance has the exchange made before main(): an initialiser in a
/// library's object file alone would be dropped by the linker.
inline const bool viewWillAppearIsExchanged = exchangeViewWillAppear();
}  // namespace detail

}  // namespace tasklane
