#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "delivery/Destination.h"
#include "delivery/FolderLookout.h"
#include "delivery/folder/TaskFolder.h"
#include "delivery/vtodo/CalendarTasks.h"

namespace tasklane {

/// A folder of tasks that other programs share, one VTODO a file (see TaskFolder, CalendarTasks). A
/// new task's UID is the action's uuid, and its file "<uuid>.ics". It lies in the list that is
/// called as its project, or in the one for new tasks, with the project as a category. Attachments
/// lie in ".attachments/<uuid>/" in the folder, where no program takes them for a list.
class FolderDestination : public Destination {
 public:
  /// The list for new tasks by its name or its folder's; empty for the first.
  FolderDestination(std::string path, std::string listForNew);

  std::string description() const override { return "the folder " + folder_.path(); }
  Result<std::vector<ListContainer>> lists() override;
  std::map<std::string, std::string> choices() const override;
  std::vector<DeliveryOutcome> carryOut(const std::vector<DeliveryAction>& actions,
                                        const Progress& progress) override;
  std::vector<std::string> losses(const DeliveryAction& action) const override;
  Result<std::optional<std::string>> stamp() override;
  Result<ListContents> contents() override;
  ListWatch watch() override;
  DeliveryOutcome takeBack(const DeliveryAction& action) override;

 private:
  using Lists = std::vector<TaskFolder::List>;
  Lists::const_iterator listForNew(const Lists& lists) const;
  std::string wholeStamp(const std::string& stamp) const;
  /// The list for new tasks first.
  Result<Lists> orderedLists() const;

  TaskFolder folder_;
  std::string nameForNew_;
  std::string chosen_;  // the list for new tasks that lists() has found
  FolderLookout lookout_{FolderLookout::Changes::ClosedFilesAndNewFolders};
};

}  // namespace tasklane
