#pragma once

#include <string>
#include <vector>

#include "foundation/PropertyList.h"

/// Publishing what the main application knows to its extensions.
namespace tasklane {

enum class Publication { Containers, Items };

/// Everything that is wrong with a file of this kind, each with its place as in "/items/0/uuid".
std::vector<std::string> faultsOfPublication(Publication publication, const PropertyList& plist);

/// Reads a property list in any format from a file, or from standard input for "-", and makes it
/// the published one. With any fault nothing is changed.
void publish(Publication publication, const std::string& file);

}  // namespace tasklane
