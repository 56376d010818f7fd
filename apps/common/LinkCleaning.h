#pragma once

#include <string>
#include <vector>

#include "common/ShareRequest.h"

namespace tasklane {

/// The address without the keys of its query that are known to tell who has followed a link
/// (TrackingParameters.def); all else of it stays byte for byte. The removed keys are appended to
/// the list.
std::string addressWithoutTracking(const std::string& address, std::vector<std::string>& removed);

/// The same for every web address of a request: links, pages, and those inside titles and texts.
/// Answers a sentence that names the removed keys, empty where there was none.
std::string removeTracking(ShareRequest& request);

/// Takes a web address that stands alone at the end of a shared text for the item's link: "title,
/// blank line, address" becomes a title and a link. A text that would leave no title, and one whose
/// address has other words about it, stays as it is.
void sortOutLink(ShareRequest::Item& item);

}  // namespace tasklane
