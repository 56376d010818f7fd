#pragma once

#include <string>
#include <string_view>

namespace tasklane {

/// Writes one line to the console (standard error), whole even when several threads or processes
/// write. Control characters other than a tab and line breaks inside the text are shown escaped.
/// Any thread.
void NSLog(std::string_view line);

/// The text with each "%@" replaced by the next argument; the base of the system's message formats.
std::string stringWithFormat(std::string_view format,
                             std::initializer_list<std::string_view> arguments);

/// Ends the process over a programming error, with the failed condition, the label and line by
/// which the error is known in the system's documentation, and the real file and line.
[[noreturn]] void assertionFailed(std::string_view condition, std::string_view label, int labelLine,
                                  const char* file, int line);

#define TASKLANE_ASSERT(condition, text, label, labelLine) \
  ((condition) ? (void)0 : ::tasklane::assertionFailed(text, label, labelLine, __FILE__, __LINE__))

}  // namespace tasklane
