#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <unordered_map>
#include <vector>

#include "delivery/caldav/CalendarCopy.h"
#include "delivery/caldav/WebDAVClient.h"

namespace tasklane {

/// The identifier of the first task in a text; empty where there is none.
std::string uidOfCalendar(const std::string& text);

/// The lists of one person on a calendar server, with a copy of what they hold, which is kept on
/// this computer between runs. One thread.
class CalendarAccount {
 public:
  struct Settings {
    /// "https://…", or a mail address or domain, whose calendar server the DNS knows.
    std::string address;
    WebDAVClient::Settings client;  ///< without its address
  };
  explicit CalendarAccount(Settings settings);
  ~CalendarAccount();

  /// Made, and its server found, at the first call.
  Result<WebDAVClient*> client();

  /// The address of the settings as a whole one; empty where only the DNS knows it.
  const std::string& givenAddress() const { return givenAddress_; }

  /// As they were last seen; none when they never were.
  const std::vector<CalendarCopy::List>& lists() const { return copy_.lists; }

  /// Asks the server for its lists and their states.
  Result<void> findLists();
  /// A text that says all of these, equal as long as nothing has changed; none when only reading
  /// tells. Of the last findLists().
  std::optional<std::string> state() const;

  /// Asks for everything that has changed in the lists since the last time.
  Result<void> readTasks();

  /// Of those in the copy, by their uids.
  std::unordered_map<std::string, std::string> addressesOfTasks() const;
  /// Notes what has been stored there.
  void noteTask(const std::string& address, const std::string& etag, const std::string& text);
  void noteWithoutTask(const std::string& address);

  /// Keeps the copy on the disk if it has changed.
  void keepCopy();

 private:
  using Resources = std::map<std::string, CalendarCopy::Resource>;
  /// What has changed in a list: resources with their ETags, and those that are gone.
  struct Changes {
    std::map<std::string, std::string> etags;
    std::set<std::string> gone;
    std::string syncToken;
  };
  Result<std::string> addressOfServer();
  Result<void> findPlaces();
  Result<void> readTasks(CalendarCopy::List& list);
  std::optional<Result<Changes>> changesByToken(const CalendarCopy::List& list);
  Result<Changes> changesByComparison(const CalendarCopy::List& list);
  Result<void> fetch(const std::string& list, const Changes& changes, Resources& resources);
  /// Of a list or of a task in it.
  CalendarCopy::List* listOfAddress(const std::string& address);

  Settings settings_;
  std::string givenAddress_;
  std::string key_;
  std::unique_ptr<WebDAVClient> client_;
  CalendarCopy copy_;
  bool isChanged_ = false;
};

}  // namespace tasklane
