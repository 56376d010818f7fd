#include "share-sheet/ExtensionStrings.h"

#include "foundation/extension/NSBundle.h"
#include "foundation/text/NSString+PluralFormat.h"

namespace tasklane {

std::string extensionString(const std::string& key) {
  auto bundle = NSBundle::bundleWithIdentifier("com.kestrelworks.Tasklane.Share");
  if (!bundle) bundle = NSBundle::mainBundle();
  return bundle->localizedStringForKey(key, "");
}

std::string extensionString(const std::string& key, std::size_t count) {
  const std::string pattern = extensionString(key);
  if (pattern == key) return std::to_string(count);
  return stringWithPluralFormat(pattern, extensionString("Language"),
                                static_cast<std::int64_t>(count));
}

}  // namespace tasklane
