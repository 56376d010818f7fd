#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "foundation/base/NSError.h"
#include "uikit/base/CGGeometry.h"

namespace tasklane {

class UIFont;
class UIView;
class UIWindow;

/// The widget behind a view that is on a screen. The view owns it and tells it of changes; a
/// person's input comes back through the view's own operations. Neither direction echoes. Peers are
/// made from the window (which has one too) downwards, before the window is shown.
class UIViewPeer {
 public:
  virtual ~UIViewPeer() = default;
  /// Something that the widget shows (geometry, colours, text, state) has changed, or the view
  /// needs layout; several calls before the next turn of the loop may be answered once. The backend
  /// asks the window to lay out before it brings the widgets up to date.
  virtual void viewDidChange() = 0;
  /// The order or set of subviews has changed.
  virtual void subviewsDidChange() = 0;
  /// The view became, or ceased to be, the first responder.
  virtual void firstResponderDidChange(bool isFirstResponder) = 0;
};

/// The few questions that views ask of what puts them on a screen. A program chooses an answer when
/// it is linked: src/uikit/qt, or src/uikit/headless, which measures with fixed metrics and shows
/// nothing. Main thread.
namespace backend {

/// The size that a text takes within a width, broken into at most numberOfLines lines (0: any
/// number).
CGSize sizeOfText(std::string_view text, const UIFont& font, CGFloat maximumWidth,
                  int numberOfLines);
CGFloat lineHeightOfFont(const UIFont& font);

/// The body text size that the desktop is set to, relative to its default: 0.8 to 2.
CGFloat textSizeFactor();
CGSize mainScreenSize();
CGFloat mainScreenScale();
/// Has mainScreenScale() answer a scale of the caller's choosing until it is told 0; for pictures
/// of views at scales that no screen here has. Set it before the views are made.
void overrideMainScreenScale(CGFloat scale);
UIUserInterfaceLayoutDirection layoutDirection();
bool animationsEnabled();
bool isAssistiveProgramConnected();
/// Has a screen reader say a text; an empty one takes back what can still be read of the last.
void announce(const std::string& text);

/// One screen takes another's place in a window: what was pressed for the former is not for the
/// latter, nor is what was announced of it.
void screenDidChange();

/// A widget for a view whose superview (or window) is on a screen; null where nothing is shown.
std::unique_ptr<UIViewPeer> makePeer(UIView& view);

/// Puts a window on the screen and takes it away again.
void showWindow(UIWindow& window);
void hideWindow(UIWindow& window);

/// Draws a window as it would appear into a PNG file, without a display; scale is pixels per point.
Result<void> snapshotWindow(UIWindow& window, const std::string& path, CGFloat scale);

/// Draws a window to nowhere, so that what its first showing needs (fonts, glyphs, styles) is at
/// hand for the next one.
void rehearseWindow(UIWindow& window);

/// Whether the person is heard, or only what has changed is shown.
enum class Serve { OnlyPainting, Person };
/// For a main thread that is kept from its run loop: serves the windows for a few milliseconds.
/// Nothing that waits in the loop is dispatched.
void serveWindows(Serve serve);

/// Starts the toolkit, once, before the first window; argc and argv as main() got them. The name is
/// what the desktop knows the program by. When no display can be reached, displayUnreachable is
/// called, which may end the program its own way; otherwise the toolkit aborts it. When the display
/// is gone later, displayLost is called, on the thread that learns of it, which should end the
/// program; the toolkit does it otherwise, with an exit code of its own.
void start(int& argc, char** argv, const std::string& applicationName,
           void (*displayUnreachable)() = nullptr, void (*displayLost)() = nullptr);

}  // namespace backend
}  // namespace tasklane
