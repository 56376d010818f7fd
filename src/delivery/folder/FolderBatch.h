#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "delivery/Destination.h"
#include "delivery/folder/TaskFolder.h"
#include "delivery/vtodo/CalendarTasks.h"
#include "foundation/files/UnnamedFile.h"

namespace tasklane {

/// Actions that are carried out together in a folder of tasks: new files are flushed in groups,
/// which takes much less than one after the other. One thread.
class FolderBatch {
 public:
  using List = TaskFolder::List;

  /// The list for new tasks is the first; all outlive it.
  FolderBatch(const TaskFolder& folder, const std::vector<List>& lists,
              const CalendarValues& values)
      : folder_(folder), lists_(lists), values_(values) {}

  std::vector<DeliveryOutcome> carryOut(const std::vector<DeliveryAction>& actions,
                                        const Destination::Progress& progress);

  /// The list that a new task's project is; none where it becomes a category.
  static const List* listOf(const DeliveryAction& action, const std::vector<List>& lists);

  static std::string fileName(const std::string& uid) { return uid + ".ics"; }
  /// Where a task's attachments lie.
  static std::string attachmentFolder(const TaskFolder& folder, const DeliveryAction& action);
  /// The file of a new task whose attachments are stored.
  static std::string textOfNew(const TaskFolder& folder, const std::vector<List>& lists,
                               const DeliveryAction& action);

 private:
  /// A file that is written and has no name yet.
  struct Begun {
    std::size_t action;
    std::string list;
    std::string path;
    std::shared_ptr<UnnamedFile> file;
  };

  std::optional<DeliveryOutcome> begin(std::size_t index, const DeliveryAction& action);
  void finishBegun();
  void flushLists();
  static Result<std::shared_ptr<UnnamedFile>> write(const std::string& list,
                                                    const std::string& text);
  DeliveryOutcome change(const DeliveryAction& action);
  std::optional<DeliveryOutcome> changeFile(const DeliveryAction& action, const std::string& path);
  static Result<void> storeNext(const CalendarChange::Next& next, const std::string& list);
  Result<void> readPathsByUID();

  const TaskFolder& folder_;
  const std::vector<List>& lists_;
  const CalendarValues& values_;
  std::vector<DeliveryOutcome> outcomes_;
  std::vector<Begun> begun_;
  std::map<std::string, std::vector<std::size_t>> namedIn_;  // new tasks, by their list's path
  std::optional<std::unordered_map<std::string, std::string>> pathsByUID_;
};

}  // namespace tasklane
