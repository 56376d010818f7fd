#include "delivery/Framework.h"

/// Linked to programs that use the build's modules from outside the bundle.
[[maybe_unused]] static const bool kFrameworksAreKnown = [] {
  tasklane::setFrameworksFolder(TASKLANE_FRAMEWORKS);
  return true;
}();
