#pragma once

#include <optional>
#include <string>

#include "QueueCommands.h"

/// The commands that show what is published and where it lies.
namespace tasklane {

enum class Catalogue { Projects, Contexts };
void printCatalogue(Catalogue catalogue, OutputFormat format);

/// The published items with pending actions applied: those that the today list shows, or all.
enum class TodaySelection { Shown, All };
void printToday(TodaySelection selection, OutputFormat format);

void printPaths(OutputFormat format);

/// Prints "watching", then a line for each announced change of "actions", "containers" or "items",
/// until so many have been announced (without a count: for ever).
void watch(const std::string& name, std::optional<unsigned> count);

}  // namespace tasklane
