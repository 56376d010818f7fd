#pragma once

#include <optional>
#include <string>
#include <vector>

#include "foundation/base/FileDescriptor.h"
#include "foundation/base/NSError.h"

namespace tasklane {

/// Taskwarrior's own program, `task`, found on PATH and started without a shell. It asks nothing,
/// runs no hooks, tidies nothing up, applies no context and no defaults: what goes in and comes out
/// is what the list holds. Data that are away are not begun anew, but by version(). Errors are
/// sentences, with the program's own words where it has some.
///
/// An import is one at a time, also of a process that was killed while its import goes on, by a
/// lock that the started program holds too. One thread.
class TaskProgram {
 public:
  /// The person's own settings file and data folder, unless whole paths are given.
  TaskProgram(std::string settings, std::string data)
      : settings_(std::move(settings)), data_(std::move(data)) {}

  /// "2.6.2"; an error when that is too old, or when the program is none of Taskwarrior's. Begins
  /// settings and data that are not there.
  Result<std::string> version() const;
  /// Where it keeps its data, asked once.
  Result<std::string> dataFolder() const;

  /// JSON of the tasks that a filter lets through, in the words of its command line.
  Result<std::string> exportTasks(std::vector<std::string> filter) const;

  /// The uuids of tasks, one a line: half the work of exporting them.
  Result<std::string> uuids(std::vector<std::string> filter) const;

  /// The right to import, which goes with an import's process; none while another has it.
  static Result<std::optional<FileDescriptor>> takeTurn();
  /// All of the tasks, or an error.
  Result<void> importTasks(const std::string& json, const FileDescriptor& turn) const;

 private:
  Result<std::string> run(std::vector<std::string> words, const std::string& input = {},
                          int inherited = -1) const;

  std::string settings_;
  std::string data_;
  mutable std::string dataFolder_;
};

}  // namespace tasklane
