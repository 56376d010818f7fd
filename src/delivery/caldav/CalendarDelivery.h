#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "delivery/Destination.h"
#include "delivery/caldav/CalendarAccount.h"
#include "delivery/vtodo/CalendarTasks.h"

namespace tasklane {

/// Where a new task goes.
struct CalendarTarget {
  CalendarList list;
  /// The project's name where no list is called so, or empty.
  std::string category;
};

/// One series of actions on its way to a calendar server. New tasks go first, many at a time; then
/// changes, in the order of each task's own. A task is stored under its uid where there is nothing
/// yet, and changed where nobody else has changed it since it was read, so that whatever ends this
/// at any moment, a repetition finds what was done.
class CalendarDelivery {
 public:
  using Progress = Destination::Progress;

  /// All outlive it.
  CalendarDelivery(CalendarAccount& account, WebDAVClient& client,
                   const std::vector<DeliveryAction>& actions, const Progress& progress);

  /// Both answer about the actions of their kind.
  void storeNewTasks(const std::function<CalendarTarget(const DeliveryAction&)>& targetOf);
  void changeTasks(const CalendarValues& values);

  /// Those that were not come to wait, for the reason that is given or known.
  std::vector<DeliveryOutcome> outcomes(const std::string& reason);
  bool isStopped() const { return !problem_.empty(); }
  bool hasChanges() const;
  /// Until when the server asks not to be asked again.
  std::optional<std::chrono::seconds> retryAfter() const { return retryAfter_; }

 private:
  struct NewTask;
  struct Change;
  using Next = WebDAVClient::Next;

  void store(std::vector<NewTask>& tasks);
  void compareWithOurs(std::vector<NewTask>& tasks);
  Next answerOfStoring(NewTask& task, const WebDAVResponse& response);
  void read(std::vector<Change>& changes);
  void apply(Change& change, const CalendarValues& values);
  void storeNextOccurrences(std::vector<Change>& changes);
  void storeChanged(std::vector<Change>& changes);

  void end(std::size_t index, DeliveryOutcome outcome);
  /// The same for all actions of a task.
  void end(Change& change, const DeliveryOutcome& outcome);
  void endAsApplied(Change& change);
  /// The outcome of what the server did not do; notes what holds for the others too.
  DeliveryOutcome failure(const WebDAVResponse& response);
  Next next() const { return isStopped() ? Next::Stop : Next::GoOn; }

  CalendarAccount& account_;
  WebDAVClient& client_;
  const std::vector<DeliveryAction>& actions_;
  const Progress& progress_;
  std::vector<std::optional<DeliveryOutcome>> outcomes_;
  std::size_t done_ = 0;
  int failuresInTurn_ = 0;
  std::string problem_;
  std::optional<std::chrono::seconds> retryAfter_;
};

}  // namespace tasklane
