#pragma once

#include <string_view>

namespace tasklane {

/// Ends the process because an abstract class was asked for something that only its subclasses
/// answer. The label and its line name the place in the system's documentation; the caller's file
/// and line stand in the message too (builtins of g++ and clang: clang 14 has no
/// std::source_location).
[[noreturn]] void KBRequestConcreteImplementation(std::string_view className,
                                                  std::string_view operation,
                                                  std::string_view label, int labelLine,
                                                  const char* file = __builtin_FILE(),
                                                  int line = __builtin_LINE());

/// The same for an operation that a class inherits and refuses, such as an initialiser that leaves
/// out what its objects need.
[[noreturn]] void KBRejectUnusedImplementation(std::string_view className,
                                               std::string_view operation, std::string_view label,
                                               int labelLine, const char* file = __builtin_FILE(),
                                               int line = __builtin_LINE());

}  // namespace tasklane
