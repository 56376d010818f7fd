#include "Command.h"

#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

#include "foundation/NSFileManager.h"
#include "foundation/NSPropertyListSerialization.h"

namespace tasklane {

using nlohmann::json;

ExitCode exitCodeForInputError(const NSError& error) {
  switch (error.kind) {
    case NSError::Kind::FileNotFound:
    case NSError::Kind::NotPermitted:
    case NSError::Kind::Io:
      return ExitCode::MissingInput;
    default:
      return ExitCode::BadData;
  }
}

void print(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); }

void finishOutput() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout))
    throw Failure{ExitCode::WriteFailed, "The output could not be written; make room for it."};
}

namespace {

std::string base64(const PropertyList::Data& data) {
  static constexpr char kDigits[] =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < data.size(); i += 3) {
    unsigned bits = 0;
    for (std::size_t j = i; j < i + 3; ++j)
      bits = bits << 8 | (j < data.size() ? std::to_integer<unsigned>(data[j]) : 0);
    const std::size_t digits = std::min<std::size_t>(data.size() - i, 3) + 1;
    for (std::size_t j = 0; j < 4; ++j)
      text += j < digits ? kDigits[bits >> (18 - 6 * j) & 63] : '=';
  }
  return text;
}

std::string dateText(NSDate date) {
  const double seconds = date.time_since_epoch().count();
  if (!(seconds > -6e10 && seconds < 3e11)) return std::to_string(seconds);
  const auto whole = static_cast<std::time_t>(seconds);
  std::tm fields{};
  ::gmtime_r(&whole, &fields);
  char text[64];
  return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &fields)};
}

/// The document that the value would be, or nothing; equal for values that a file cannot tell
/// apart.
std::string document(const PropertyListObject& plist) {
  if (!plist) return {};
  const auto data = NSPropertyListSerialization::dataWithPropertyList(*plist);
  return data ? data.value() : std::string();
}

}  // namespace

json JSONFromPlist(const PropertyList& plist) {
  switch (plist.type()) {
    case PropertyList::Type::Dictionary: {
      json object = json::object();
      for (const auto& [key, value] : *plist.dictionary()) object[key] = JSONFromPlist(value);
      return object;
    }
    case PropertyList::Type::Array: {
      json array = json::array();
      for (const auto& value : *plist.array()) array.push_back(JSONFromPlist(value));
      return array;
    }
    case PropertyList::Type::String:
      return *plist.string();
    case PropertyList::Type::Boolean:
      return *plist.boolean();
    case PropertyList::Type::Real:
      return *plist.real();
    case PropertyList::Type::Integer:
      if (const auto integer = plist.int64()) return *integer;
      return *plist.uint64();
    case PropertyList::Type::Date:
      return dateText(*plist.date());
    case PropertyList::Type::Data:
      return base64(*plist.data());
  }
  return nullptr;
}

void printJSON(const json& value) {
  print(value.dump(2, ' ', false, json::error_handler_t::replace) + "\n");
}

std::string oneLine(std::string_view text) {
  std::string line(text);
  for (char& c : line)
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7F) c = ' ';
  while (line.ends_with(' ')) line.pop_back();
  return line;
}

void requireContainer() {
  auto& manager = NSFileManager::defaultManager();
  const auto group = manager.groupContainer("group.com.kestrelworks.Tasklane");
  const auto& url = TLXPlistPresenter::sharedContainerURL();
  const auto made = group && url ? manager.createDirectoryAtPath(url->path(), true)
                    : group      ? Result<void>()
                                 : Result<void>(group.error());
  if (made && url) return;
  throw Failure{ExitCode::NoContainer,
                "The folder of the shared files cannot be made" +
                    (made ? "" : " (" + made.error().description + ")") +
                    "; make its place writable, or name another in TASKLANE_GROUP_CONTAINERS."};
}

void requireReadable(const TLXPlistPresenter& presenter) {
  const std::string path = presenter.url().path();
  if (!presenter.plist() && NSFileManager::defaultManager().fileExistsAtPath(path))
    throw Failure{ExitCode::BadData,
                  "The file " + path + " cannot be read as a property list; see above."};
}

void changeAndReadBack(const std::shared_ptr<TLXPlistPresenter>& presenter,
                       const std::function<void()>& change,
                       const std::function<void(const PropertyList& contents)>& check) {
  presenter->performCoordinatedChange([&] {
    change();
    // A presenter that remembers nothing knows only what is on the disk.
    const auto found = TLXPlistPresenter::makeWithURL(presenter->url())->plist();
    if (!found || document(found) != document(presenter->plist()))
      throw Failure{ExitCode::WriteFailed, "The file " + presenter->url().path() +
                                               " could not be written; nothing was changed. Make "
                                               "room for it, or make it writable."};
    if (check) check(*found);
  });
}

}  // namespace tasklane
