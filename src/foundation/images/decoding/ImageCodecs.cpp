#include "foundation/images/decoding/ImageCodecs.h"

#include <dlfcn.h>

namespace tasklane {

OpenImageFunction loadImageCodecs(const std::string& folder) {
  void* module = ::dlopen((folder + "image-codecs.so").c_str(), RTLD_NOW | RTLD_LOCAL);
  if (module == nullptr) return nullptr;
  return reinterpret_cast<OpenImageFunction>(::dlsym(module, "tasklane_open_image"));
}

}  // namespace tasklane
