#include "foundation/base/NSObject.h"

#include <cxxabi.h>

#include <cstdio>
#include <cstdlib>
#include <typeinfo>

namespace tasklane {

std::string NSObject::className() const {
  int status = 0;
  const std::unique_ptr<char, void (*)(void*)> demangled(
      abi::__cxa_demangle(typeid(*this).name(), nullptr, nullptr, &status), std::free);
  const std::string name = status == 0 ? demangled.get() : typeid(*this).name();
  const auto lastScope = name.rfind("::");
  return lastScope == std::string::npos ? name : name.substr(lastScope + 2);
}

std::string NSObject::description() const {
  char address[32];
  std::snprintf(address, sizeof address, "%p", static_cast<const void*>(this));
  return "<" + className() + ": " + address + ">";
}

}  // namespace tasklane
