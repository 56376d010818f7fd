#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

namespace tasklane {

/// Writes one line to the console (standard error), whole even when several threads or processes
/// write. Tabs and line feeds inside the text are kept; every other control character is shown as
/// \xNN, so that a text from outside cannot steer the terminal. Any thread.
void NSLog(std::string_view line);

/// The text with each "%@" replaced by the next argument, as it is; a "%@" for which there is no
/// argument stays. The base of the system's message formats.
std::string stringWithFormat(std::string_view format,
                             std::initializer_list<std::string_view> arguments);

/// Ends the process over a programming error, with the failed condition, the label and line by
/// which the error is known in the system's documentation, and the real file and line.
[[noreturn]] void assertionFailed(std::string_view condition, std::string_view label, int labelLine,
                                  const char* file, int line);

#define TASKLANE_ASSERT(condition, text, label, labelLine) \
  ((condition) ? (void)0 : ::tasklane::assertionFailed(text, label, labelLine, __FILE__, __LINE__))

}  // namespace tasklane
