#include "share-sheet/ExtensionStrings.h"

#include "foundation/NSBundle.h"

namespace tasklane {

std::string extensionString(const std::string& key) {
  auto bundle = NSBundle::bundleWithIdentifier("com.kestrelworks.Tasklane.Share");
  if (!bundle) bundle = NSBundle::mainBundle();
  return bundle->localizedStringForKey(key, "");
}

}  // namespace tasklane
