#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "delivery/Destination.h"
#include "foundation/base/NSError.h"

namespace tasklane {

/// One kind of list that items can be delivered to. To add one: a folder with its Destination and
/// the function that describes it, and that function's line in DestinationKinds.def.
struct DestinationKind {
  using Options = std::map<std::string, std::string>;

  const char* name;
  /// For `connect --help`.
  const char* description;
  /// The option that `connect` takes as its argument; a null pointer for none.
  const char* place = nullptr;
  bool placeIsRequired = false;
  /// A path then, which `connect` makes a whole one.
  bool placeIsPath = false;
  struct Option {
    const char* name;
    const char* description;
    /// The variable of the environment that `connect` takes it from where it is not given.
    const char* variable = nullptr;
  };
  /// The options that it understands besides.
  std::vector<Option> otherOptions = {};
  /// An error names the option that is missing or wrong. Touches neither disk nor network.
  Result<std::unique_ptr<Destination>> (*make)(const Options& options) = nullptr;
};

/// What an option says; empty where it is not given.
std::string optionNamed(const char* name, const DestinationKind::Options& options);

const std::vector<DestinationKind>& destinationKinds();

/// The destination of a kind by its name; options that the kind does not know are an error.
Result<std::unique_ptr<Destination>> makeDestination(const std::string& kind,
                                                     const DestinationKind::Options& options);

}  // namespace tasklane
