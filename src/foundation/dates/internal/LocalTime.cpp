#include "foundation/dates/internal/LocalTime.h"

#include <cmath>

namespace tasklane {

std::optional<std::tm> localTime(NSDate date) {
  const double seconds = std::floor(date.time_since_epoch().count());
  if (!(std::abs(seconds) < 0x1p62)) return std::nullopt;
  const auto time = static_cast<std::time_t>(seconds);
  std::tm fields{};
  tzset();  // looks at TZ and the zone's file again; localtime_r need not
  if (!localtime_r(&time, &fields)) return std::nullopt;
  return fields;
}

}  // namespace tasklane
