#pragma once

#include <string>

#include "uikit/views/UIView.h"

namespace tasklane::qt {

/// What a screen reader calls a view: its label, and for a row its value after it.
std::string accessibleName(const UIView& view);

/// Has Qt ask the views themselves for names, roles, states and children.
void installAccessibility();

/// Has the screen reader say a text, which can then be read again until it is replaced or, by an
/// empty one, taken back.
void announceText(const std::string& text);

}  // namespace tasklane::qt
