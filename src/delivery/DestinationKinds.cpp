#include "delivery/DestinationKinds.h"

#include <algorithm>

namespace tasklane {

#define KIND(kind) DestinationKind kind();
#include "delivery/DestinationKinds.def"
#undef KIND

std::string optionNamed(const char* name, const DestinationKind::Options& options) {
  const auto found = options.find(name);
  return found == options.end() ? std::string() : found->second;
}

const std::vector<DestinationKind>& destinationKinds() {
  static const std::vector<DestinationKind> kinds{
#define KIND(kind) kind(),
#include "delivery/DestinationKinds.def"
#undef KIND
  };
  return kinds;
}

Result<std::unique_ptr<Destination>> makeDestination(const std::string& kind,
                                                     const DestinationKind::Options& options) {
  for (const auto& known : destinationKinds()) {
    if (kind != known.name) continue;
    for (const auto& option : options) {
      const std::string& name = option.first;
      const bool isKnown = (known.place && name == known.place) ||
                           std::any_of(known.otherOptions.begin(), known.otherOptions.end(),
                                       [&](const auto& other) { return name == other.name; });
      if (!isKnown)
        return NSError{NSError::Kind::Unsupported,
                       "a destination of the kind \"" + kind + "\" has no setting " + name};
    }
    return known.make(options);
  }
  std::string names;
  for (const auto& known : destinationKinds())
    names += (names.empty() ? "" : ", ") + std::string(known.name);
  return NSError{NSError::Kind::Unsupported,
                 "there is no destination of the kind \"" + kind + "\"; there are " + names};
}

}  // namespace tasklane
