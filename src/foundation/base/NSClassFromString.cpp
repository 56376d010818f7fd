#include "foundation/base/NSClassFromString.h"

#include <map>
#include <utility>

namespace tasklane {

namespace {

// Made on first use, because registrations run before main() in no certain order.
std::map<std::string, std::function<std::shared_ptr<NSObject>()>>& registry() {
  static std::map<std::string, std::function<std::shared_ptr<NSObject>()>> makers;
  return makers;
}

}  // namespace

void registerClass(const std::string& name, std::function<std::shared_ptr<NSObject>()> make) {
  registry()[name] = std::move(make);
}

std::shared_ptr<NSObject> makeObjectOfClassNamed(const std::string& name) {
  const auto found = registry().find(name);
  return found == registry().end() || !found->second ? nullptr : found->second();
}

}  // namespace tasklane
