#pragma once

#include <source_location>
#include <string_view>

namespace tasklane {

/// Ends the process because an abstract class was asked for something that only its subclasses
/// answer. The label and its line name the place in the system's documentation; the real place
/// stands in the message too.
[[noreturn]] void KBRequestConcreteImplementation(
    std::string_view className, std::string_view operation, std::string_view label, int labelLine,
    const std::source_location& where = std::source_location::current());

/// The same for an operation that a class inherits and refuses, such as an initialiser that leaves
/// out what its objects need.
[[noreturn]] void KBRejectUnusedImplementation(
    std::string_view className, std::string_view operation, std::string_view label, int labelLine,
    const std::source_location& where = std::source_location::current());

}  // namespace tasklane
