#include "Command.h"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "common/JSONFromPlist.h"
#include "common/OutOfMemory.h"
#include "foundation/base/NSLog.h"
#include "foundation/base/UTF8.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/property-lists/PropertyListLookup.h"
#include "shared-store/TLXExternalItem.h"

namespace tasklane {

using nlohmann::json;

void print(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); }

void finishOutput(const char* sentence) {
  if (std::fflush(stdout) != 0 || std::ferror(stdout))
    throw Failure{ExitCode::WriteFailed, sentence};
}

void finishNews(const char* sentence) {
  if (std::fflush(stdout) == 0 && !std::ferror(stdout)) return;
  NSLog(std::string("tasklane: ") + sentence);
  // What is left in the buffer must not fail once more when the program ends.
  if (!std::freopen("/dev/null", "w", stdout)) std::clearerr(stdout);
}

std::string textOf(const json& value) {
  return value.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

void printJSON(const json& value) { print(textOf(value)); }

namespace {

/// Whether a terminal obeys a character instead of showing it: controls, line separators, and what
/// turns the direction of the text after it.
bool actsOnTerminal(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c < 0xA0) || c == 0x2028 || c == 0x2029 ||
         (c >= 0x202A && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}

}  // namespace

std::string oneLine(std::string_view text) {
  std::string line;
  for (std::size_t at = 0; at < text.size();) {
    const utf8::Character character = utf8::characterAt(text, at);
    utf8::append(line, actsOnTerminal(character.codePoint) ? U' ' : character.codePoint);
    at += character.length;
  }
  while (line.ends_with(' ')) line.pop_back();
  return line;
}

json JSONFromItem(const PropertyList& item) {
  json object = JSONFromPlist(item);
  if (!object.is_object()) return object;
  for (const std::string key : {"due", "defer", "completed"}) {
    const auto* text = stringAt(&item, key);
    if (!text) continue;
    const auto date = TLXExternalItem::sharedDateFormatter().dateFromString(*text);
    if (date) object[key + "Date"] = JSONFromDate(*date);
  }
  const auto* children = arrayAt(&item, "children");
  if (!children) return object;
  json& list = object["children"] = json::array();
  for (const auto& child : *children) list.push_back(JSONFromItem(child));
  return object;
}

void requireContainer() {
  const auto container = TLXPlistPresenter::sharedContainer();
  if (!container)
    throw Failure{ExitCode::NoContainer, "Where the shared files lie cannot be found out: " +
                                             container.error().description + "."};
  const auto made =
      NSFileManager::defaultManager().createDirectoryAtPath(container.value().path(), true);
  if (made) return;
  throw Failure{ExitCode::NoContainer,
                "The folder of the shared files cannot be had (" + made.error().description +
                    "); make its place writable, or name another in TASKLANE_GROUP_CONTAINERS."};
}

namespace {

/// For an error of waiting for others; none for another one.
std::optional<Failure> failureOfWaiting(const NSError& error) {
  if (error.kind == NSError::Kind::Interrupted)
    return Failure{ExitCode::Cancelled, "Nothing was done: " + error.description + "."};
  if (error.kind != NSError::Kind::Busy) return std::nullopt;
  return Failure{ExitCode::Busy, "Nothing was done: " + error.description +
                                     "; end that process or let it go on, and try again."};
}

}  // namespace

void requireFree(const TLXPlistPresenter& presenter) {
  if (presenter.lastReading()) return;
  if (auto failure = failureOfWaiting(presenter.lastReading().error())) throw *failure;
}

void requireReadable(const TLXPlistPresenter& presenter) {
  requireFree(presenter);
  if (presenter.lastReading()) return;
  const NSError& error = presenter.lastReading().error();
  throw Failure{exitCodeForInputError(error), "The file " + presenter.url().path() +
                                                  " cannot be used: " + error.description + "."};
}

std::optional<Failure> failureOfLastChange(const TLXPlistPresenter& presenter) {
  if (presenter.lastChange()) return std::nullopt;
  const NSError& error = presenter.lastChange().error();
  if (auto failure = failureOfWaiting(error)) return failure;
  return Failure{ExitCode::WriteFailed, "Nothing was changed: " + error.description + "."};
}

void changeSharedFile(const std::shared_ptr<TLXPlistPresenter>& presenter,
                      const std::function<void()>& change,
                      const std::function<void(const PropertyList& contents)>& look) {
  requireFree(*presenter);
  presenter->performCoordinatedChange([&] {
    change();
    if (look && presenter->lastChange() && presenter->plist()) look(*presenter->plist());
  });
  if (auto failure = failureOfLastChange(*presenter)) throw *failure;
  OutOfMemory::changeIsSaved();
}

}  // namespace tasklane
