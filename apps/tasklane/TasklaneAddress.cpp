#include "TasklaneAddress.h"

#include "Command.h"
#include "address/QueryAddress.h"
#include "common/SharedWords.h"
#include "delivery/Framework.h"
#include "foundation/base/UTF8.h"
#include "foundation/files/NSURL.h"

namespace tasklane {

namespace {

constexpr const char* kScheme = "tasklane:";

NSError wrong(const std::string& what) { return {NSError::Kind::Corrupt, what}; }

bool isWebAddress(const std::string& text) {
  const auto address = NSURL::URLWithString(text);
  return address && (address->scheme() == "http" || address->scheme() == "https");
}

}  // namespace

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
