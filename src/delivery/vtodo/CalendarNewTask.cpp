#include <algorithm>
#include <span>

#include "delivery/vtodo/CalendarTasks.h"
#include "delivery/vtodo/CalendarText.h"
#include "foundation/property-lists/PropertyListSyntax.h"

namespace tasklane {

namespace {

std::string mediaType(const std::string& name) {
  const std::string extension = name.substr(name.rfind('.') + 1);
  if (extension == "jpg" || extension == "jpeg") return "image/jpeg";
  if (extension == "png") return "image/png";
  return "application/octet-stream";
}

/// As a parameter's value, which can hold no quotation mark.
std::string quoted(std::string name) {
  std::replace(name.begin(), name.end(), '"', '\'');
  return '"' + CalendarText::storable(name) + '"';
}

std::string attachmentLine(const CalendarAttachment& attachment) {
  const std::string type = "ATTACH;FMTTYPE=" + mediaType(attachment.name);
  const std::string name = ";FILENAME=" + quoted(attachment.name);
  if (!attachment.address.empty()) return type + name + ":" + attachment.address;
  std::string line = type + name + ";ENCODING=BASE64;VALUE=BINARY:";
  plist::appendBase64(line, std::as_bytes(std::span(attachment.bytes)));
  return line;
}

}  // namespace

std::string calendarOfNewTask(const DeliveryAction& action,
                              const std::vector<CalendarAttachment>& attachments,
                              const std::string& category) {
  std::string text;
  const auto add = [&text](const std::string& line) { text += CalendarText::folded(line); };
  const auto addText = [&](const std::string& name, const std::string& value) {
    if (!value.empty()) add(name + ":" + CalendarText::escapedText(value));
  };
  const std::string moment = CalendarText::utcText(action.moment);
  add("BEGIN:VCALENDAR");
  add("VERSION:2.0");
  add("PRODID:-//Kestrel Works//Tasklane//EN");
  add("BEGIN:VTODO");
  addText("UID", action.uuid);
  for (const char* name : {"DTSTAMP", "CREATED", "LAST-MODIFIED"}) add(name + (":" + moment));
  addText("SUMMARY", action.title);
  addText("DESCRIPTION", action.notes);
  // A line each, which also those read that take a line for one category.
  addText("CATEGORIES", action.context ? action.context->title : std::string());
  addText("CATEGORIES", category);
  for (const auto& attachment : attachments) add(attachmentLine(attachment));
  add("STATUS:NEEDS-ACTION");
  add("END:VTODO");
  add("END:VCALENDAR");
  return text;
}

std::vector<std::string> lossesInCalendar(const DeliveryAction& action) {
  std::vector<std::string> losses;
  if (action.type != TLXExternalActionType::New) return losses;
  const auto look = [&losses](const std::string& what, const std::string& text) {
    if (CalendarText::storable(text) != text)
      losses.push_back("carriage returns of its " + what +
                       " become line breaks, other control characters blanks");
  };
  look("title", action.title);
  look("note", action.notes);
  if (action.context) look("context", action.context->title);
  return losses;
}

}  // namespace tasklane
