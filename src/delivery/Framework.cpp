#include "delivery/Framework.h"

#include <dlfcn.h>

#include <memory>

#include "foundation/extension/NSBundle.h"

namespace tasklane {

namespace {

std::string& chosenFolder() {
  static std::string* const folder = std::make_unique<std::string>().release();
  return *folder;
}

}  // namespace

void setFrameworksFolder(const std::string& folder) { chosenFolder() = folder; }

Result<void*> frameworkFunction(const std::string& module, const char* name) {
  const std::string folder = chosenFolder().empty()
                                 ? NSBundle::mainBundle()->bundlePath() + "/Frameworks"
                                 : chosenFolder();
  void* const file = ::dlopen((folder + "/" + module + ".so").c_str(), RTLD_NOW | RTLD_LOCAL);
  void* const address = file ? ::dlsym(file, name) : nullptr;
  if (address) return address;
  const char* const reason = ::dlerror();
  return NSError{NSError::Kind::Unsupported,
                 std::string("a part of this program cannot be loaded: ") +
                     (reason ? reason : module.c_str())};
}

}  // namespace tasklane
