#pragma once

#include <string>
#include <vector>

#include "common/ShareRequest.h"

namespace tasklane {

/// Adds to an item what programs name as things to share: paths of files and folders, and addresses
/// (file addresses among them). Pictures are attached. Of another file its name becomes the title,
/// where there is none, and its address a line of the text, for the sheet takes no other files. An
/// error of kind FileNotFound for a path at which nothing is.
Result<void> addSharedWords(const std::vector<std::string>& words, ShareRequest::Item& item);

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
