#pragma once

#include <string>
#include <vector>

#include "foundation/base/NSError.h"

namespace tasklane {

/// Everything that is wrong with a palette's property list, a sentence each in the list's order;
/// empty for a good one. The file's name says whose list it is: a TasklaneTodayAppearance inherits,
/// so it may leave out any key but the two of its own; every other list must be complete and must
/// not have those two. Numbers that are parts of a whole go from 0
/// to 1; times and sizes are not negative. Images are looked for in the folder "images" beside the
/// list's own folder, if there is one, and in the main bundle; every variant must be a picture. A
/// file that cannot be read, or holds no dictionary, is an error that names it.
Result<std::vector<std::string>> complaintsAboutPaletteAtPath(const std::string& path);

}  // namespace tasklane
