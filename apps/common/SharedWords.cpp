#include "common/SharedWords.h"

#include <algorithm>

#include "foundation/extension/UTType.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/files/NSURL.h"
#include "foundation/images/EncodedImage.h"

namespace tasklane {

namespace {

constexpr std::size_t kMostNamesInTitle = 3;

std::optional<NSURL> addressIn(const std::string& word) {
  auto address = NSURL::URLWithString(word);
  // "10:30.txt" may be a file's name.
  if (address && word.find("://") == word.npos &&
      NSFileManager::defaultManager().fileExistsAtPath(word))
    return {};
  return address;
}

}  // namespace

void addLine(std::optional<std::string>& text, const std::string& line) {
  if (!text) text.emplace();
  if (!text->empty() && !text->ends_with('\n')) *text += '\n';
  *text += line;
}

ShareRequest::Attachment attachmentOfAddress(const std::string& address) {
  return {{kUTTypeURL, address, {}, {}, {}}};
}

Result<void> addSharedWords(const std::vector<std::string>& words, ShareRequest::Item& item) {
  std::vector<std::string> addresses, lines, names;
  for (const auto& word : words) {
    const auto address = addressIn(word);
    if (address && !address->isFileURL()) {
      addresses.push_back(word);
      continue;
    }
    const NSURL file = address ? *address : NSURL::fileURLWithPath(word);
    if (EncodedImage::imageWithContentsOfFile(file.path())) {
      item.attachments.push_back({{kUTTypeImage, {}, file.path(), {}, {}}});
      continue;
    }
    if (!NSFileManager::defaultManager().fileExistsAtPath(file.path()))
      return NSError{NSError::Kind::FileNotFound, "there is no file " + file.path()};
    names.push_back(file.lastPathComponent());
    lines.push_back(file.absoluteString());
  }
  if (!item.title && !names.empty()) {
    item.title = names.front();
    for (std::size_t i = 1; i < std::min(names.size(), kMostNamesInTitle); ++i)
      *item.title += ", " + names[i];
    if (names.size() > kMostNamesInTitle) *item.title += ", …";
  }
  // The sheet puts one address straight after another.
  if (addresses.size() > 1) lines.insert(lines.end(), addresses.begin(), addresses.end());
  for (const auto& line : lines) addLine(item.text, line);
  if (addresses.size() == 1) {
    if (item.text) addLine(item.text, "");
    item.attachments.push_back(attachmentOfAddress(addresses.front()));
  }
  return {};
}

}  // namespace tasklane
