#pragma once

#include <optional>
#include <string>

#include "uikit/base/CGGeometry.h"

namespace tasklane {
class NSLayoutConstraint;
class UIView;
namespace detail {

/// Why a constraint cannot be laid out: it is no pin of a view to its superview. None when it can.
std::optional<std::string> whyNotLaidOut(const NSLayoutConstraint& constraint);

/// Sets the frames of the subviews that active constraints pin, in one pass over the constraints.
/// The others are left alone.
void placeSubviewsByConstraints(UIView& view);

/// The size of a view with room for its own content and that of the subviews pinned in it. A target
/// above 0 is the width or height that they have to do with.
CGSize sizeFittingConstraints(UIView& view, CGSize target);

}  // namespace detail
}  // namespace tasklane
