#pragma once

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tasklane {

/// What a WebDAV server says of one resource: the properties that this program asks for (RFC 4918,
/// RFC 4791, RFC 5397, RFC 6578, RFC 3744, and the calendar server's ctag).
struct DAVResource {
  std::string address;  ///< whole
  /// Of the resource as a whole, where the answer has one; properties that were not found are left
  /// out.
  long status = 200;

  std::optional<std::string> displayName;
  std::optional<std::string> etag;
  std::optional<std::string> ctag;
  std::optional<std::string> syncToken;
  std::optional<std::string> calendarData;
  std::optional<std::uint64_t> maxResourceSize;  ///< bytes
  std::optional<std::string> principal;          ///< of who is logged in, a whole address
  std::vector<std::string> calendarHomes;        ///< whole addresses
  bool isCalendar = false;
  /// "VTODO", "VEVENT"; none where the server does not say, and then all are.
  std::optional<std::set<std::string>> components;
  /// None where the server does not say.
  std::optional<bool> isWritable;
};

/// The answer to PROPFIND and REPORT.
struct Multistatus {
  std::vector<DAVResource> resources;
  std::string syncToken;  ///< empty for none
};

}  // namespace tasklane
