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

bool isPlainIdentifier(const std::string& text) {
  return !text.empty() && text.size() <= 200 && text.front() != '.' &&
         std::all_of(text.begin(), text.end(), [](unsigned char c) {
           return std::isalnum(c) || c == '-' || c == '_' || c == '.';
         });
}

}  // namespace tasklane
