#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace tasklane {

/// What a screen reader says of an element's kind and state; a set of bits.
using UIAccessibilityTraits = std::uint64_t;
inline constexpr UIAccessibilityTraits UIAccessibilityTraitNone = 0;
inline constexpr UIAccessibilityTraits UIAccessibilityTraitButton = 1u << 0;
inline constexpr UIAccessibilityTraits UIAccessibilityTraitLink = 1u << 1;
inline constexpr UIAccessibilityTraits UIAccessibilityTraitImage = 1u << 2;
inline constexpr UIAccessibilityTraits UIAccessibilityTraitSelected = 1u << 3;
inline constexpr UIAccessibilityTraits UIAccessibilityTraitStaticText = 1u << 6;
inline constexpr UIAccessibilityTraits UIAccessibilityTraitSummaryElement = 1u << 7;
inline constexpr UIAccessibilityTraits UIAccessibilityTraitNotEnabled = 1u << 8;
inline constexpr UIAccessibilityTraits UIAccessibilityTraitSearchField = 1u << 10;
inline constexpr UIAccessibilityTraits UIAccessibilityTraitHeader = 1u << 16;

/// Whether an assistive program is connected (the backend answers).
bool UIAccessibilityIsVoiceOverRunning();

/// Has the assistive program say a short text, for example the outcome of a search.
void UIAccessibilityPostAnnouncement(const std::string& text);

}  // namespace tasklane
