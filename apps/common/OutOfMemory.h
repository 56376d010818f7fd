#pragma once

#include <string>
#include <system_error>

#include "common/ExitCode.h"

namespace tasklane {

/// How a program ends when there is no memory for its work, or nothing else that the system has to
/// give, and nobody deals with that: plainly, also where it comes up in a function that must not
/// throw.
class OutOfMemory {
 public:
  /// Sets what is said on standard error; the exit code is that of what is not saved. The text must
  /// stay. Once, at the program's start.
  static void endPlainly(const char* text);

  /// What the program was asked for has several steps, each of which stays done: from now on its
  /// end does not say that nothing was.
  static void changeHasSteps();

  /// What the program was asked for is done: from now on its end is that of success. Any thread.
  static void changeIsSaved();

  /// For another error of the system that came up to `main`: says it and answers how to end.
  static ExitCode codeAfter(const std::string& program, const std::system_error& error);
};

}  // namespace tasklane
