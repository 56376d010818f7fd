#pragma once

#include <string>

namespace tasklane {

/// What KDE's share menu (Purpose) starts: takes what is shared from its socket, has the sheet
/// shown by another process, and answers. The menu kills this process when it likes. Throws what it
/// has told the menu too.
void shareFromPurpose(const std::string& socket);

}  // namespace tasklane
