#pragma once

#include <optional>
#include <string>

namespace tasklane {

/// The file that todo.sh uses: TODO_FILE, or todo.txt in TODO_DIR, as its configuration sets them;
/// none without one. Only plain assignments are understood, nothing is executed.
std::optional<std::string> pathOfTodoSh();

}  // namespace tasklane
