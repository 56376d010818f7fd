#include "delivery/DestinationKinds.h"
#include "delivery/taskwarrior/TaskwarriorDestination.h"

namespace tasklane {

namespace {

Result<std::unique_ptr<Destination>> makeTaskwarrior(const DestinationKind::Options& options) {
  const auto path = [&](const char* name) {
    const auto found = options.find(name);
    return found == options.end() ? std::string() : found->second;
  };
  for (const char* name : {"taskrc", "data"})
    if (!path(name).empty() && !path(name).starts_with("/"))
      return NSError{NSError::Kind::Unsupported,
                     std::string("destination.") + name + " must be a whole path"};
  return std::unique_ptr<Destination>(
      std::make_unique<TaskwarriorDestination>(path("taskrc"), path("data")));
}

}  // namespace

DestinationKind taskwarriorKind() {
  return {.name = "taskwarrior",
          .description = "Taskwarrior, by its program task",
          .otherOptions = {{"taskrc", "Its settings file, where that is not ~/.taskrc", "TASKRC"},
                           {"data", "The folder of its data, where the settings do not say it",
                            "TASKDATA"}},
          .make = makeTaskwarrior};
}

}  // namespace tasklane
