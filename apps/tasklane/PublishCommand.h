#pragma once

#include <string>

/// Publishing what the main application knows to its extensions.
namespace tasklane {

enum class Publication { Containers, Items };

/// Reads a property list in any format from a file, or from standard input for "-", and makes it
/// the published one. What is wrong with it is told with its place, as in "/items/0/uuid"; with any
/// fault nothing is changed.
void publish(Publication publication, const std::string& file);

}  // namespace tasklane
