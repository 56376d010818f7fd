#include "uikit/UIAccessibility.h"

#include "uikit/Backend.h"

namespace tasklane {

bool UIAccessibilityIsVoiceOverRunning() { return backend::isAssistiveProgramConnected(); }

void UIAccessibilityPostAnnouncement(const std::string& text) { backend::announce(text); }

}  // namespace tasklane
