#pragma once

#include <CLI/CLI.hpp>
#include <nlohmann/json_fwd.hpp>

namespace tasklane {

/// Puts the examples of a command, and of those below it, at the end of what --help prints.
void addExamples(CLI::App& command);

/// A command as its --help shows it, and those below it, for what writes manual pages and
/// completions (scripts/write-manual): "name", "description", "examples" (an array of lines),
/// "options" and "commands"; of an option "names" (none for a positional one), "value" (what it
/// takes, by its name in the help; none for a flag), "choices", "repeats", "required",
/// "description". What --help hides is left out.
nlohmann::json describe(const CLI::App& command);

}  // namespace tasklane
