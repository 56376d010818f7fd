#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "delivery/Destination.h"

/// Tasks in Taskwarrior's own exchange format (https://taskwarrior.org/docs/design/task/): a JSON
/// object for each, with all that the program keeps of it. Nothing here touches the disk.
namespace tasklane::taskwarrior {

using Task = nlohmann::json;

/// An identifier as Taskwarrior writes it, in lower case; none when it is no UUID. Published items
/// have it in upper case, as all identifiers here.
std::optional<std::string> uuidOf(const std::string& identifier);

/// The tasks of an export. Bytes that are no UTF-8 come as U+FFFD; whether there were some is told.
struct Export {
  std::vector<Task> tasks;
  bool hasBrokenText = false;
};
Result<Export> tasksOfExport(std::string text);

/// A new task; attachments are named by where they lie in a folder.
Task newTask(const DeliveryAction& action, const std::string& attachmentFolder);

/// What an action makes of a task, or the reason why it cannot; whether it is another one then.
struct Applied {
  bool isChanged = false;
  std::string refusal;
};
Applied apply(const DeliveryAction& action, Task& task);

/// Makes an exported task one that can be imported again: without what is computed.
void removeComputed(Task& task);
/// Whether a task is still as it was made; times apart.
bool isStill(Task task, Task asMade);
void markDeleted(Task& task, NSDate when);

/// Open tasks, and those that were completed since a moment.
ListContents published(const std::vector<Task>& tasks, NSDate completedSince);

/// "20261123T080000Z"
std::string timeText(NSDate moment);

std::vector<std::string> losses(const DeliveryAction& action);

}  // namespace tasklane::taskwarrior
