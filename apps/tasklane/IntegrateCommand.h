#pragma once

#include <string>
#include <vector>

#include "Command.h"

namespace tasklane {

/// How the ways by which other programs share stand, a line each.
void listWays(const std::vector<std::string>& names);
/// Writes the files of the named ways; without names of those that are of use and that no package
/// has installed. Says each step; throws when one was not possible, having done the others.
void installWays(const std::vector<std::string>& names);
/// Removes what installWays() has written, of the named ways or of all.
void removeWays(const std::vector<std::string>& names);

}  // namespace tasklane
