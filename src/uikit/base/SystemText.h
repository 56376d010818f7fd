#pragma once

#include <string>

namespace tasklane::detail {

/// A text of the platform's own ("Cancel", "Post", "Back") in the user's language; the key itself
/// where there is no translation.
std::string systemText(const std::string& key);

}  // namespace tasklane::detail
