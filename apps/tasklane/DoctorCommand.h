#pragma once

#include "QueueCommands.h"

namespace tasklane {

/// Tries every way in and out, as far as that shows no window and changes nothing, and prints a
/// line for each: whether it works, and what to do where it does not. Throws when something that is
/// installed does not work.
void examine(OutputFormat format);

}  // namespace tasklane
