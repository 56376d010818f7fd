#include "uikit/views/UIAccessibility.h"

#include "uikit/base/Backend.h"

namespace tasklane {

bool UIAccessibilityIsVoiceOverRunning() { return backend::isAssistiveProgramConnected(); }

void UIAccessibilityPostAnnouncement(const std::string& text) { backend::announce(text); }

}  // namespace tasklane
