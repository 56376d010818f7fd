#pragma once

#include <string>

namespace tasklane {

/// The kinds of a person's files that have a folder of their own (XDG Base Directory
/// Specification).
enum class UserFolder { Config, Data, Cache, State };

/// Where the files of a kind lie: what the environment names, or the usual place in the home folder
/// where that is unset or no whole path. The home folder is HOME, else that of the person's
/// account. Need not exist. Any thread that starts after the environment is set.
std::string pathOfUserFolder(UserFolder folder);

}  // namespace tasklane
