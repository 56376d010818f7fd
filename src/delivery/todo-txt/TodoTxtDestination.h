#pragma once

#include <functional>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "delivery/ContendedFile.h"
#include "delivery/Destination.h"
#include "delivery/FolderLookout.h"
#include "delivery/todo-txt/TodoTxtContents.h"

namespace tasklane {

/// A todo.txt file: one line a task. Notes lie in "notes/<uuid>.txt" beside it, attachments in
/// "notes/<uuid>/"; a line names them by relative paths.
///
/// A line that this program wrote carries "uuid:" with the action's identifier. One without gets an
/// identifier derived from its text; it is not rewritten for that, and when its text has changed by
/// the time an action arrives the action is refused. A task in "done.txt" beside it, where todo.sh
/// archives completed ones, was delivered.
class TodoTxtDestination : public Destination {
 public:
  TodoTxtDestination(std::string path, ContendedFile::WhenMissing whenMissing);

  std::string description() const override { return "the file " + file_.path(); }
  Result<std::vector<ListContainer>> lists() override;
  std::vector<DeliveryOutcome> carryOut(const std::vector<DeliveryAction>& actions,
                                        const Progress& progress) override;
  std::vector<std::string> losses(const DeliveryAction& action) const override;
  Result<std::optional<std::string>> stamp() override;
  Result<ListContents> contents() override;
  ListWatch watch() override;
  Result<std::vector<std::string>> missing(const std::vector<DeliveryAction>& delivered) override;
  DeliveryOutcome takeBack(const DeliveryAction& action) override;

 private:
  std::string folder() const;
  std::string archivePath() const;
  std::string noteName(const DeliveryAction& action) const;
  std::string lineOf(const DeliveryAction& action) const;
  std::vector<DeliveryOutcome> prepare(const std::vector<DeliveryAction>& actions,
                                       const Progress& progress) const;
  DeliveryOutcome carryOut(const DeliveryAction& action, TodoTxtContents& contents,
                           bool isArchived) const;
  Result<std::set<std::string, std::less<>>> archived() const;
  Result<void> storeFiles(const DeliveryAction& action) const;
  void removeFiles(const DeliveryAction& action) const;

  ContendedFile file_;
  FolderLookout watch_;
};

}  // namespace tasklane
