#include "kestrel/base/KBFailure.h"

#include "foundation/base/NSLog.h"

namespace tasklane {

void KBRequestConcreteImplementation(std::string_view className, std::string_view operation,
                                     std::string_view label, int labelLine, const char* file,
                                     int line) {
  assertionFailed(
      stringWithFormat("%@ needs a concrete implementation of %@", {className, operation}), label,
      labelLine, file, line);
}

void KBRejectUnusedImplementation(std::string_view className, std::string_view operation,
                                  std::string_view label, int labelLine, const char* file,
                                  int line) {
  assertionFailed(stringWithFormat("%@ does not implement %@", {className, operation}), label,
                  labelLine, file, line);
}

}  // namespace tasklane
