#include "delivery/vtodo/CalendarValues.h"

#include "delivery/Framework.h"

namespace tasklane {

Result<const CalendarValues*> CalendarValues::shared() {
  static const auto make = frameworkFunction("calendar", "tasklane_calendar_values");
  if (!make) return make.error();
  return reinterpret_cast<const CalendarValues* (*)()>(make.value())();
}

}  // namespace tasklane
