#include <algorithm>
#include <cstdlib>
#include <utility>

#include "delivery/vtodo/CalendarTasks.h"
#include "delivery/vtodo/CalendarText.h"
#include "delivery/vtodo/internal/TaskReader.h"
#include "foundation/base/StableHash.h"

namespace tasklane {

namespace {

using Component = CalendarText::Component;

constexpr const char* kKeptPriority = "X-TASKLANE-PRIORITY";
constexpr const char* kFlaggedPriority = "1";

/// The same for the same occurrence, in the form that others have.
std::string uidOfOccurrence(const std::string& uid, const std::string& date) {
  const std::string salted = uid + "\n" + date;
  std::string text = stableHashText(salted) + stableHashText(salted + "\n");
  for (const std::size_t at : {8, 13, 18, 23}) text.insert(at, "-");
  return text;
}

/// "FREQ=DAILY;COUNT=3" as it is from the second occurrence on.
std::string withoutFirst(std::string rule) {
  const auto at = rule.find("COUNT=");
  if (at == std::string::npos) return rule;
  const std::size_t digits = at + 6;
  const std::size_t end = std::min(rule.find(';', digits), rule.size());
  const int count = std::atoi(rule.substr(digits, end - digits).c_str());
  return rule.replace(digits, end - digits, std::to_string(count - 1));
}

/// One task of a text that is being changed.
class TaskChange {
 public:
  TaskChange(const CalendarText& calendar, const Component& todo, const CalendarTask& task,
             const DeliveryAction& action, const CalendarValues& values)
      : calendar_(calendar),
        todo_(todo),
        task_(task),
        now_(CalendarText::utcText(action.moment)),
        values_(values),
        edit_(calendar, todo) {}

  CalendarChange apply(TLXExternalActionType type) {
    switch (type) {
      case TLXExternalActionType::Completed:
        if (!task_.item->isCompleted()) complete();
        break;
      case TLXExternalActionType::Uncompleted:
        if (task_.item->isCompleted()) uncomplete(edit_);
        break;
      case TLXExternalActionType::Flagged:
        if (!task_.item->isFlagged()) flag();
        break;
      case TLXExternalActionType::Unflagged:
        if (task_.item->isFlagged()) unflag();
        break;
      case TLXExternalActionType::New:
      case TLXExternalActionType::Unknown:
        break;
    }
    change_.text = edit_.text();
    change_.isRepetition = change_.text == calendar_.text();
    if (change_.isRepetition) return std::move(change_);
    const std::string sequence = calendar_.value(todo_, "SEQUENCE").value_or("0");
    edit_.set("SEQUENCE", std::to_string(std::atoi(sequence.c_str()) + 1));
    stamp(edit_);
    change_.text = edit_.text();
    return std::move(change_);
  }

 private:
  void stamp(CalendarEdit& edit) const {
    edit.set("DTSTAMP", now_);
    edit.set("LAST-MODIFIED", now_);
  }

  void complete() {
    if (const auto rule = calendar_.value(todo_, "RRULE")) change_.next = next(*rule);
    if (change_.next)
      for (const char* name : {"RRULE", "RDATE", "EXDATE"}) edit_.remove(name);
    edit_.set("STATUS", "COMPLETED");
    edit_.set("COMPLETED", now_);
    edit_.set("PERCENT-COMPLETE", "100");
  }

  static void uncomplete(CalendarEdit& edit) {
    edit.set("STATUS", "NEEDS-ACTION");
    edit.remove("COMPLETED");
    edit.remove("PERCENT-COMPLETE");
  }

  void flag() {
    const std::string priority = calendar_.value(todo_, "PRIORITY").value_or("0");
    if (priority != "0") edit_.set(kKeptPriority, priority);
    edit_.set("PRIORITY", kFlaggedPriority);
  }

  void unflag() {
    if (const auto kept = calendar_.value(todo_, kKeptPriority)) {
      edit_.set("PRIORITY", *kept);
      edit_.remove(kKeptPriority);
    } else {
      edit_.remove("PRIORITY");
    }
  }

  /// Whether a date is one that the person has taken out of the repetition.
  bool isExcepted(const std::string& date) const {
    return std::any_of(todo_.lines.begin(), todo_.lines.end(), [&](std::size_t number) {
      const auto& line = calendar_.lines()[number];
      if (!line.is("EXDATE")) return false;
      const auto dates = CalendarText::plainTexts(line.value);
      return std::find(dates.begin(), dates.end(), date) != dates.end();
    });
  }

  /// None when there is none, or when the task has no date to go on from.
  std::optional<CalendarChange::Next> next(std::string rule) const {
    const auto start = calendar_.value(todo_, "DTSTART");
    const auto due = calendar_.value(todo_, "DUE");
    const auto& first = start ? start : due;
    if (!first) return std::nullopt;
    auto date = first;
    do {
      date = values_.next(rule, *date);
      rule = withoutFirst(std::move(rule));
      if (!date) return std::nullopt;
    } while (isExcepted(*date));

    CalendarEdit edit(calendar_, todo_);
    for (const auto& other : calendar_.components())
      if (other.is("VTODO") && &other != &todo_) edit.remove(other);
    const std::string uid = uidOfOccurrence(task_.uid, *date);
    edit.set("UID", uid);
    edit.set("RRULE", rule);
    moveTo(edit, "DTSTART", start, *first, *date);
    moveTo(edit, "DUE", due, *first, *date);
    uncomplete(edit);
    edit.set("SEQUENCE", "0");
    edit.set("CREATED", now_);
    stamp(edit);
    return CalendarChange::Next{uid, edit.text()};
  }

  void moveTo(CalendarEdit& edit, const char* name, const std::optional<std::string>& value,
              const std::string& from, const std::string& to) const {
    if (!value) return;
    const auto moved = *value == from ? to : values_.moved(*value, from, to).value_or(*value);
    edit.setValue(name, moved);
  }

  const CalendarText& calendar_;
  const Component& todo_;
  const CalendarTask& task_;
  const std::string now_;
  const CalendarValues& values_;
  CalendarEdit edit_;
  CalendarChange change_;
};

}  // namespace

Result<CalendarChange> changedCalendar(std::string text, const DeliveryAction& action,
                                       const CalendarValues& values) {
  const auto calendar = CalendarText::parse(std::move(text));
  if (!calendar) return calendar.error();
  for (const auto& component : calendar.value().components()) {
    if (!isTask(calendar.value(), component)) continue;
    const auto task = taskOfComponent(calendar.value(), component, values);
    if (task.uid == action.uuid)
      return TaskChange(calendar.value(), component, task, action, values).apply(action.type);
  }
  return NSError{NSError::Kind::FileNotFound, "the task is not there any more"};
}

}  // namespace tasklane
