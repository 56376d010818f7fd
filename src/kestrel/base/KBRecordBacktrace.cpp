#include "kestrel/base/KBRecordBacktrace.h"

#include <string>

#include "foundation/base/NSLog.h"

namespace tasklane {

void KBRecordBacktrace(std::string_view message, int kind) {
  NSLog(stringWithFormat("Backtrace recorded (kind %@): %@", {std::to_string(kind), message}));
}

}  // namespace tasklane
