#include "delivery/vtodo/CalendarTasks.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "delivery/DeliveryTesting.h"
#include "delivery/vtodo/CalendarText.h"
#include "shared-store/TLXExternalItem.h"

namespace tasklane {
namespace {

/// A calendar with one task of the given lines.
std::string calendarOf(const std::string& lines, const std::string& around = {}) {
  return "BEGIN:VCALENDAR\n" + around + "BEGIN:VTODO\nUID:U\n" + lines +
         "END:VTODO\nEND:VCALENDAR\n";
}

class CalendarTasksTest : public DeliveryTesting {
 protected:
  CalendarTasksTest() {
    ::setenv("TZ", "Europe/Berlin", 1);
    ::tzset();
  }

  static const CalendarValues& values() {
    const auto values = CalendarValues::shared();
    EXPECT_TRUE(values) << values.error().description;
    return *values.value();
  }
  static CalendarTask task(const std::string& text) {
    const auto tasks = tasksOfCalendar(text, values());
    EXPECT_TRUE(tasks && tasks.value().size() == 1) << text;
    return tasks && tasks.value().size() == 1 ? tasks.value()[0] : CalendarTask{};
  }
  static CalendarChange change(Type type, const std::string& text) {
    auto changed = changedCalendar(text, action(type, "U"), values());
    EXPECT_TRUE(changed) << text;
    return changed ? std::move(changed).value() : CalendarChange{};
  }

  Clock::Fixed clock_{NSDate(NSTimeInterval(kMorning))};
};

/// A moment of the device's time, or "".
std::string text(const std::optional<NSDate>& date) {
  return date ? TLXExternalItem::sharedDateFormatter().stringFromDate(*date) : "";
}

TEST_F(CalendarTasksTest, WritesEveryTitleAndSaysWhatItCannotKeep) {
  struct Case {
    std::string title, readBack;
    std::size_t losses = 0;
  };
  std::string scripts;
  for (const char* script :
       {"Ünï", "日本語", "עברית", "العربية", "हिन्दी", "👩‍👩‍👧", "ไทย"})
    for (int i = 0; i < 9; ++i) scripts += script;
  std::vector<Case> cases{
      {"two\r\nlines\rand more", "two\nlines\nand more", 1},
      {std::string("a\0b\x1b[1m\x7f", 8), "a b [1m ", 1},
  };
  for (const std::string& kept :
       {std::string("x Buy milk"), std::string("(A) Buy milk"), std::string("2026-01-01 Buy"),
        std::string("+word @word key:value"), std::string("two\nlines\n"),
        std::string("a; b, c\\n: \"d\" \\ "), std::string(" END:VTODO\nEND:VTODO\n\tUID:V"),
        std::string(10000, 'a'), scripts, std::string()})
    cases.push_back({kept, kept, 0});
  for (auto& [title, readBack, losses] : cases) {
    auto newTask = action(Type::New, "U", title);
    newTask.notes = title;
    const std::string text = calendarOfNewTask(newTask, {});
    const auto calendar = CalendarText::parse(text);
    ASSERT_TRUE(calendar) << text;
    const auto& todo = calendar.value().components().at(1);
    const auto* note = calendar.value().find(todo, "DESCRIPTION");
    EXPECT_EQ(note ? CalendarText::plainText(note->value) : "", readBack);
    EXPECT_EQ(task(text).item->title(), readBack);
    EXPECT_EQ(lossesInCalendar(newTask).size(), 2 * losses) << title;
    for (std::size_t at = 0, end; (end = text.find("\r\n", at)) != std::string::npos; at = end + 2)
      ASSERT_LE(end - at, 75u) << text;
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'),
              std::count(text.begin(), text.end(), '\r'));
  }
}

TEST_F(CalendarTasksTest, WritesANewTaskThatReadsBack) {
  auto newTask = action(Type::New, "4D", "Milk");
  newTask.context = ListContainer{"shop, far", "shop, far", std::nullopt};
  const std::string calendar = calendarOfNewTask(
      newTask, {{"1.jpg", "file:///a/1.jpg", {}}, {"2.png", {}, "any bytes\n"}}, "Garden");
  EXPECT_EQ(calendar,
            "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Kestrel Works//Tasklane//EN\r\n"
            "BEGIN:VTODO\r\nUID:4D\r\nDTSTAMP:20261123T080000Z\r\nCREATED:20261123T080000Z\r\n"
            "LAST-MODIFIED:20261123T080000Z\r\nSUMMARY:Milk\r\nCATEGORIES:shop\\, far\r\n"
            "CATEGORIES:Garden\r\nATTACH;FMTTYPE=image/jpeg;FILENAME=\"1.jpg\":file:///a/1.jpg\r\n"
            "ATTACH;FMTTYPE=image/png;FILENAME=\"2.png\";ENCODING=BASE64;VALUE=BINARY:YW55\r\n"
            " IGJ5dGVzCg==\r\nSTATUS:NEEDS-ACTION\r\nEND:VTODO\r\nEND:VCALENDAR\r\n");
  const std::vector<std::string> categories{"shop, far", "Garden"};
  EXPECT_EQ(task(calendar).categories, categories);
}

TEST_F(CalendarTasksTest, ReadsDatesAsTheirZonesHaveThem) {
  struct Case {
    std::string lines, due, defer;
  };
  const std::string zone =
      "BEGIN:VTIMEZONE\nTZID:Ours\nBEGIN:STANDARD\nDTSTART:19700101T000000\n"
      "TZOFFSETFROM:+0300\nTZOFFSETTO:+0300\nEND:STANDARD\nEND:VTIMEZONE\n";
  const std::vector<Case> cases{
      {"DUE;VALUE=DATE:20260105\n", "2026-01-05-23:59:59 +0100", ""},
      {"DUE:20260105\nDTSTART:20260105\n", "2026-01-05-23:59:59 +0100",
       "2026-01-05-00:00:00 +0100"},
      {"DUE:20260705T100000\n", "2026-07-05-10:00:00 +0200", ""},
      {"due:20260705T100000Z\n", "2026-07-05-12:00:00 +0200", ""},
      {"DUE;TZID=America/New_York:20260705T100000\n", "2026-07-05-16:00:00 +0200", ""},
      {"DUE;X=\"a:b;c\";TZID=\"Ours\":20260705T100000\n", "2026-07-05-09:00:00 +0200", ""},
      {"DUE;TZID=Nobody's:20260705T100000\n", "2026-07-05-10:00:00 +0200", ""},
      {"DTSTART:20260705T100000\nDURATION:PT26H\n", "2026-07-06-12:00:00 +0200",
       "2026-07-05-10:00:00 +0200"},
      {"DTSTART:20260705T100000\nDUE:20260705T100000\n", "2026-07-05-10:00:00 +0200", ""},
      {"DUE:20260231T100000\nDTSTART:soon\n", "", ""},
      {"DUE;VALUE=DATE:2026\n 0105\n", "2026-01-05-23:59:59 +0100", ""},
  };
  for (const auto& [lines, due, defer] : cases) {
    const auto read = task(calendarOf(lines, zone));
    EXPECT_EQ(text(read.item->dueDate()), due) << lines;
    EXPECT_EQ(text(read.item->deferDate()), defer) << lines;
  }
}

TEST_F(CalendarTasksTest, ReadsTheStateOfATask) {
  struct Case {
    std::string lines;
    bool isCompleted = false, isFlagged = false, repeats = false, isCancelled = false;
  };
  const std::vector<Case> cases{
      {"", false},
      {"STATUS:NEEDS-ACTION\nPERCENT-COMPLETE:100\n", false},
      {"STATUS:completed\n", true},
      {"PERCENT-COMPLETE:100\n", true},
      {"COMPLETED:20260101T000000Z\n", true},
      {"STATUS:CANCELLED\n", false, false, false, true},
      {"PRIORITY:4\n", false, true},
      {"PRIORITY:5\nRRULE:FREQ=DAILY\n", false, false, true},
      {"PRIORITY:0\nRDATE:20260101\n", false, false, true},
  };
  for (const auto& expected : cases) {
    const auto read = task(calendarOf(expected.lines));
    EXPECT_EQ(read.item->isCompleted(), expected.isCompleted) << expected.lines;
    EXPECT_EQ(read.item->isFlagged(), expected.isFlagged) << expected.lines;
    EXPECT_EQ(read.item->repeats(), expected.repeats) << expected.lines;
    EXPECT_EQ(read.isCancelled, expected.isCancelled) << expected.lines;
  }
}

TEST_F(CalendarTasksTest, ReadsWhatIsNoTaskAsNoneAndTellsWhereATextIsDamaged) {
  struct Case {
    std::string text;
    const char* error;  // a part of it; a null pointer for no tasks
  };
  const std::string todo = "BEGIN:VTODO\nUID:U\n";
  const std::vector<Case> cases{
      {"BEGIN:VCALENDAR\nBEGIN:VEVENT\nUID:E\nEND:VEVENT\nEND:VCALENDAR\n", nullptr},
      {calendarOf("RECURRENCE-ID:20260101\n"), nullptr},
      {"", "no VCALENDAR"},
      {"\r\n\n", "no VCALENDAR"},
      {"Some text\n", "no VCALENDAR"},
      {todo + "END:VTODO\n", "line 1: no VCALENDAR"},
      {"BEGIN:VCALENDAR\n" + todo, "line 3: the END of VTODO"},
      {"BEGIN:VCALENDAR\n" + todo + "END:VCALENDAR\n", "line 4: not the END of VTODO"},
      {"BEGIN:VCALENDAR\nEND:VCALENDAR\nEND:VTODO\n", "line 3: an END"},
      {"BEGIN:VCALENDAR\nBEGIN:VTODO\nEND:VTODO\nEND:VCALENDAR", "line 2: a task without a UID"},
  };
  for (const auto& [text, error] : cases) {
    const auto tasks = tasksOfCalendar(text, values());
    ASSERT_EQ(tasks.ok(), error == nullptr) << text;
    if (error) {
      EXPECT_NE(tasks.error().description.find(error), std::string::npos)
          << tasks.error().description;
    } else {
      EXPECT_TRUE(tasks.value().empty()) << text;
    }
  }
}

/// What other programs wrote, in their own ways: folds, cases, orders, an alarm, properties and
/// components that nobody here knows, lines that are nothing.
class CalendarChangeTest : public CalendarTasksTest {
 protected:
  static std::string others(const std::string& status, const std::string& stamps,
                            const std::string& added) {
    return "\xEF\xBB\xBF"
           "BEGIN:VCALENDAR\r\nprodid:-//else//\r\nBEGIN:VTIMEZONE\r\nTZID:Ours\r\n"
           "END:VTIMEZONE\r\nBEGIN:VTODO\r\nUID:another\r\nSTATUS:NEEDS-ACTION\r\nEND:VTODO\r\n"
           "BEGIN:VTODO\r\nsummary;X-A=\"b:c\";X-D=e:Fo\r\n lded\\, text\r\n" +
           stamps +
           "X-Own;VALUE=DATE:20260101\r\nno property\r\n\r\n"
           "BEGIN:VALARM\r\nSTATUS:mine\r\nACTION:DISPLAY\r\nEND:VALARM\r\n" +
           status + "uid:U\r\n" + added + "END:VTODO\r\nEND:VCALENDAR";
  }
};

TEST_F(CalendarChangeTest, ChangesOnlyWhatAnActionConcerns) {
  struct Case {
    Type type;
    std::string status, statusAfter, added;
  };
  const std::string completed = "COMPLETED:20261123T080000Z\r\n";
  const std::vector<Case> cases{
      {Type::Completed, "STATUS;X-S=1:IN-PROCESS\r\nPERCENT-COMPLETE:40\r\n",
       "STATUS;X-S=1:COMPLETED\r\nPERCENT-COMPLETE:100\r\n", completed},
      {Type::Completed, "PRIORITY:1\r\n", "PRIORITY:1\r\n",
       "STATUS:COMPLETED\r\n" + completed + "PERCENT-COMPLETE:100\r\n"},
      {Type::Uncompleted, "STATUS:COMPLETED\r\nCOMPLETED;TZID=Ours:20260101T000000\r\n",
       "STATUS:NEEDS-ACTION\r\n", ""},
      {Type::Flagged, "", "", "PRIORITY:1\r\n"},
      {Type::Flagged, "PRIORITY:7\r\n", "PRIORITY:1\r\n", "X-TASKLANE-PRIORITY:7\r\n"},
      {Type::Unflagged, "PRIORITY:1\r\nX-TASKLANE-PRIORITY:7\r\n", "PRIORITY:7\r\n", ""},
      {Type::Unflagged, "PRIORITY:3\r\nPRIORITY:2\r\n", "", ""},
  };
  const std::string stamps = "SEQUENCE:6\r\nDTSTAMP:20260101T000000Z\r\n";
  const std::string stampsAfter = "SEQUENCE:7\r\nDTSTAMP:20261123T080000Z\r\n";
  for (const auto& [type, status, statusAfter, added] : cases) {
    const auto changed = change(type, others(status, stamps, ""));
    EXPECT_EQ(changed.text,
              others(statusAfter, stampsAfter, added + "LAST-MODIFIED:20261123T080000Z\r\n"));
    EXPECT_FALSE(changed.isRepetition);
    const auto again = change(type, changed.text);
    EXPECT_TRUE(again.isRepetition);
    EXPECT_EQ(again.text, changed.text);
  }
}

TEST_F(CalendarChangeTest, KeepsWhatIsSoAlreadyAndSaysWhatIsNotThere) {
  const std::vector<std::pair<Type, std::string>> cases{
      {Type::Completed, "STATUS:COMPLETED\r\n"},
      {Type::Uncompleted, ""},
      {Type::Flagged, "PRIORITY:3\r\n"},
      {Type::Unflagged, "PRIORITY:5\r\n"},
      {Type::New, ""},
  };
  for (const auto& [type, status] : cases) {
    const auto changed = change(type, others(status, "", ""));
    EXPECT_TRUE(changed.isRepetition);
    EXPECT_EQ(changed.text, others(status, "", ""));
  }
  const auto none = changedCalendar(calendarOf(""), action(Type::Flagged, "V"), values());
  EXPECT_EQ(none.error().kind, NSError::Kind::FileNotFound);
}

TEST_F(CalendarChangeTest, MakesATaskOfTheNextOccurrenceOfARepeatingOne) {
  struct Case {
    std::string lines, next;  // its dates and its rule; empty for none
  };
  const std::vector<Case> cases{
      {"DUE;VALUE=DATE:20260130\nRRULE:FREQ=MONTHLY;BYDAY=-1FR\n",
       "DUE;VALUE=DATE:20260227\nRRULE:FREQ=MONTHLY;BYDAY=-1FR\n"},
      {"DTSTART;TZID=Ours:20260101T090000\nDUE;TZID=Ours:20260102T120000\nRRULE:FREQ=WEEKLY\n",
       "DTSTART;TZID=Ours:20260108T090000\nDUE;TZID=Ours:20260109T120000\nRRULE:FREQ=WEEKLY\n"},
      {"DUE:20260101\nRRULE:COUNT=3;FREQ=DAILY\n", "DUE:20260102\nRRULE:COUNT=2;FREQ=DAILY\n"},
      {"DUE:20260101\nRRULE:FREQ=DAILY;COUNT=3\nEXDATE:20260102\n",
       "DUE:20260103\nRRULE:FREQ=DAILY;COUNT=1\nEXDATE:20260102\n"},
      {"DUE:20260101\nRRULE:FREQ=DAILY;COUNT=1\n", ""},
      {"DUE:20260101\nRRULE:FREQ=DAILY;UNTIL=20260101\n", ""},
      {"RRULE:FREQ=DAILY\n", ""},
      {"DUE:20260101\nRRULE:never\n", ""},
  };
  for (const auto& [lines, next] : cases) {
    const auto changed = change(Type::Completed, calendarOf(lines + "STATUS:IN-PROCESS\n"));
    EXPECT_TRUE(task(changed.text).item->isCompleted());
    ASSERT_EQ(changed.next.has_value(), !next.empty()) << lines;
    if (!changed.next) continue;
    EXPECT_FALSE(task(changed.text).item->repeats());
    const std::string& text = changed.next->text;
    EXPECT_NE(text.find(next + "STATUS:NEEDS-ACTION\n"), std::string::npos) << text;
    EXPECT_EQ(task(text).uid, changed.next->uid);
    EXPECT_EQ(change(Type::Completed, calendarOf(lines)).next->uid, changed.next->uid);
    EXPECT_TRUE(change(Type::Completed, changed.text).isRepetition);
  }
}

TEST_F(CalendarTasksTest, PublishesTasksWhereTheyBelong) {
  const auto read = [](const std::string& uid, const std::string& lines) {
    return task("BEGIN:VCALENDAR\nBEGIN:VTODO\nUID:" + uid + "\nSUMMARY:" + uid + "\n" + lines +
                "END:VTODO\nEND:VCALENDAR\n");
  };
  const auto contents = contentsOfLists(
      {{{"home", "Home", std::nullopt},
        true,
        {read("late", "CREATED:20260102T000000Z\nCATEGORIES:b,a\n"),
         read("early", "CREATED:20260101T000000Z\nRELATED-TO;RELTYPE=DEPENDS-ON:late\n"),
         read("child", "RELATED-TO:late\n"), read("gone", "STATUS:CANCELLED\n"),
         read("once", "STATUS:COMPLETED\nCOMPLETED:20261122T080000Z\nCATEGORIES:c\n"),
         read("today", "STATUS:COMPLETED\nCOMPLETED:20261123T070000Z\n")}},
       {{"work", "Work", std::nullopt},
        false,
        {read("late", ""), read("free", "RELATED-TO;RELTYPE=DEPENDS-ON:today\n"),
         read("whole", "PRIORITY:1\nRELATED-TO;RELTYPE=CHILD:part\n"), read("part", ""),
         read("ring", "RELATED-TO;RELTYPE=PARENT:round\n"), read("round", "RELATED-TO:ring\n")}}});
  std::string told;
  for (const auto& item : contents.items) {
    told += *item->title() + "/" + *item->subtitle() + (item->isInboxItem() ? "+" : "");
    if (item->isBlocked()) told += "!";
    for (const auto& child : item->children().value_or(TLXExternalItem::Items{}))
      told += "(" + *child->title() + (child->isInboxItem() ? "+" : "") +
              (child->isParentFlagged() ? "^" : "") + ")";
    told += " ";
  }
  EXPECT_EQ(told,
            "today/Home+ early/Home+! late/Home+(child) free/Work ring/Work round/Work "
            "whole/Work(part^) ");
  std::string names;
  for (const auto& context : contents.contexts) names += context.id + " ";
  for (const auto& project : contents.projects) names += project.title + " ";
  EXPECT_EQ(names, "a b c Home Work ");
}

}  // namespace
}  // namespace tasklane
