#pragma once

#include <string>

#include "common/ShareRequest.h"

namespace tasklane {

/// Whether a word is an address of this program's own scheme.
bool isTasklaneAddress(const std::string& word);

/// The request of an address such as
///
///   tasklane:add?title=Buy%20milk&text=two%20litres&url=https%3A%2F%2Fexample.org%2F
///
/// of which each part may be left out, and which anybody may have written: it names no files, and
/// its web address is one. An error of kind Corrupt says what is wrong with it.
Result<ShareRequest> requestFromTasklaneAddress(const std::string& address);

}  // namespace tasklane
