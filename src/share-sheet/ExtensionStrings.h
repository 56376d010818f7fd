#pragma once

#include <cstddef>
#include <string>

namespace tasklane {

/// The text for a key in the user's language, from the extension's own bundle; the key itself where
/// there is none.
std::string extensionString(const std::string& key);

/// A count in words, by the plural forms of the text for a key; the number alone where there is no
/// text.
std::string extensionString(const std::string& key, std::size_t count);

}  // namespace tasklane
