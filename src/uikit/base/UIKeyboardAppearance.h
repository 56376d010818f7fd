#pragma once

namespace tasklane {

/// The look of an on-screen keyboard beside a text that is being edited.
enum class UIKeyboardAppearance { Default = 0, Dark = 1, Light = 2 };

}  // namespace tasklane
