#include <algorithm>
#include <string_view>

#include "delivery/vtodo/CalendarTasks.h"
#include "delivery/vtodo/CalendarText.h"

namespace tasklane {

namespace {

constexpr std::string_view kBase64 =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string base64(const std::string& bytes) {
  std::string text;
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    unsigned group = 0;
    for (std::size_t k = 0; k < 3; ++k)
      group = group << 8 | (i + k < bytes.size() ? static_cast<unsigned char>(bytes[i + k]) : 0u);
    for (std::size_t k = 0; k < 4; ++k)
      text += i + k > bytes.size() ? '=' : kBase64[group >> (18 - 6 * k) & 63];
  }
  return text;
}

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
  return type + name + ";ENCODING=BASE64;VALUE=BINARY:" + base64(attachment.bytes);
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
