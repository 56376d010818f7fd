#pragma once

#include <cstddef>
#include <span>

#include "kestrel/views/KAAppearanceKey.h"

/// The vocabulary of the palettes: group, key and type of everything that a palette's property list
/// may define. Accessors, checks and documentation are made from this table. A key's spelling is
/// part of the lists' format. Lengths are points, times seconds.
// clang-format off

/// Those that only palettes know.
#define TASKLANE_OWN_APPEARANCE_KEYS(KEY)                                                          \
  KEY(General, ScrollViewIndicatorStyle, Enum)                                                     \
  KEY(General, BarStyle, Enum)                                                                     \
  KEY(General, StatusBarStyle, Enum)                                                               \
  KEY(General, KeyboardAppearance, Enum)                                                           \
  KEY(General, BackgroundColor, Color)                                                             \
  KEY(General, TouchHighlightColor, Color)                                                         \
  KEY(General, TitleTextColor, Color)                                                              \
  KEY(General, UnavailableTitleTextColor, Color)                                                   \
  KEY(General, MetadataTextColor, Color)                                                           \
  KEY(General, NotePreviewTextColor, Color)                                                        \
  KEY(General, SeparatorColor, Color)                                                              \
  KEY(General, DueSoonTextColor, Color)                                                            \
  KEY(General, DueSoonBackgroundColor, Color)                                                      \
  KEY(General, OverdueTextColor, Color)                                                            \
  KEY(General, OverdueBackgroundColor, Color)                                                      \
  KEY(General, MetadataDelimiterPadding, Number)                                                   \
  KEY(General, DisabledBarButtonItemTextColor, Color)                                              \
  KEY(General, PopoverBackgroundColor, Color)                                                      \
  KEY(General, OutlineActionCellIdentationSpacing, Number)                                         \
  KEY(General, BadgeContentColorForDisplayStyleInverted, Color)                                    \
  KEY(General, SearchBarBackgroundColor, Color)                                                    \
  KEY(General, RoundedRectCornerRadiusRatio, Number)                                               \
  KEY(Forecast, ForecastDaySectionTitleTextColor, Color)                                           \
  KEY(Forecast, ForecastSeparatorTableViewCellBackgroundColor, Color)                              \
  KEY(Forecast, ForecastDefaultBadgeLabelColor, Color)                                             \
  KEY(Forecast, ForecastSubtleBadgeLabelColor, Color)                                              \
  KEY(Forecast, ForecastDefaultBadgeColor, Color)                                                  \
  KEY(Forecast, ForecastDefaultSelectedBadgeColor, Color)                                          \
  KEY(Forecast, ForecastDefaultBadgeFillColor, Color)                                              \
  KEY(Forecast, ForecastBadgeTouchOverdrawColor, Color)                                            \
  KEY(Forecast, ForecastBadgeSelectedOverdrawColor, Color)                                         \
  KEY(Review, ReviewHighlightTintColor, Color)                                                     \
  KEY(Review, ReviewControlPanelDividerColor, Color)                                               \
  KEY(StandardGrouped, StandardGroupedTableBackgroundColor, Color)                                 \
  KEY(StandardGrouped, StandardGroupedTableSectionHeaderTextColor, Color)                          \
  KEY(StandardGrouped, StandardGroupedTableViewSeparatorColor, Color)                              \
  KEY(StandardGrouped, StandardGroupedTableCellBackgroundColor, Color)                             \
  KEY(StandardGrouped, StandardGroupedTableCellSelectionColor, Color)                              \
  KEY(StandardPlain, StandardPlainTableViewSectionHeaderBackgroundColor, Color)                    \
  KEY(StandardPlain, StandardPlainTableCellBackgroundColor, Color)                                 \
  KEY(StandardPlain, StandardPlainTableCellSelectionColor, Color)                                  \
  KEY(StandardDisclosure, StandardDisclosureIndicatorColor, Color)                                 \
  KEY(SplitView, SplitViewBackgroundColor, Color)                                                  \
  KEY(SplitView, SplitViewSeparatorColor, Color)                                                   \
  KEY(VerticalSplitTransition, VerticalSplitTransitionBackdropOpacity, Number)                     \
  KEY(VerticalSplitTransition, VerticalSplitTransitionShadowOpacity, Number)                       \
  KEY(ModalSheet, ModalSheetAnimationDuration, Number)                                             \
  KEY(ModalSheet, ModalSheetViewInset, Number)                                                     \
  KEY(ModalSheet, ModalSheetCornerRadius, Number)                                                  \
  KEY(ModalSheet, ModalSheetMaxTiltOffset, Number)                                                 \
  KEY(ModalSheet, ModalSheetContentDimming, Number)                                                \
  KEY(ModalSheet, ModalSheetBackgroundBlurImageAlpha, Number)                                      \
  KEY(ModalSheet, ModalSheetBackgroundColor, Color)                                                \
  KEY(ForecastEventTimeline, ForecastEventTimelineMinorGridlineColor, Color)                       \
  KEY(ForecastEventTimeline, ForecastEventTimelineMajorGridlineColor, Color)                       \
  KEY(ForecastEventTimeline, ForecastEventTimelineEventCellFillAlphaComponent, Number)             \
  KEY(ForecastEventTimeline, ForecastEventTimelineEventCellChevronAlphaComponent, Number)          \
  KEY(ForecastEventTimeline, ForecastEventTimelineEventCellChevronSelectedAlphaComponent, Number)  \
  KEY(ForecastEventTimeline, ForecastEventTimelineEventCellChevronHighlightColor, Color)           \
  KEY(ForecastEventTimeline, ForecastEventTimelineEventCellHighlightAlphaComponent, Number)        \
  KEY(ForecastEventTimeline, ForecastEventTimelineEventCellSelectedAlphaComponent, Number)         \
  KEY(ForecastEventTimeline, ForecastEventTimelineGridlineLabelColor, Color)                       \
  KEY(ForecastEventTimeline, ForecastEventTimelineElapsedTimeIndicatorFillColor, Color)            \
  KEY(ForecastEventTimeline, ForecastEventTimelineElapsedTimeIndicatorStrokeColor, Color)          \
  KEY(ForecastEventTimeline, ForecastEventTimelineElapsedTimeIndicatorKnobSize, Number)            \
  KEY(ForecastEventTimeline, ForecastEventTimelineElapsedTimeIndicatorDingusOfTimeBottomMargin, Number) \
  KEY(ForecastEventTimeline, ForecastEventTimelineGridTopMargin, Number)                           \
  KEY(ForecastEventTimeline, ForecastEventTimelineGridlineLabelRowTopMargin, Number)               \
  KEY(ForecastEventTimeline, ForecastEventTimelineGridlineLabelRowHeight, Number)                  \
  KEY(ForecastEventTimeline, ForecastEventTimelineMajorGridlineTopMargin, Number)                  \
  KEY(ForecastEventTimeline, ForecastEventTimelineMinorGridlineTopMargin, Number)                  \
  KEY(ForecastEventTimeline, ForecastEventTimelineEventCellPadding, Number)                        \
  KEY(ForecastEventTimeline, ForecastEventTimelineEventCellCornerRadius, Number)                   \
  KEY(ForecastCompactEventTimeline, ForecastCompactEventTimelineMinorGridlineColor, Color)         \
  KEY(ForecastCompactEventTimeline, ForecastCompactEventTimelineMajorGridlineColor, Color)         \
  KEY(ForecastCompactEventTimeline, ForecastCompactEventTimelineEventCellFillAlphaComponent, Number) \
  KEY(ForecastCompactEventTimeline, ForecastCompactEventTimelineEventCellChevronAlphaComponent, Number) \
  KEY(Placeholder, PlaceholderLabelColor, Color)                                                   \
  KEY(Placeholder, PlaceholderImageColor, Color)                                                   \
  KEY(AddInboxButton, AddInboxButtonFillColor, Color)                                              \
  KEY(AddInboxButton, AddInboxButtonStrokeColor, Color)                                            \
  KEY(AddInboxButton, AddInboxButtonProgressFillColor, Color)                                      \
  KEY(AddInboxButton, AddInboxButtonProgressStrokeColor, Color)                                    \
  KEY(AddInboxButton, AddInboxButtonProgressTintColor, Color)                                      \
  KEY(AddInboxButton, AddInboxButtonImageEdgeInsets, EdgeInsets)                                   \
  KEY(PerspectiveIconPicker, PerspectiveIconPickerItemSize, Number)                                \
  KEY(PerspectiveIconPicker, PerspectiveIconPickerHorizontalInset, Number)                         \
  KEY(PerspectiveIconPicker, PerspectiveIconPickerVerticalInset, Number)                           \
  KEY(HighlightedField, HighlightedFieldBackgroundHighlightPadding, Number)                        \
  KEY(HighlightedField, HighlightedFieldBackgroundCornerRadius, Number)                            \
  KEY(InlineEditor, InlineEditorBackgroundColor, Color)                                            \
  KEY(InlineEditor, InlineEditorButtonSeparatorStrokeColor, Color)                                 \
  KEY(InlineEditor, InlineEditorEdgeGradientStartColor, Color)                                     \
  KEY(InlineEditor, InlineEditorEdgeGradientEndColor, Color)                                       \
  KEY(InlineEditor, InlineEditorEdgeGradientWidth, Number)                                         \
  KEY(Editor, EditorLabelColor, Color)                                                             \
  KEY(Editor, EditorHeaderGradientStartColor, Color)                                               \
  KEY(Editor, EditorHeaderGradientEndColor, Color)                                                 \
  KEY(Editor, EditorVerticalTabSeparatorColor, Color)                                              \
  KEY(Editor, EditorVerticalTabRightEdgeColor, Color)                                              \
  KEY(Editor, EditorVerticalTabRightEdgeFadeToColor, Color)                                        \
  KEY(Editor, EditorHorizontalTabBottomStrokeColor, Color)                                         \
  KEY(Editor, EditorHorizontalTabSeparatorTopColor, Color)                                         \
  KEY(SavePlus, SavePlusShieldingViewBackgroundColor, Color)                                       \
  KEY(SavePlus, SavePlusSlidingViewBorderColor, Color)                                             \
  KEY(ItemToMove, ItemToMoveBackgroundColor, Color)                                                \
  KEY(ItemToMove, ItemToMoveTextColor, Color)                                                      \
  KEY(ShadingController, ShadingControllerAnimationDuration, Number)                               \
  KEY(ShadingController, ShadingControllerShadingColor, Color)                                     \
  KEY(ProgressController, ProgressControllerParallaxFactor, Number)                                \
  KEY(ProgressController, ProgressControllerCanHideDelay, Number)                                  \
  KEY(ProgressController, ProgressControllerShowMessageDelay, Number)                              \
  KEY(ProgressController, ProgressControllerBezelCornerRadius, Number)                             \
  KEY(ProgressController, ProgressControllerBezelBackgroundColor, Color)                           \
  KEY(ProgressController, ProgressControllerFullScreenBezelBackgroundColor, Color)                 \
  KEY(StatusCircle, StatusCircleButtonWidth, Number)                                               \
  KEY(StatusCircle, StatusCircleButtonHeight, Number)                                              \
  KEY(TaskBubble, TaskBubbleSize, Size)                                                            \
  KEY(TaskBubble, TaskBubbleHighlightedCellRimColor, Color)                                        \
  KEY(Nearby, NearbyWarningBackgroundColor, Color)                                                 \
  KEY(Nearby, NearbyWarningStrokeColor, Color)                                                     \
  KEY(Nearby, NearbyNavigationBarIsTranslucent, Boolean)                                           \
  KEY(SecretBar, SecretBarButtonHeight, Number)                                                    \
  KEY(SecretBar, SecretBarAccessoryViewVerticalPadding, Number)                                    \
  KEY(SecretBar, SecretBarAccessoryViewHorizontalPadding, Number)                                  \
  KEY(SecretBar, SecretBarAccessoryViewFillColor, Color)                                           \
  KEY(SecretBar, SecretBarAccessoryViewStrokeColor, Color)                                         \
  KEY(SecretBar, SecretBarBackgroundColor, Color)                                                  \
  KEY(SecretBar, SecretBarHandleFillColor, Color)                                                  \
  KEY(SecretBar, SecretBarHandleStrokeColor, Color)                                                \
  KEY(SecretBar, SecretBarHandleSize, Size)                                                        \
  KEY(HomeCell, HomeCellSelectionColor, Color)                                                     \
  KEY(HomeCell, HomeCellNormalBackgroundColor, Color)                                              \
  KEY(HomeScreen, HomeScreenShortCellHeight, Number)                                               \
  KEY(HomeScreen, HomeScreenTallCellHeight, Number)                                                \
  KEY(HomeScreen, HomeScreenForecastCellHeight, Number)                                            \
  KEY(HomeScreen, HomeScreenSectionHeaderHeight, Number)                                           \
  KEY(HomeScreen, HomeScreenDropTargetRegionVerticalInset, Number)                                 \
  KEY(HomeScreen, HomeScreenEditingInitialLongPressDuration, Number)                               \
  KEY(HomeScreen, HomeScreenEditingAlreadyEditingLongPressDuration, Number)                        \
  KEY(HomeScreen, HomeScreenLingerToRearrangeTimeInterval, Number)                                 \
  KEY(HomeScreen, HomeScreenEnterExitEditModeTimeInterval, Number)                                 \
  KEY(HomeScreen, HomeScreenDraggingLiveUpdateTimeInterval, Number)                                \
  KEY(HomeScreen, HomeScreenAutoscrollPointsPerScreenUpdate, Number)                               \
  KEY(HomeScreen, HomeScreenAutoscrollZoneHeight, Number)                                          \
  KEY(HomeScreen, HomeScreenDraggingTileOutdentDistance, Number)                                   \
  KEY(HomeScreen, HomeScreenLingeringTileOutdentDistance, Number)                                  \
  KEY(HomeScreen, HomeScreenEditingTileInsetHorizontalDistance, Number)                            \
  KEY(HomeScreen, HomeScreenEditingTileInsetVerticalDistance, Number)                              \
  KEY(HomeScreen, HomeScreenEditingLeanInsetHorizontalDistance, Number)                            \
  KEY(HomeScreen, HomeScreenEditingLeanInsetVerticalDistance, Number)                              \
  KEY(HomeScreen, HomeScreenEditingExtraScrunchInsetDistance, Number)                              \
  KEY(HomeScreen, HomeScreenEditingExtraStretchInsetDistance, Number)                              \
  KEY(HomeScreen, HomeScreenEditingButtonsCornerRadius, Number)                                    \
  KEY(HomeScreen, HomeScreenEditingButtonsBorderWidth, Number)                                     \
  KEY(HomeScreen, HomeScreenEditingButtonsHorizontalPadding, Number)                               \
  KEY(HomeScreen, HomeScreenEditingButtonsBorderColor, Color)                                      \
  KEY(HomeScreen, HomeScreenEditingButtonsBackgroundColor, Color)                                  \
  KEY(HomeScreen, HomeScreenEditingBackgroundImage, Image)                                         \
  KEY(HomeScreen, HomeScreenDraggingViewAlpha, Number)                                             \
  KEY(HomeScreen, HomeScreenTileBorderColor, Color)                                                \
  KEY(HomeScreen, HomeScreenEditingHeaderBackgroundColor, Color)                                   \
  KEY(HomeScreen, HomeScreenNormalBackgroundColor, Color)                                          \
  KEY(HomeScreen, HomeScreenEditingMaxBackgroundTilt, Number)                                      \
  KEY(HomeScreen, HomeScreenEditingMaxTileTilt, Number)                                            \
  KEY(HomeScreen, HomeScreenEditingMaxButtonTilt, Number)                                          \
  KEY(HomeScreen, HomeScreenEditingMaxDraggingTileLingeringTilt, Number)                           \
  KEY(HomeScreen, HomeScreenEditingMaxDraggingTileDraggingTilt, Number)                            \
  KEY(TodayExtension, TodayExtensionTopMargin, Number)                                             \
  KEY(TodayExtension, TodayExtensionBottomMargin, Number)

/// Those that StatusCircleAppearance asks for.
#define TASKLANE_STATUS_CIRCLE_KEYS(KEY)                                                           \
  KEY(StatusCircle, StatusCirclePressingGradientCenterColor, Color)                                \
  KEY(StatusCircle, StatusCirclePressingGradientEdgeColor, Color)                                  \
  KEY(StatusCircle, StatusCircleHoverTintColor, Color)                                             \
  KEY(StatusCircle, StatusCircleNormalColor, Color)                                                \
  KEY(StatusCircle, StatusCircleOverdueColor, Color)                                               \
  KEY(StatusCircle, StatusCircleDueSoonColor, Color)                                               \
  KEY(StatusCircle, StatusCircleFlaggedColor, Color)                                               \
  KEY(StatusCircle, StatusCircleEdgeStrokeColor, Color)                                            \
  KEY(StatusCircle, StatusCircleRepeatDotColor, Color)                                             \
  KEY(StatusCircle, StatusCircleCheckMarkColor, Color)                                             \
  KEY(StatusCircle, StatusCircleDesaturatedBackgroundColor, Color)                                 \
  KEY(StatusCircle, StatusCircleRepeatDotDiameterRatio, Number)                                    \
  KEY(StatusCircle, StatusCircleRepeatDotSpacingRatio, Number)                                     \
  KEY(StatusCircle, StatusCircleRingInsetRatio, Number)                                            \
  KEY(StatusCircle, StatusCircleCenterHoleInsetRatio, Number)                                      \
  KEY(StatusCircle, StatusCirclePressingGradientFlatCenterRadiusRatio, Number)                     \
  KEY(StatusCircle, StatusCirclePressingGradientInsetRatio, Number)                                \
  KEY(FlagDogEar, FlagDogEarSizeRatio, Number)                                                     \
  KEY(FlagDogEar, FlagDogEarXOriginRatio, Number)                                                  \
  KEY(FlagDogEar, FlagDogEarYOriginRatio, Number)

#define TASKLANE_APPEARANCE_KEYS(KEY)                                                              \
  TASKLANE_OWN_APPEARANCE_KEYS(KEY)                                                                \
  TASKLANE_STATUS_CIRCLE_KEYS(KEY)

#define TASKLANE_TODAY_APPEARANCE_KEYS(KEY)                                                        \
  KEY(TodayItemCell, TodayItemCellSelectionColor, Color)                                           \
  KEY(TodayItemCell, TodayItemCellSeparatorColor, Color)
// clang-format on

namespace tasklane {

/// A key's place in tasklaneAppearanceKeys() and tasklaneTodayAppearanceKeys().
enum class TasklaneAppearanceKey : std::size_t {
#define TASKLANE_KEY(group, name, type) name,
  TASKLANE_APPEARANCE_KEYS(TASKLANE_KEY)
  // Lists may hold these two as well; the operations of the same names read them (see
  // TasklaneAppearance).
  ActionTableSeparatorInset,
  ActionTableFooterSeparatorInset,
  TASKLANE_TODAY_APPEARANCE_KEYS(TASKLANE_KEY)
#undef TASKLANE_KEY
};

/// What every palette answers.
std::span<const KAAppearanceKey> tasklaneAppearanceKeys();

/// The same and, behind it, the keys that only the today palette has.
std::span<const KAAppearanceKey> tasklaneTodayAppearanceKeys();

}  // namespace tasklane
