#pragma once

namespace tasklane {

/// How a program ends when there is no memory for its work and nobody deals with that: plainly,
/// also where it comes up in a function that must not throw.
class OutOfMemory {
 public:
  /// Sets what is said on standard error; the exit code is that of what is not saved. The text must
  /// stay. Once, at the program's start.
  static void endPlainly(const char* text);

  /// What the program was asked for is done: from now on its end is that of success. Any thread.
  static void changeIsSaved();
};

}  // namespace tasklane
