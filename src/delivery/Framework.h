#pragma once

#include <string>

#include "foundation/base/NSError.h"

namespace tasklane {

/// The address of a function of a module in the bundle's folder "Frameworks" ("calendar" is
/// "calendar.so"). What stands on a library that most commands do without is such a module, which
/// is loaded at the first call and stays for good. An error when it cannot be loaded.
///
/// A module has its own copy of what it shares with the program: only interfaces, values and
/// functions without state cross between them. Any thread.
Result<void*> frameworkFunction(const std::string& module, const char* name);

/// Has modules of another folder loaded, for programs outside the bundle.
void setFrameworksFolder(const std::string& folder);

}  // namespace tasklane
