#include "delivery/DestinationKinds.h"
#include "delivery/folder/FolderDestination.h"

namespace tasklane {

namespace {

Result<std::unique_ptr<Destination>> makeFolderOfTasks(const DestinationKind::Options& options) {
  std::string folder = optionNamed("folder", options);
  if (!folder.starts_with("/"))
    return NSError{NSError::Kind::Unsupported, "destination.folder must be a whole path"};
  while (folder.size() > 1 && folder.ends_with('/')) folder.pop_back();
  return std::unique_ptr<Destination>(
      std::make_unique<FolderDestination>(std::move(folder), optionNamed("list", options)));
}

}  // namespace

DestinationKind folderKind() {
  return {.name = "folder",
          .description =
              "A folder of tasks that calendar programs share: a folder for each list, "
              "a file for each task",
          .place = "folder",
          .placeIsRequired = true,
          .placeIsPath = true,
          .otherOptions = {{"list", "The list for new tasks; without it the first"}},
          .make = makeFolderOfTasks};
}

}  // namespace tasklane
