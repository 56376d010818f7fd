#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "delivery/Destination.h"
#include "delivery/caldav/CalendarDiscovery.h"
#include "delivery/vtodo/CalendarTasks.h"

/// The files of new tasks. Those for which a task has room on the server go into its text, in their
/// order; others are copied to a folder of this computer that the task names.
namespace tasklane {

/// How many bytes of text a list leaves for the files of a task.
std::uint64_t roomForFiles(const CalendarList& list, const DeliveryAction& action);

/// The files of a task; an error when one cannot be read or copied.
Result<std::vector<CalendarAttachment>> calendarAttachments(const DeliveryAction& action,
                                                            std::uint64_t room);

/// The names of those that would be copied.
std::vector<std::string> attachmentsKeptHere(const DeliveryAction& action, std::uint64_t room);

std::string folderOfKeptAttachments(const DeliveryAction& action);

}  // namespace tasklane
