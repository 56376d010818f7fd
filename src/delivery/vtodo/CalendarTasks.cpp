#include "delivery/vtodo/CalendarTasks.h"

#include <algorithm>
#include <cstdlib>

#include "delivery/vtodo/CalendarText.h"
#include "delivery/vtodo/internal/TaskReader.h"

namespace tasklane {

namespace {

using Component = CalendarText::Component;
using Line = CalendarText::Line;

constexpr int kLowestHighPriority = 4;
constexpr std::size_t kLengthOfDay = 8;  // "20260105"

/// The VTIMEZONE of a name, or nothing.
std::string zoneDefinition(const CalendarText& calendar, const std::string& name) {
  for (const auto& component : calendar.components())
    if (component.is("VTIMEZONE") && calendar.value(component, "TZID") == name)
      return std::string(calendar.textOf(component));
  return {};
}

/// Reads the properties of one task.
class TaskReader {
 public:
  TaskReader(const CalendarText& calendar, const Component& todo, const CalendarValues& values)
      : calendar_(calendar), todo_(todo), values_(values) {}

  CalendarTask task() {
    task_.uid = CalendarText::plainText(calendar_.value(todo_, "UID").value_or(""));
    task_.created = calendar_.value(todo_, "CREATED").value_or("");
    task_.item = std::make_shared<TLXExternalItem>();
    auto& item = *task_.item;
    item.setUuid(task_.uid);
    item.setTitle(CalendarText::plainText(calendar_.value(todo_, "SUMMARY").value_or("")));
    readDates();
    readState();
    for (const std::size_t number : todo_.lines) readRepeated(calendar_.lines()[number]);
    return std::move(task_);
  }

 private:
  /// A day begins with its first second, and ends with its last.
  std::optional<NSDate> moment(const Line* line, const std::string& value,
                               const char* timeOfDay) const {
    if (value.size() == kLengthOfDay) return values_.moment(value + timeOfDay, {}, {});
    const std::string zone = line->parameter("TZID").value_or("");
    const bool isInZone = !zone.empty() && !value.ends_with('Z');
    return values_.moment(value, zone, isInZone ? zoneDefinition(calendar_, zone) : std::string());
  }

  void readDates() {
    auto& item = *task_.item;
    const Line* start = calendar_.find(todo_, "DTSTART");
    const Line* due = calendar_.find(todo_, "DUE");
    const auto duration = calendar_.value(todo_, "DURATION");
    if (due) {
      item.setDueDate(moment(due, std::string(due->value), "T235959"));
    } else if (start && duration) {
      if (const auto end = values_.later(std::string(start->value), *duration))
        item.setDueDate(moment(start, *end, "T000000"));
    }
    if (!start) return;
    // Some programs write the due date here too, which defers nothing.
    const auto begin = moment(start, std::string(start->value), "T000000");
    if (begin && item.dueDate() && *begin >= *item.dueDate()) return;
    item.setDeferDate(begin);
    item.setOnlyBlockedByDeferDate(begin.has_value());
  }

  void readState() {
    auto& item = *task_.item;
    const std::string status = calendar_.value(todo_, "STATUS").value_or("");
    const Line* completed = calendar_.find(todo_, "COMPLETED");
    const auto is = [&status](std::string_view text) {
      return CalendarText::isSameName(status, text);
    };
    item.setCompleted(status.empty() ? completed || number("PERCENT-COMPLETE") == 100
                                     : is("COMPLETED"));
    if (completed) task_.completed = moment(completed, std::string(completed->value), "T000000");
    task_.isCancelled = is("CANCELLED");
    const int priority = number("PRIORITY");
    item.setFlagged(priority >= 1 && priority <= kLowestHighPriority);
    item.setRepeats(calendar_.find(todo_, "RRULE") || calendar_.find(todo_, "RDATE"));
  }

  int number(std::string_view name) const {
    return std::atoi(calendar_.value(todo_, name).value_or("0").c_str());
  }

  void readRepeated(const Line& line) {
    if (line.is("CATEGORIES")) {
      for (auto& category : CalendarText::plainTexts(line.value))
        if (!category.empty()) task_.categories.push_back(std::move(category));
    } else if (line.is("RELATED-TO")) {
      std::string other = CalendarText::plainText(line.value);
      const std::string type = line.parameter("RELTYPE").value_or("PARENT");
      const auto is = [&type](std::string_view text) {
        return CalendarText::isSameName(type, text);
      };
      if (is("PARENT")) {
        task_.parent = std::move(other);
      } else if (is("CHILD")) {
        task_.children.push_back(std::move(other));
      } else if (is("DEPENDS-ON") || is("FINISHTOSTART")) {
        task_.blockers.push_back(std::move(other));
      }
    }
  }

  const CalendarText& calendar_;
  const Component& todo_;
  const CalendarValues& values_;
  CalendarTask task_;
};

}  // namespace

bool isTask(const CalendarText& calendar, const Component& component) {
  return component.is("VTODO") && !calendar.find(component, "RECURRENCE-ID");
}

CalendarTask taskOfComponent(const CalendarText& calendar, const Component& component,
                             const CalendarValues& values) {
  return TaskReader(calendar, component, values).task();
}

Result<std::vector<CalendarTask>> tasksOfCalendar(std::string text, const CalendarValues& values) {
  const auto calendar = CalendarText::parse(std::move(text));
  if (!calendar) return calendar.error();
  std::vector<CalendarTask> tasks;
  for (const auto& component : calendar.value().components()) {
    if (!isTask(calendar.value(), component)) continue;
    CalendarTask task = taskOfComponent(calendar.value(), component, values);
    if (task.uid.empty())
      return NSError{NSError::Kind::Corrupt,
                     "line " + std::to_string(component.first + 1) + ": a task without a UID"};
    tasks.push_back(std::move(task));
  }
  return tasks;
}

}  // namespace tasklane
