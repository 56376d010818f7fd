#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "delivery/Destination.h"
#include "delivery/caldav/CalendarAccount.h"
#include "delivery/caldav/CalendarDelivery.h"

namespace tasklane {

/// The task lists of a person on a CalDAV server (RFC 4791). A list is a project; a new task
/// without one goes to the list that was chosen, the inbox. A task's uuid is its UID and names its
/// resource. What the server was last seen to hold is kept on this computer, so that it is asked
/// for what has changed alone.
class CalDAVDestination : public Destination {
 public:
  struct Settings {
    CalendarAccount::Settings account;
    /// The chosen list: its title, its address or the last part of that; empty for the best one.
    std::string list;
    /// Between two looks at the server.
    std::chrono::seconds pause{120};
  };
  explicit CalDAVDestination(Settings settings);

  std::string description() const override;
  Result<std::vector<ListContainer>> lists() override;
  std::map<std::string, std::string> choices() const override;
  /// Whoever changes a task on the server names the version that it knows.
  bool canBeWrittenBack() const override { return false; }
  std::vector<DeliveryOutcome> carryOut(const std::vector<DeliveryAction>& actions,
                                        const Progress& progress) override;
  std::vector<std::string> losses(const DeliveryAction& action) const override;
  Result<std::optional<std::string>> stamp() override;
  Result<ListContents> contents() override;
  ListWatch watch() override;
  DeliveryOutcome takeBack(const DeliveryAction& action) override;

 private:
  using Clock = std::chrono::steady_clock;
  /// Of those that the account knows; an error says which there are instead.
  Result<const CalendarList*> chosenList() const;
  const CalendarList* listOfProject(const ListContainer& project) const;
  std::optional<CalendarTarget> targetOf(const DeliveryAction& action) const;
  /// An error as long as the server asks not to be asked.
  Result<WebDAVClient*> client();
  Result<void> findLists();
  /// Carries out what it can, and says why the rest waits.
  std::string deliver(CalendarDelivery& delivery);

  Settings settings_;
  CalendarAccount account_;
  std::optional<Clock::time_point> notBefore_;
};

}  // namespace tasklane
