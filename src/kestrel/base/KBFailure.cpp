#include "kestrel/base/KBFailure.h"

#include "foundation/base/NSLog.h"

namespace tasklane {

void KBRequestConcreteImplementation(std::string_view className, std::string_view operation,
                                     std::string_view label, int labelLine,
                                     const std::source_location& where) {
  assertionFailed(
      stringWithFormat("%@ needs a concrete implementation of %@", {className, operation}), label,
      labelLine, where.file_name(), static_cast<int>(where.line()));
}

void KBRejectUnusedImplementation(std::string_view className, std::string_view operation,
                                  std::string_view label, int labelLine,
                                  const std::source_location& where) {
  assertionFailed(stringWithFormat("%@ does not implement %@", {className, operation}), label,
                  labelLine, where.file_name(), static_cast<int>(where.line()));
}

}  // namespace tasklane
