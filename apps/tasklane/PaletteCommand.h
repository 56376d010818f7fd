#pragma once

#include <string>

namespace tasklane {

/// Says everything that is wrong with a palette's property list, a line each; throws when there is
/// anything.
void checkPalette(const std::string& file);

}  // namespace tasklane
