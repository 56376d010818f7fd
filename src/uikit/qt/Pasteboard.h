#pragma once

#include "uikit/base/UIPasteboard.h"

class QDropEvent;
class QMimeData;

namespace tasklane {
class UIView;
}

namespace tasklane::qt {

enum class Picture { Skip, Load };
/// What a program offers, in this system's terms. Without the picture's bytes, which may be many,
/// it is known only that there is one.
UIPasteboardContents contentsOf(const QMimeData& data, Picture picture);

/// Whether it is more than a text, which goes where a text is typed.
bool isMoreThanText(const UIPasteboardContents& contents);

/// Whether a controller above the view would take it, and its taking it.
bool screenTakes(const QMimeData& data, UIView& into);
bool giveToScreen(const QMimeData& data, UIView& into);

/// What is dragged over a view: accepted where a controller above it would take it, as a copy, and
/// refused otherwise; and the drop.
void offerDrop(QDropEvent& event, UIView& over);
void takeDrop(QDropEvent& event, UIView& into);

}  // namespace tasklane::qt
