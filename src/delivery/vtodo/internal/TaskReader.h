#pragma once

#include "delivery/vtodo/CalendarTasks.h"
#include "delivery/vtodo/CalendarText.h"

namespace tasklane {

/// A VTODO that is no single occurrence of a repeating one.
bool isTask(const CalendarText& calendar, const CalendarText::Component& component);
CalendarTask taskOfComponent(const CalendarText& calendar, const CalendarText::Component& component,
                             const CalendarValues& values);

}  // namespace tasklane
