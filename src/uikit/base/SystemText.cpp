#include "uikit/base/SystemText.h"

#include "foundation/extension/NSBundle.h"

namespace tasklane::detail {

std::string systemText(const std::string& key) {
  return NSBundle::mainBundle()->localizedStringForKey(key, "");
}

}  // namespace tasklane::detail
