#pragma once

#include <string>

#include "foundation/base/NSError.h"

namespace tasklane {

/// The first line that a command prints, which the shell runs with no input; what it says besides
/// goes to the standard error. An error when it fails, prints nothing, or takes longer than a
/// minute.
Result<std::string> passwordOfCommand(const std::string& command);

/// The first line of a file that nobody but its owner can read or write; an error for others.
Result<std::string> passwordInFile(const std::string& path);

}  // namespace tasklane
