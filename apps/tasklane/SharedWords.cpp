#include "SharedWords.h"

#include <algorithm>

#include "Command.h"
#include "address/QueryAddress.h"
#include "delivery/Framework.h"
#include "foundation/base/UTF8.h"
#include "foundation/extension/UTType.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/files/NSURL.h"
#include "foundation/images/EncodedImage.h"

namespace tasklane {

namespace {

constexpr const char* kScheme = "tasklane:";
constexpr std::size_t kMostNamesInTitle = 3;

void addLine(std::optional<std::string>& text, const std::string& line) {
  if (!text) text.emplace();
  if (!text->empty() && !text->ends_with('\n')) *text += '\n';
  *text += line;
}

ShareRequest::Attachment attachmentOfAddress(const std::string& address) {
  return {{kUTTypeURL, address, {}, {}, {}}};
}

std::optional<NSURL> addressIn(const std::string& word) {
  auto address = NSURL::URLWithString(word);
  // "10:30.txt" may be a file's name.
  if (address && word.find("://") == word.npos &&
      NSFileManager::defaultManager().fileExistsAtPath(word))
    return {};
  return address;
}

NSError wrong(const std::string& what) { return {NSError::Kind::Corrupt, what}; }

bool isWebAddress(const std::string& text) {
  const auto address = NSURL::URLWithString(text);
  return address && (address->scheme() == "http" || address->scheme() == "https");
}

}  // namespace

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

bool isTasklaneAddress(const std::string& word) { return word.starts_with(kScheme); }

Result<ShareRequest> requestFromTasklaneAddress(const std::string& address) {
  const auto read = frameworkFunction("address", "tasklane_read_query_address");
  if (!read) return read.error();
  Result<QueryAddress> query{QueryAddress{}};
  reinterpret_cast<ReadQueryAddress>(read.value())(address, query);
  if (!query) return query.error();
  if (query.value().name != "add")
    return wrong("it asks for \"" + oneLine(query.value().name) +
                 "\", and only tasklane:add?title=…&text=…&url=… is known");
  ShareRequest request;
  auto& item = request.items.emplace_back();
  std::optional<std::string> url;
  for (const auto& [key, value] : query.value().values) {
    auto* const part = key == "title"  ? &item.title
                       : key == "text" ? &item.text
                       : key == "url"  ? &url
                                       : nullptr;
    if (!part)
      return wrong("it has \"" + oneLine(key) + "\", and only title, text and url are known");
    if (*part) return wrong("it has " + key + " twice");
    if (utf8::firstInvalid(value)) return wrong("its " + key + " is not encoded as UTF-8");
    if (!value.empty()) *part = value;
  }
  if (url && !isWebAddress(*url))
    return wrong("its url is \"" + oneLine(*url) +
                 "\", and only http and https addresses are taken");
  if (url && item.text) addLine(item.text, "");
  if (url) item.attachments.push_back(attachmentOfAddress(*url));
  return request;
}

}  // namespace tasklane
