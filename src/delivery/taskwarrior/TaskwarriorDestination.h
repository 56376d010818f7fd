#pragma once

#include <string>
#include <vector>

#include "delivery/Destination.h"
#include "delivery/FolderLookout.h"
#include "delivery/taskwarrior/TaskProgram.h"

namespace tasklane {

/// The person's Taskwarrior, read and changed by its own program alone; of its data files only
/// sizes and times are looked at, and they are flushed to disk. The uuid of an action is the task's
/// own, in lower case there.
class TaskwarriorDestination : public Destination {
 public:
  /// The settings file and the data folder are whole paths, or empty: those of the person then.
  TaskwarriorDestination(const std::string& settings, const std::string& data);

  std::string description() const override { return description_; }
  Result<std::vector<ListContainer>> lists() override;
  std::vector<DeliveryOutcome> carryOut(const std::vector<DeliveryAction>& actions,
                                        const Progress& progress) override;
  std::vector<std::string> losses(const DeliveryAction& action) const override;
  Result<std::optional<std::string>> stamp() override;
  Result<ListContents> contents() override;
  ListWatch watch() override;
  DeliveryOutcome takeBack(const DeliveryAction& action) override;

 private:
  class Batch;
  Result<void> flush() const;
  Result<void> checkPlace(std::size_t bytes) const;
  Result<std::vector<std::string>> dataFiles() const;

  TaskProgram program_;
  std::string description_;
  FolderLookout watch_{FolderLookout::Changes::EachWrite};
};

}  // namespace tasklane
