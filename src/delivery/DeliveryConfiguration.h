#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "foundation/base/NSError.h"

namespace tasklane {

/// Where saved items go and what the today list shows: $XDG_CONFIG_HOME/tasklane/config.toml
/// (~/.config where that is unset or no whole path), a file that people edit.
///
///     [destination]
///     kind = "todo.txt"
///     file = "/home/ana/todo.txt"
///
///     [today]
///     due-soon-hours = 48
///     shows = ["overdue", "due today", "flagged"]
///     everything = false
struct DeliveryConfiguration {
  /// One of destinationKinds(), and what that kind wants to know, by the names in the file.
  std::string kind = "todo.txt";
  std::map<std::string, std::string> options;

  // Published with the items (see TLXExternalItem).
  double dueSoonInterval = 48 * 3600.0;  ///< seconds
  std::uint64_t todayContentCategories = 63;
  bool todayUsesCustomPerspective = false;

  static std::string path();

  /// The defaults when there is no file. What is wrong with one is told with line and column, or
  /// with the key.
  static Result<DeliveryConfiguration> load();

  /// Writes the destination into the file, which is made where it is missing, with what it may hold
  /// in comments. Everything else that is in the file stays as it is.
  Result<void> saveDestination() const;
};

}  // namespace tasklane
