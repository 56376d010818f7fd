#pragma once

#include <optional>
#include <string>
#include <vector>

#include "common/ShareRequest.h"

namespace tasklane {

/// Adds to an item what programs name as things to share: paths of files and folders, and addresses
/// (file addresses among them). Pictures are attached. Of another file its name becomes the title,
/// where there is none, and its address a line of the text, for the sheet takes no other files. An
/// error of kind FileNotFound for a path at which nothing is.
Result<void> addSharedWords(const std::vector<std::string>& words, ShareRequest::Item& item);

/// Adds a line to a text, which begins with it where there is none.
void addLine(std::optional<std::string>& text, const std::string& line);

ShareRequest::Attachment attachmentOfAddress(const std::string& address);

}  // namespace tasklane
