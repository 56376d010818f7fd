#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "delivery/caldav/WebDAVClient.h"
#include "foundation/base/NSError.h"

namespace tasklane {

/// A collection of tasks on a server.
struct CalendarList {
  std::string address;  ///< whole, ends in "/"
  std::string title;
  /// Of RFC 6578; empty where the server knows nothing of it.
  std::string syncToken;
  /// Equal where nothing in the list has changed; empty where only reading tells.
  std::string state;
  std::optional<std::uint64_t> maxResourceSize;  ///< bytes
  bool isWritable = true;
  bool isForTasksAlone = true;
};

/// Where lists are: a collection of lists, or one list.
struct CalendarPlace {
  std::string address;
  bool isList = false;
};

/// Why a server could not be asked, as one sentence for a person.
NSError errorOfResponse(const WebDAVResponse& response);

/// Finds where the lists of whoever logs in are, from an address of the server (RFC 6764, RFC 5397,
/// RFC 4791): a list, a home, a principal, or merely the host.
Result<std::vector<CalendarPlace>> placesOfLists(WebDAVClient& client, const std::string& address);

/// The lists there that hold tasks, as they are now.
Result<std::vector<CalendarList>> listsInPlaces(WebDAVClient& client,
                                                const std::vector<CalendarPlace>& places);

/// A request for properties, "<D:getetag/>"; D, C and S stand for WebDAV, CalDAV and the calendar
/// server's own.
WebDAVRequest propertiesRequest(const std::string& address, int depth,
                                const std::string& properties);
/// The same for a report: its document, with the same prefixes declared by kCalendarNamespaces.
WebDAVRequest reportRequest(const std::string& address, int depth, const std::string& report);
extern const char* const kCalendarNamespaces;

}  // namespace tasklane
