#pragma once

#include <string>

namespace tasklane {

/// The text for a key in the user's language, from the extension's own bundle; the key itself where
/// there is none.
std::string extensionString(const std::string& key);

}  // namespace tasklane
