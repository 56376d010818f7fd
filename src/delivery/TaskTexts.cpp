#include "delivery/TaskTexts.h"

#include <algorithm>
#include <cctype>
#include <ctime>

namespace tasklane {

std::string dayText(NSDate moment) {
  const auto seconds = static_cast<std::time_t>(moment.time_since_epoch().count());
  std::tm fields{};
  ::tzset();
  ::localtime_r(&seconds, &fields);
  char text[32];
  return {text, std::strftime(text, sizeof text, "%Y-%m-%d", &fields)};
}

bool isPlainIdentifier(const std::string& text) {
  return !text.empty() && text.size() <= 200 && text.front() != '.' &&
         std::all_of(text.begin(), text.end(), [](unsigned char c) {
           return std::isalnum(c) || c == '-' || c == '_' || c == '.';
         });
}

}  // namespace tasklane
