#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "delivery/Destination.h"
#include "delivery/vtodo/CalendarValues.h"
#include "foundation/base/NSError.h"

namespace tasklane {

/// Tasks as calendar programs exchange them: a VTODO (RFC 5545, 3.6.2) in a text of its own, which
/// is a file of a folder or a resource of a server. Main thread.
///
/// A task is flagged when its PRIORITY is high (1 to 4). Flagging one of a lower priority keeps
/// that in X-TASKLANE-PRIORITY until it is unflagged.
///
/// A repeating task that is completed stays completed, without its repetition, and its next
/// occurrence is a task of its own; so completing it again changes nothing.

/// A task as it stands in a text.
struct CalendarTask {
  std::string uid;
  /// As it is to be published, without children, subtitle, inbox, and blocked by others.
  std::shared_ptr<TLXExternalItem> item;
  std::vector<std::string> categories;
  std::string parent;                 ///< the uid of the task that it is a part of, or empty
  std::vector<std::string> children;  ///< the uids of those that it names as its parts
  std::vector<std::string> blockers;  ///< the uids of those that have to be done before it
  std::string created;                ///< a text that sorts by time
  std::optional<NSDate> completed;
  bool isCancelled = false;
};

/// The tasks of a text, in their order, without single occurrences of repeating ones. None when it
/// holds other things, such as events.
Result<std::vector<CalendarTask>> tasksOfCalendar(std::string text, const CalendarValues& values);

/// The tasks of a list that people have.
struct ListOfTasks {
  ListContainer list;
  bool isInbox = false;  ///< what a person has put nowhere yet lies in it
  std::vector<CalendarTask> tasks;
};
/// What is to be published of several lists: the lists as projects, categories as contexts, and the
/// tasks that are open or were completed today, the oldest first. Without a stamp.
ListContents contentsOfLists(std::vector<ListOfTasks> lists);

/// A file that goes with a task: its bytes, or where it lies.
struct CalendarAttachment {
  std::string name;
  std::string address;  ///< empty: the bytes go into the text
  std::string bytes;
};
/// A new task's text. Equal actions have equal texts. The category is one besides its context, or
/// empty.
std::string calendarOfNewTask(const DeliveryAction& action,
                              const std::vector<CalendarAttachment>& attachments,
                              const std::string& category = {});
/// What of the title and the note of a new task cannot be expressed so, one sentence each.
std::vector<std::string> lossesInCalendar(const DeliveryAction& action);

/// What an action other than New makes of a text.
struct CalendarChange {
  /// The text afterwards. Only properties that the action concerns are others, and those that tell
  /// of a change (DTSTAMP, LAST-MODIFIED, SEQUENCE).
  std::string text;
  /// The task was so already, and the text is the given one.
  bool isRepetition = false;
  /// The next occurrence of a repeating task that was completed: to be stored, where the list has
  /// no task of its uid yet, before the text is. The same each time.
  struct Next {
    std::string uid;
    std::string text;
  };
  std::optional<Next> next;
};
/// FileNotFound when the text has no task of the action's uuid.
Result<CalendarChange> changedCalendar(std::string text, const DeliveryAction& action,
                                       const CalendarValues& values);

}  // namespace tasklane
