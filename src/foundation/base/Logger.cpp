#include "foundation/base/Logger.h"

#include <charconv>
#include <cstdlib>

#include "foundation/base/NSLog.h"

namespace tasklane {
namespace {

int configuredLevel(std::string_view name) {
  const char* const variable = std::getenv("TASKLANE_LOG");
  std::string_view rest = variable ? variable : "";
  while (!rest.empty()) {
    const std::size_t comma = rest.find(',');
    const std::string_view entry = rest.substr(0, comma);
    rest = comma == std::string_view::npos ? std::string_view() : rest.substr(comma + 1);
    const std::size_t equals = entry.find('=');
    if (equals == std::string_view::npos || entry.substr(0, equals) != name) continue;
    int level = 0;
    std::from_chars(entry.data() + equals + 1, entry.data() + entry.size(), level);
    return level;
  }
  return 0;
}

}  // namespace

Logger::Logger(std::string name) : name_(std::move(name)), level_(configuredLevel(name_)) {}

void Logger::log(int level, std::string_view line) const {
  if (enabled(level)) NSLog(line);
}

}  // namespace tasklane
