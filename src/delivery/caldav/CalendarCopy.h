#pragma once

#include <map>
#include <string>
#include <vector>

#include "delivery/caldav/CalendarDiscovery.h"

namespace tasklane {

/// What a server was last seen to hold, so that only what has changed has to be asked for. It may
/// be deleted at any time: then everything is asked for again.
struct CalendarCopy {
  struct Resource {
    std::string etag;
    std::string uid;   ///< of the task in it; empty when it holds other things
    std::string text;  ///< without files; for reading alone
  };
  struct List {
    CalendarList properties;
    /// How far the resources below are those of the server: "" for none of them.
    std::string state;
    std::string syncToken;
    std::map<std::string, Resource> resources;  ///< by their addresses
  };
  std::string server;  ///< the address that a mail domain stood for
  std::vector<CalendarPlace> places;
  std::vector<List> lists;

  /// The copy that was kept for the key, or an empty one.
  static CalendarCopy load(const std::string& key);
  /// Failures do no harm.
  void save(const std::string& key) const;
};

}  // namespace tasklane
