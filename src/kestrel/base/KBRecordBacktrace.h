#pragma once

#include <string_view>

namespace tasklane {

/// Notes on the console that the program came to a place that it should not reach, and goes on. The
/// message is the place's tag ("NOTREACHED"); the kind says how the note is filed. Any thread.
void KBRecordBacktrace(std::string_view message, int kind = 2);

}  // namespace tasklane
