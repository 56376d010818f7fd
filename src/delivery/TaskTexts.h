#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "foundation/dates/NSDate.h"

namespace tasklane {

/// "YYYY-MM-DD" in the device's time zone.
std::string dayText(NSDate moment);

/// A moment in UTC by a pattern of strftime(3), in whole seconds, and back: none when the text does
/// not begin so.
std::string utcText(NSDate moment, const char* pattern);
std::optional<NSDate> momentOfUTCText(const std::string& text, const char* pattern);

/// A name as one word of a line, and back: blanks, control characters and what else separates words
/// there are underscores.
std::string wordOfName(std::string name, std::string_view separators = {});
std::string nameOfWord(std::string word);

/// Whether a uuid may stand in a line and as a file's name.
bool isPlainIdentifier(const std::string& text);

}  // namespace tasklane
