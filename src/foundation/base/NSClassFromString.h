#pragma once

#include <functional>
#include <memory>
#include <string>

#include "foundation/base/NSObject.h"

namespace tasklane {

/// Classes that can be made by their name, such as an extension's principal class, which its
/// Info.plist names. Registration happens before main() or at its start; main thread.
void registerClass(const std::string& name, std::function<std::shared_ptr<NSObject>()> make);

/// A new object of the named class, or null when nothing is registered under the name.
std::shared_ptr<NSObject> makeObjectOfClassNamed(const std::string& name);

}  // namespace tasklane
