#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <filesystem>

#include "appearance/TasklaneAppearance.h"
#include "foundation/base/ScratchFolderTesting.h"
#include "foundation/extension/NSBundle.h"

// What the palettes promise to people: that everything is there and can be read and told apart.

namespace tasklane {
namespace {

class Palettes : public ::testing::Test {
 protected:
  Palettes() {
    // The folder of resources is laid out as a bundle's.
    std::filesystem::create_directory_symlink(TASKLANE_RESOURCES, bundle_.path() / "Resources");
    NSBundle::setMainBundle(NSBundle::bundleWithPath(bundle_.path()));
  }
  ~Palettes() override { NSBundle::setMainBundle(former_); }

 private:
  const ScratchFolder bundle_;
  std::shared_ptr<NSBundle> former_ = NSBundle::mainBundle();

 protected:
  // Not the shared instances, which may have read a test's palettes.
  const std::shared_ptr<TasklaneTodayAppearance> today_ =
      std::make_shared<TasklaneTodayAppearance>();
  const std::array<std::shared_ptr<TasklaneAppearance>, 3> all_{
      std::make_shared<TasklaneDefaultAppearance>(), std::make_shared<TasklaneDarkAppearance>(),
      today_};
};

using Triple = std::array<double, 3>;

Triple linear(const UIColor& color) {
  const auto component = [](double c) {
    return c <= 0.04045 ? c / 12.92 : std::pow((c + 0.055) / 1.055, 2.4);
  };
  return {component(color.red), component(color.green), component(color.blue)};
}

/// As the web's accessibility guidelines define it.
double contrast(const UIColor& a, const UIColor& b) {
  const auto luminance = [](const UIColor& color) {
    const auto [r, g, b_] = linear(color);
    return 0.2126 * r + 0.7152 * g + 0.0722 * b_;
  };
  const auto [low, high] = std::minmax({luminance(a), luminance(b)});
  return (high + 0.05) / (low + 0.05);
}

Triple lab(const Triple& rgb) {
  const auto [r, g, b] = rgb;
  const auto f = [](double t) { return t > 0.008856 ? std::cbrt(t) : 7.787 * t + 16.0 / 116; };
  const double x = f((0.4124 * r + 0.3576 * g + 0.1805 * b) / 0.95047);
  const double y = f(0.2126 * r + 0.7152 * g + 0.0722 * b);
  const double z = f((0.0193 * r + 0.1192 * g + 0.9505 * b) / 1.08883);
  return {116 * y - 16, 500 * (x - y), 200 * (y - z)};
}

/// A colour as someone sees it: the matrix turns linear RGB into what the eye tells apart (Machado,
/// Oliveira and Fernandes 2009, full severity).
struct Vision {
  const char* name;
  std::array<Triple, 3> matrix;
  Triple see(const UIColor& color) const {
    const Triple rgb = linear(color);
    Triple seen;
    for (std::size_t i = 0; i < 3; ++i)
      seen[i] = std::clamp(matrix[i][0] * rgb[0] + matrix[i][1] * rgb[1] + matrix[i][2] * rgb[2],
                           0.0, 1.0);
    return lab(seen);
  }
};

constexpr Vision kVisions[] = {{"all colours", {{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}}},
                               {"no red",
                                {{{0.152286, 1.052583, -0.204868},
                                  {0.114503, 0.786281, 0.099216},
                                  {-0.003882, -0.048116, 1.051998}}}},
                               {"no green",
                                {{{0.367322, 0.860646, -0.227968},
                                  {0.280085, 0.672501, 0.047413},
                                  {-0.011820, 0.042940, 0.968881}}}}};

using Color = const std::optional<UIColor>& (TasklaneAppearance::*)() const;
using A = TasklaneAppearance;
struct Pair {
  Color front, back;
  const char* name;
};
#define PAIR(front, back) \
  { &A::front, &A::back, #front " on " #back }
#define ON_ALL_ROWS(front)                                                                      \
  PAIR(front, BackgroundColor), PAIR(front, StandardPlainTableCellBackgroundColor),             \
      PAIR(front, StandardPlainTableCellSelectionColor),                                        \
      PAIR(front, StandardGroupedTableCellBackgroundColor),                                     \
      PAIR(front, StandardGroupedTableCellSelectionColor), PAIR(front, HomeCellSelectionColor), \
      PAIR(front, HomeCellNormalBackgroundColor), PAIR(front, PopoverBackgroundColor),          \
      PAIR(front, ModalSheetBackgroundColor), PAIR(front, InlineEditorBackgroundColor),         \
      PAIR(front, StandardPlainTableViewSectionHeaderBackgroundColor),                          \
      PAIR(front, SearchBarBackgroundColor)

const Pair kTexts[] = {
    ON_ALL_ROWS(TitleTextColor),
    ON_ALL_ROWS(MetadataTextColor),
    ON_ALL_ROWS(NotePreviewTextColor),
    PAIR(UnavailableTitleTextColor, BackgroundColor),
    PAIR(UnavailableTitleTextColor, StandardPlainTableCellBackgroundColor),
    PAIR(UnavailableTitleTextColor, StandardGroupedTableCellBackgroundColor),
    PAIR(PlaceholderLabelColor, BackgroundColor),
    PAIR(DueSoonTextColor, DueSoonBackgroundColor),
    PAIR(OverdueTextColor, OverdueBackgroundColor),
    PAIR(DisabledBarButtonItemTextColor, SearchBarBackgroundColor),
    PAIR(StandardGroupedTableSectionHeaderTextColor, StandardGroupedTableBackgroundColor),
    PAIR(ForecastDaySectionTitleTextColor, ForecastSeparatorTableViewCellBackgroundColor),
    PAIR(ForecastDefaultBadgeLabelColor, ForecastDefaultBadgeFillColor),
    PAIR(ForecastDefaultBadgeLabelColor, ForecastDefaultSelectedBadgeColor),
    PAIR(ForecastSubtleBadgeLabelColor, BackgroundColor),
    PAIR(BadgeContentColorForDisplayStyleInverted, ForecastDefaultBadgeColor),
    PAIR(ItemToMoveTextColor, ItemToMoveBackgroundColor),
    PAIR(EditorLabelColor, EditorHeaderGradientStartColor),
    PAIR(EditorLabelColor, EditorHeaderGradientEndColor),
    PAIR(ForecastEventTimelineGridlineLabelColor, BackgroundColor),
    PAIR(TitleTextColor, NearbyWarningBackgroundColor)};

const Pair kMarks[] = {
    PAIR(SeparatorColor, BackgroundColor),
    PAIR(SeparatorColor, StandardPlainTableCellBackgroundColor),
    PAIR(StandardGroupedTableViewSeparatorColor, StandardGroupedTableCellBackgroundColor),
    PAIR(StandardDisclosureIndicatorColor, StandardPlainTableCellBackgroundColor),
    PAIR(StandardDisclosureIndicatorColor, StandardGroupedTableCellBackgroundColor),
    PAIR(StandardDisclosureIndicatorColor, StandardGroupedTableCellSelectionColor),
    PAIR(SplitViewSeparatorColor, SplitViewBackgroundColor),
    PAIR(ReviewControlPanelDividerColor, BackgroundColor),
    PAIR(InlineEditorButtonSeparatorStrokeColor, InlineEditorBackgroundColor),
    PAIR(EditorVerticalTabSeparatorColor, BackgroundColor),
    PAIR(EditorHorizontalTabBottomStrokeColor, BackgroundColor),
    PAIR(EditorHorizontalTabSeparatorTopColor, BackgroundColor),
    PAIR(ForecastEventTimelineMajorGridlineColor, BackgroundColor),
    PAIR(NearbyWarningStrokeColor, NearbyWarningBackgroundColor),
    PAIR(SecretBarHandleFillColor, SecretBarBackgroundColor),
    PAIR(SecretBarAccessoryViewStrokeColor, SecretBarAccessoryViewFillColor),
    PAIR(HomeScreenEditingButtonsBorderColor, HomeScreenEditingButtonsBackgroundColor),
    PAIR(StatusCircleNormalColor, BackgroundColor),
    PAIR(StatusCircleOverdueColor, BackgroundColor),
    PAIR(StatusCircleDueSoonColor, BackgroundColor),
    PAIR(StatusCircleFlaggedColor, BackgroundColor),
    PAIR(StatusCircleRepeatDotColor, BackgroundColor)};

TEST_F(Palettes, SayNothingOnTheConsole) {
  testing::internal::CaptureStderr();
  for (const auto& palette : all_) (void)palette->BackgroundColor();
  (void)today_->TodayItemCellSelectionColor();
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(Palettes, LetEveryTextAndEveryMarkBeRead) {
  for (const auto& palette : all_) {
    const auto check = [&](const Pair& pair, double minimum) {
      const auto &front = ((*palette).*pair.front)(), &back = ((*palette).*pair.back)();
      ASSERT_TRUE(front && back) << pair.name;
      EXPECT_EQ(front->alpha * back->alpha, 1) << pair.name;
      EXPECT_GE(contrast(*front, *back), minimum) << palette->className() << ": " << pair.name;
    };
    for (const auto& pair : kTexts) check(pair, 4.5);
    for (const auto& pair : kMarks) check(pair, 3);
  }
  EXPECT_GE(contrast(*today_->TodayItemCellSeparatorColor(), *today_->BackgroundColor()), 3);
  EXPECT_GE(contrast(*today_->TitleTextColor(), *today_->TodayItemCellSelectionColor()), 4.5);
}

TEST_F(Palettes, KeepTheSectionsApartForColourBlindPeople) {
  // A distance of 2.3 is just noticeable side by side; icons are seen apart and small.
  constexpr double kEasilyToldApart = 12;
  for (const auto& palette : all_) {
    const std::optional<UIColor> colors[]{palette->InboxColor(),    palette->ProjectsColor(),
                                          palette->ForecastColor(), palette->ContextsColor(),
                                          palette->FlaggedColor(),  palette->MapColor(),
                                          palette->ReviewColor(),   palette->PerspectivesColor()};
    for (std::size_t i = 0; i < std::size(colors); ++i) {
      EXPECT_GE(contrast(*colors[i], *palette->BackgroundColor()), 3) << palette->className() << i;
      for (std::size_t j = 0; j < i; ++j)
        for (const auto& vision : kVisions) {
          const Triple a = vision.see(*colors[i]), b = vision.see(*colors[j]);
          EXPECT_GE(std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]), kEasilyToldApart)
              << palette->className() << ", " << vision.name << ": " << j << " and " << i;
        }
    }
  }
}

}  // namespace
}  // namespace tasklane
