#include "delivery/TaskTexts.h"

#include <algorithm>
#include <cctype>
#include <ctime>
#include <utility>

namespace tasklane {

std::string dayText(NSDate moment) {
  const auto seconds = static_cast<std::time_t>(moment.time_since_epoch().count());
  // A batch asks for one second thousands of times, and the zone's file is looked at each time.
  thread_local std::pair<std::time_t, std::string> last;
  if (last.first == seconds && !last.second.empty()) return last.second;
  std::tm fields{};
  ::tzset();
  ::localtime_r(&seconds, &fields);
  char text[32];
  last = {seconds, std::string(text, std::strftime(text, sizeof text, "%Y-%m-%d", &fields))};
  return last.second;
}

std::string utcText(NSDate moment, const char* pattern) {
  const auto seconds = static_cast<std::time_t>(moment.time_since_epoch().count());
  std::tm fields{};
  ::gmtime_r(&seconds, &fields);
  char text[32];
  return {text, std::strftime(text, sizeof text, pattern, &fields)};
}

std::optional<NSDate> momentOfUTCText(const std::string& text, const char* pattern) {
  std::tm fields{};
  if (!::strptime(text.c_str(), pattern, &fields)) return std::nullopt;
  return NSDate(NSTimeInterval(static_cast<double>(::timegm(&fields))));
}

std::string wordOfName(std::string name, std::string_view separators) {
  for (char& c : name)
    if (static_cast<unsigned char>(c) <= ' ' || c == 0x7F ||
        separators.find(c) != std::string_view::npos)
      c = '_';
  return name;
}

std::string nameOfWord(std::string word) {
  std::replace(word.begin(), word.end(), '_', ' ');
  return word;
}

bool isPlainIdentifier(const std::string& text) {
  return !text.empty() && text.size() <= 200 && text.front() != '.' &&
         std::all_of(text.begin(), text.end(), [](unsigned char c) {
           return std::isalnum(c) || c == '-' || c == '_' || c == '.';
         });
}

}  // namespace tasklane
