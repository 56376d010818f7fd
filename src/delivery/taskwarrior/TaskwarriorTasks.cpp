#include "delivery/taskwarrior/TaskwarriorTasks.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <unordered_set>
#include <utility>

#include "delivery/TaskTexts.h"
#include "foundation/base/FileSystem.h"
#include "foundation/base/UTF8.h"

namespace tasklane::taskwarrior {

namespace {

using Type = TLXExternalActionType;

/// Taskwarrior's own sign for "do this next"; it says nothing about the priority.
constexpr const char* kFlag = "next";
constexpr const char* kWithoutTitle = "(no title)";
constexpr const char* kTimeFormat = "%Y%m%dT%H%M%SZ";

std::string textAt(const Task& task, const char* key) {
  const auto found = task.find(key);
  return found != task.end() && found->is_string() ? found->get<std::string>() : std::string();
}

std::optional<NSDate> timeAt(const Task& task, const char* key) {
  return momentOfUTCText(textAt(task, key), kTimeFormat);
}

std::vector<std::string> textsAt(const Task& task, const char* key) {
  std::vector<std::string> texts;
  const auto found = task.find(key);
  if (found == task.end()) return texts;
  if (found->is_array()) {
    for (const auto& value : *found)
      if (value.is_string()) texts.push_back(value.get<std::string>());
  } else if (found->is_string()) {  // older versions name what a task depends on in one text
    const std::string all = found->get<std::string>() + ",";
    for (std::size_t at = 0, end; (end = all.find(',', at)) != std::string::npos; at = end + 1)
      if (end > at) texts.push_back(all.substr(at, end - at));
  }
  return texts;
}

/// A text as Taskwarrior keeps it. What would move a terminal's cursor, or end the text early,
/// becomes a blank; two words stand for brackets in its files, and come back as these.
std::string asKept(std::string text) {
  for (char& c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if ((byte < ' ' && c != '\n' && c != '\t') || byte == 0x7F) c = ' ';
  }
  for (const auto& [word, bracket] : {std::pair("&open;", "["), std::pair("&close;", "]")})
    for (std::size_t at; (at = text.find(word)) != std::string::npos;)
      text.replace(at, std::char_traits<char>::length(word), bracket);
  return text;
}

/// A tag is one word of Taskwarrior's command line, and commas separate tags.
std::string tagOfName(const std::string& name) { return wordOfName(name, ","); }

std::string oneLine(std::string text) {
  text = asKept(std::move(text));
  std::replace(text.begin(), text.end(), '\n', ' ');
  return text;
}

std::string publishedIdentifier(std::string uuid) {
  std::transform(uuid.begin(), uuid.end(), uuid.begin(),
                 [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
  return uuid;
}

bool isOpen(const Task& task) {
  const std::string status = textAt(task, "status");
  return status == "pending" || status == "waiting";
}

bool hasTag(const Task& task, const std::string& tag) {
  const auto tags = textsAt(task, "tags");
  return std::find(tags.begin(), tags.end(), tag) != tags.end();
}

bool isFlagged(const Task& task) { return hasTag(task, kFlag) || textAt(task, "priority") == "H"; }

void flag(Task& task) {
  if (!isFlagged(task)) task["tags"].push_back(kFlag);
}

void unflag(Task& task) {
  if (textAt(task, "priority") == "H") task.erase("priority");
  auto tags = textsAt(task, "tags");
  std::erase(tags, kFlag);
  if (tags.empty()) {
    task.erase("tags");
  } else {
    task["tags"] = tags;
  }
}

std::shared_ptr<TLXExternalItem> itemOf(const Task& task,
                                        const std::unordered_set<std::string>& open) {
  auto item = std::make_shared<TLXExternalItem>();
  item->setUuid(publishedIdentifier(textAt(task, "uuid")));
  item->setTitle(oneLine(textAt(task, "description")));
  const std::string project = textAt(task, "project");
  if (!project.empty()) item->setSubtitle(project);
  item->setInboxItem(project.empty());
  item->setDueDate(timeAt(task, "due"));
  auto defer = timeAt(task, "wait");
  if (!defer) defer = timeAt(task, "scheduled");
  item->setDeferDate(defer);
  const auto needed = textsAt(task, "depends");
  const bool isBlocked = std::any_of(needed.begin(), needed.end(),
                                     [&](const auto& uuid) { return open.contains(uuid); });
  item->setBlocked(isBlocked);
  item->setOnlyBlockedByDeferDate(defer && !isBlocked);
  item->setFlagged(isFlagged(task));
  item->setRepeats(!textAt(task, "recur").empty());
  item->setCompleted(textAt(task, "status") == "completed");
  return item;
}

}  // namespace

std::optional<std::string> uuidOf(const std::string& identifier) {
  constexpr std::string_view kShape = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
  if (identifier.size() != kShape.size()) return std::nullopt;
  std::string uuid;
  for (std::size_t i = 0; i < kShape.size(); ++i) {
    const auto c = static_cast<unsigned char>(identifier[i]);
    if (kShape[i] == 'x' ? !std::isxdigit(c) : c != '-') return std::nullopt;
    uuid += static_cast<char>(std::tolower(c));
  }
  return uuid;
}

/// The program writes control characters as they are, which JSON does not allow.
Result<Export> tasksOfExport(std::string text) {
  Export result;
  if (utf8::firstInvalid(text)) {
    result.hasBrokenText = true;
    std::string repaired;
    for (std::size_t at = 0; at < text.size();) {
      const auto character = utf8::characterAt(text, at);
      utf8::append(repaired, character.codePoint);
      at += character.length;
    }
    text = std::move(repaired);
  }
  std::string escaped;
  for (const char c : text) {
    static constexpr char kDigits[] = "0123456789abcdef";
    const auto byte = static_cast<unsigned char>(c);
    if (byte < ' ' && c != '\n') {
      escaped += "\\u00";
      escaped += kDigits[byte >> 4];
      escaped += kDigits[byte & 15];
    } else {
      escaped += c;
    }
  }
  auto read = Task::parse(escaped, nullptr, false);
  if (!read.is_array())
    return NSError{NSError::Kind::Corrupt, "what Taskwarrior exports is no list in JSON"};
  for (auto& task : read)
    if (task.is_object() && uuidOf(textAt(task, "uuid"))) result.tasks.push_back(std::move(task));
  return result;
}

std::string timeText(NSDate moment) { return utcText(moment, kTimeFormat); }

Task newTask(const DeliveryAction& action, const std::string& attachmentFolder) {
  const std::string entry = timeText(action.moment);
  const std::string title = asKept(action.title);
  const bool isBlank = title.find_first_not_of(" \t\n") == std::string::npos;
  Task task{{"uuid", uuidOf(action.uuid).value_or("")},
            {"status", "pending"},
            {"entry", entry},
            {"description", isBlank ? kWithoutTitle : title}};
  if (action.project) task["project"] = oneLine(action.project->title);
  if (action.context) task["tags"] = {tagOfName(action.context->title)};
  const auto annotate = [&](const std::string& text) {
    task["annotations"].push_back({{"entry", entry}, {"description", text}});
  };
  if (!action.notes.empty()) annotate(asKept(action.notes));
  for (const auto& path : action.attachments) annotate(attachmentFolder + "/" + nameInPath(path));
  return task;
}

Applied apply(const DeliveryAction& action, Task& task) {
  const std::string status = textAt(task, "status");
  if (status == "deleted") return {false, "the task has been deleted"};
  const Task before = task;
  switch (action.type) {
    case Type::Completed:
      if (status == "completed") break;
      task["status"] = "completed";
      task["end"] = timeText(action.moment);
      break;
    case Type::Uncompleted:
      if (status != "completed") break;
      task["status"] = "pending";
      task.erase("end");
      break;
    case Type::Flagged:
      flag(task);
      break;
    case Type::Unflagged:
      unflag(task);
      break;
    case Type::New:
    case Type::Unknown:
      break;
  }
  return {task != before, {}};
}

void removeComputed(Task& task) {
  for (const char* key : {"id", "urgency", "modified"}) task.erase(key);
}

bool isStill(Task task, Task asMade) {
  for (auto* one : {&task, &asMade}) {
    removeComputed(*one);
    one->erase("entry");
    if (const auto annotations = one->find("annotations"); annotations != one->end())
      for (auto& annotation : *annotations) annotation.erase("entry");
  }
  return task == asMade;
}

void markDeleted(Task& task, NSDate when) {
  task["status"] = "deleted";
  task["end"] = timeText(when);
}

ListContents published(const std::vector<Task>& tasks, NSDate completedSince) {
  std::unordered_set<std::string> open;
  std::set<std::string> projects, tags;
  for (const auto& task : tasks) {
    if (!isOpen(task)) continue;
    open.insert(textAt(task, "uuid"));
    if (auto project = textAt(task, "project"); !project.empty())
      projects.insert(std::move(project));
    for (auto& tag : textsAt(task, "tags"))
      if (tag != kFlag) tags.insert(std::move(tag));
  }
  ListContents contents;
  for (const auto& project : projects) contents.projects.push_back({project, project, {}});
  for (const auto& tag : tags) contents.contexts.push_back({tag, nameOfWord(tag), {}});
  for (const auto& task : tasks) {
    const auto end = timeAt(task, "end");
    const bool isFresh = textAt(task, "status") == "completed" && end && *end >= completedSince;
    if (isOpen(task) || isFresh) contents.items.push_back(itemOf(task, open));
  }
  return contents;
}

std::vector<std::string> losses(const DeliveryAction& action) {
  std::vector<std::string> losses;
  if (action.type != Type::New) return losses;
  if (action.title.find_first_not_of(" \t\n") == std::string::npos)
    losses.push_back(std::string("it has no title, so it will be called \"") + kWithoutTitle +
                     "\"");
  const auto isKept = [](const std::string& text) { return asKept(text) == text; };
  if (!isKept(action.title) || !isKept(action.notes))
    losses.emplace_back(
        "the control characters of its text become blanks, and \"&open;\" and \"&close;\" "
        "brackets");
  if (action.project && oneLine(action.project->title) != action.project->title)
    losses.push_back("\"" + action.project->title + "\" will be called \"" +
                     oneLine(action.project->title) + "\"");
  if (action.context) {
    const std::string tag = tagOfName(action.context->title);
    if (nameOfWord(tag) != action.context->title)
      losses.push_back("\"" + action.context->title + "\" will be called \"" + nameOfWord(tag) +
                       "\"");
    if (tag == kFlag) losses.emplace_back("its tag \"next\" will be read as a flag");
  }
  return losses;
}

}  // namespace tasklane::taskwarrior
