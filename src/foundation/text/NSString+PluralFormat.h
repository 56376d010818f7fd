#pragma once

#include <cstdint>
#include <string>

namespace tasklane {

/// A count in words: an ICU message pattern such as "{0, plural, one{# project} other{# projects}}"
/// for a number, by the plural rules and digits of a language ("pl", "zh-Hans"). A pattern with a
/// mistake in it answers the number alone. Any thread.
std::string stringWithPluralFormat(const std::string& pattern, const std::string& language,
                                   std::int64_t number);

}  // namespace tasklane
