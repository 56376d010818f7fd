#include "delivery/DestinationKinds.h"
#include "delivery/taskwarrior/TaskwarriorDestination.h"

namespace tasklane {

namespace {

Result<std::unique_ptr<Destination>> makeTaskwarrior(const DestinationKind::Options& options) {
  for (const char* name : {"taskrc", "data"})
    if (const std::string path = optionNamed(name, options);
        !path.empty() && !path.starts_with("/"))
      return NSError{NSError::Kind::Unsupported,
                     std::string("destination.") + name + " must be a whole path"};
  return std::unique_ptr<Destination>(std::make_unique<TaskwarriorDestination>(
      optionNamed("taskrc", options), optionNamed("data", options)));
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
