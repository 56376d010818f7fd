#pragma once

#include "uikit/CGGeometry.h"

namespace tasklane {
class UIView;
namespace detail {

/// Sets the frames of the subviews that active constraints speak of. The others are left alone.
void placeSubviewsByConstraints(UIView& view);

/// The size of the view itself that its constraints ask for, nearest to the target; where there are
/// none its natural size, and where it has none either the target.
CGSize sizeFittingConstraints(UIView& view, CGSize target);

}  // namespace detail
}  // namespace tasklane
