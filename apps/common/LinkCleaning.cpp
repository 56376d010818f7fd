#include "common/LinkCleaning.h"

#include <algorithm>
#include <string_view>

#include "foundation/extension/UTType.h"
#include "foundation/files/NSURL.h"

namespace tasklane {

namespace {

constexpr std::string_view kTrackingParameters[] = {
#define TRACKING_PARAMETER(name) name,
#include "common/TrackingParameters.def"
#undef TRACKING_PARAMETER
};
constexpr std::string_view kSpace = " \t\r\n\f\v";

bool isTracking(std::string_view key) {
  return std::any_of(
      std::begin(kTrackingParameters), std::end(kTrackingParameters), [&](std::string_view known) {
        return known.ends_with('*') ? key.starts_with(known.substr(0, known.size() - 1))
                                    : key == known;
      });
}

bool isWebAddress(std::string_view text) {
  return (text.starts_with("https://") || text.starts_with("http://")) &&
         text.find_first_of(kSpace) == std::string_view::npos &&
         NSURL::URLWithString(std::string(text));
}

/// The end of an address that begins at a place in a text; what closes a sentence is not part of
/// it.
std::size_t endOfAddress(std::string_view text, std::size_t start) {
  const auto end = std::min(text.find_first_of(" \t\r\n\f\v<>\"", start), text.size());
  const auto last = text.substr(start, end - start).find_last_not_of(".,;:!?)]}'");
  return last == std::string_view::npos ? end : start + last + 1;
}

std::string textWithoutTracking(const std::string& text, std::vector<std::string>& removed) {
  std::string result;
  std::size_t done = 0;
  for (auto at = text.find("http"); at != std::string::npos; at = text.find("http", at + 1)) {
    const auto end = endOfAddress(text, at);
    const std::string address = text.substr(at, end - at);
    if (at < done || !isWebAddress(address)) continue;
    result += text.substr(done, at - done) + addressWithoutTracking(address, removed);
    done = end;
  }
  return result + text.substr(done);
}

void cleanResults(PropertyList& results, std::vector<std::string>& removed) {
  const auto* url = results.valueForKey("url");
  if (!url || !url->string()) return;
  auto entries = *results.dictionary();
  entries.set("url", addressWithoutTracking(*url->string(), removed));
  results = std::move(entries);
}

}  // namespace

std::string addressWithoutTracking(const std::string& address, std::vector<std::string>& removed) {
  const auto fragment = std::min(address.find('#'), address.size());
  const auto query = address.find('?');
  if (!isWebAddress(address) || query >= fragment) return address;
  std::string kept;
  bool hasRemoved = false;
  for (std::size_t at = query + 1; at <= fragment;) {
    const auto end = std::min({address.find('&', at), fragment});
    const std::string part = address.substr(at, end - at);
    std::string key = part.substr(0, part.find('='));
    if (isTracking(key)) {
      hasRemoved = true;
      removed.push_back(std::move(key));
    } else {
      kept += "&" + part;
    }
    at = end + 1;
  }
  if (!hasRemoved) return address;
  if (!kept.empty()) kept.front() = '?';
  return address.substr(0, query) + kept + address.substr(fragment);
}

std::string removeTracking(ShareRequest& request) {
  std::vector<std::string> removed;
  for (auto& item : request.items) {
    if (item.title) item.title = textWithoutTracking(*item.title, removed);
    if (item.text) item.text = textWithoutTracking(*item.text, removed);
    for (auto& attachment : item.attachments)
      for (auto& kind : attachment) {
        if (kind.url) kind.url = addressWithoutTracking(*kind.url, removed);
        if (kind.results) cleanResults(*kind.results, removed);
      }
  }
  std::string names;
  for (auto name = removed.begin(); name != removed.end(); ++name)
    if (std::find(removed.begin(), name, *name) == name)
      names += (names.empty() ? "" : ", ") + *name;
  return names.empty() ? names : "Removed from addresses, because it only tells who came: " + names;
}

void sortOutLink(ShareRequest::Item& item) {
  if (!item.text) return;
  const std::string& text = *item.text;
  const auto last = text.find_last_not_of(kSpace);
  if (last == std::string::npos) return;
  const auto lineBreak = text.find_last_of('\n', last);
  const auto start = lineBreak == std::string::npos ? 0 : lineBreak + 1;
  std::string address = text.substr(start, last + 1 - start);
  address.erase(0, std::min(address.find_first_not_of(kSpace), address.size()));
  std::string before = text.substr(0, start);
  const auto end = before.find_last_not_of(kSpace);
  const bool isAlone = end == std::string::npos;
  if (!isWebAddress(address) || (isAlone && !item.title)) return;
  if (!item.title) {
    const auto first = before.find_first_not_of(kSpace);
    const auto endOfTitle = before.find_first_of("\r\n", first);
    item.title = before.substr(first, endOfTitle - first);
    before.erase(0, std::min(before.find_first_not_of(kSpace, endOfTitle), before.size()));
  }
  // What stays ends with its line breaks, because a link follows it at once in the note.
  item.text = isAlone || before.empty() ? std::nullopt : std::optional(std::move(before));
  item.attachments.push_back({{kUTTypeURL, std::move(address), {}, {}, {}}});
}

}  // namespace tasklane
