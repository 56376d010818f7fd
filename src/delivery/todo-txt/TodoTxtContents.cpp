#include "delivery/todo-txt/TodoTxtContents.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <map>
#include <set>
#include <utility>

#include "delivery/ItemTree.h"
#include "delivery/TaskTexts.h"
#include "foundation/base/StableHash.h"

namespace tasklane {

namespace {

/// In the form of an identifier, so that it looks like the others.
std::string derivedIdentity(const std::string& text, std::size_t ordinal) {
  const std::string salted = std::to_string(ordinal) + "\n" + text;
  const std::string digits = stableHashText(salted) + stableHashText(salted + "\n");
  return "TXT-" + digits.substr(0, 8) + "-" + digits.substr(8, 8) + "-" + digits.substr(16);
}

enum class DayEnd { First, Last };

/// The first or the last second of a day "YYYY-MM-DD" in the device's time zone.
std::optional<NSDate> moment(const std::optional<std::string>& day, DayEnd end) {
  std::tm fields{};
  if (!day || day->size() != 10 || !::strptime(day->c_str(), "%Y-%m-%d", &fields))
    return std::nullopt;
  const int wanted = fields.tm_mday;
  if (end == DayEnd::Last) fields.tm_hour = 23, fields.tm_min = fields.tm_sec = 59;
  fields.tm_isdst = -1;
  const std::time_t seconds = std::mktime(&fields);
  if (fields.tm_mday != wanted) return std::nullopt;  // the 31st of a shorter month
  return NSDate(NSTimeInterval(static_cast<double>(seconds)));
}

std::shared_ptr<TLXExternalItem> itemOfLine(const TodoTxtContents::Line& entry,
                                            const std::vector<std::string>& projects) {
  const TodoTxtLine& line = entry.line;
  auto item = std::make_shared<TLXExternalItem>();
  item->setUuid(entry.identity);
  item->setTitle(line.title());
  std::string names;
  for (const auto& project : projects) names += (names.empty() ? "" : ", ") + nameOfWord(project);
  if (!names.empty()) item->setSubtitle(names);
  item->setDueDate(moment(line.value("due"), DayEnd::Last));
  item->setDeferDate(moment(line.value("t"), DayEnd::First));
  item->setOnlyBlockedByDeferDate(item->deferDate().has_value());
  item->setFlagged(line.isFlagged());
  item->setRepeats(line.value("rec").has_value());
  item->setCompleted(line.isCompleted());
  item->setInboxItem(projects.empty());
  return item;
}

std::vector<ListContainer> containersOf(const std::set<std::string>& words) {
  std::vector<ListContainer> containers;
  for (const auto& word : words) containers.push_back({word, nameOfWord(word), std::nullopt});
  std::stable_sort(containers.begin(), containers.end(),
                   [](const auto& one, const auto& other) { return one.title < other.title; });
  return containers;
}

}  // namespace

TodoTxtContents::TodoTxtContents(std::string_view text) {
  std::map<std::string, std::size_t> ordinals;
  const auto count = static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
  lines_.reserve(count + 1);
  indexOfIdentity_.reserve(count + 1);
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    TodoTxtLine line{std::string(text.substr(0, end))};
    text.remove_prefix(std::min(end + 1, text.size()));
    std::string identity;
    if (!line.isBlank()) {
      if (auto uuid = line.value("uuid")) {
        identity = std::move(*uuid);
      } else {
        const std::string plain = line.identityText();
        identity = derivedIdentity(plain, ordinals[plain]++);
      }
    }
    append(std::move(line), std::move(identity));
  }
}

std::string TodoTxtContents::text() const {
  std::string text;
  for (const auto& entry : lines_) {
    text += entry.line.text();
    text += '\n';
  }
  return text;
}

std::optional<std::size_t> TodoTxtContents::indexOf(const std::string& identity) const {
  const auto found = indexOfIdentity_.find(identity);
  return found == indexOfIdentity_.end() ? std::nullopt : std::optional(found->second);
}

void TodoTxtContents::append(TodoTxtLine line, std::string identity) {
  if (!identity.empty()) indexOfIdentity_.emplace(identity, lines_.size());
  lines_.push_back({std::move(line), std::move(identity)});
}

ListContents TodoTxtContents::published(const std::string& today) const {
  std::set<std::string> projects;
  std::set<std::string> contexts;
  ItemTree tree;
  for (const auto& entry : lines_) {
    if (entry.identity.empty()) continue;
    const auto itsProjects = entry.line.projects();
    projects.insert(itsProjects.begin(), itsProjects.end());
    for (auto& context : entry.line.contexts()) contexts.insert(std::move(context));
    if (entry.line.value("h") == "1") continue;
    if (entry.line.isCompleted() && entry.line.completionDate() != today) continue;
    tree.add(itemOfLine(entry, itsProjects), entry.line.value("id").value_or(""),
             entry.line.value("p").value_or(""));
  }
  ListContents contents;
  contents.projects = containersOf(projects);
  contents.contexts = containersOf(contexts);
  contents.items = tree.topLevel();
  return contents;
}

}  // namespace tasklane
