#include "delivery/todo-txt/TodoTxtDestination.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <utility>

#include "delivery/TaskFiles.h"
#include "delivery/TaskTexts.h"
#include "delivery/todo-txt/TodoTxtContents.h"
#include "foundation/base/FileSystem.h"
#include "foundation/files/NSFileManager.h"

namespace tasklane {

namespace {

using Kind = DeliveryOutcome::Kind;

/// A title as one line; what separates lines or words otherwise becomes a blank.
std::string asOneLine(std::string text) {
  for (char& c : text)
    if ((static_cast<unsigned char>(c) < ' ' && c != '\t') || c == 0x7F) c = ' ';
  return text;
}

std::vector<std::string> wordsOf(const std::string& text) {
  std::vector<std::string> words;
  std::string word;
  for (const char c : text + " ") {
    if (c != ' ' && c != '\t') {
      word += c;
    } else if (!word.empty()) {
      words.push_back(std::exchange(word, {}));
    }
  }
  return words;
}

/// Whether the line is another one afterwards.
bool apply(const DeliveryAction& action, TodoTxtLine& line) {
  const TodoTxtLine before = line;
  switch (action.type) {
    case TLXExternalActionType::Completed:
      line.complete(dayText(action.moment));
      break;
    case TLXExternalActionType::Uncompleted:
      line.uncomplete();
      break;
    case TLXExternalActionType::Flagged:
      line.flag();
      break;
    case TLXExternalActionType::Unflagged:
      line.unflag();
      break;
    case TLXExternalActionType::New:
    case TLXExternalActionType::Unknown:
      break;
  }
  return !(line == before);
}

}  // namespace

TodoTxtDestination::TodoTxtDestination(std::string path, ContendedFile::WhenMissing whenMissing)
    : file_(std::move(path), whenMissing) {}

std::string TodoTxtDestination::folder() const { return parentOfPath(file_.path()); }

std::string TodoTxtDestination::archivePath() const { return folder() + "/done.txt"; }

std::string TodoTxtDestination::noteName(const DeliveryAction& action) const {
  return "notes/" + action.uuid + ".txt";
}

Result<std::vector<ListContainer>> TodoTxtDestination::lists() {
  const auto target = pathWithLinksFollowed(file_.path());
  if (!target) return target.error();
  const bool isThere = NSFileManager::defaultManager().fileExistsAtPath(target.value());
  const bool hasFolder = ::access(parentOfPath(target.value()).c_str(), W_OK) == 0;
  if (!hasFolder && (errno != ENOENT || !file_.begins()))
    return NSError::fromErrno(errno, "cannot write in the folder of " + file_.path());
  if (!isThere) {
    const auto begun = ContendedFile(file_.path()).change([](const std::string& text) {
      return std::optional(text);
    });
    if (!begun) return begun.error();
  }
  const auto contents = file_.read();
  if (!contents) return contents.error();
  return std::vector<ListContainer>{{file_.path(), nameInPath(file_.path()), std::nullopt}};
}

/// The date comes first, so that a title that begins with "x ", "(A) " or a date stays a title.
std::string TodoTxtDestination::lineOf(const DeliveryAction& action) const {
  std::string line = dayText(action.moment);
  const auto add = [&line](const std::string& word) {
    if (!word.empty()) line += " " + word;
  };
  add(asOneLine(action.title));
  if (action.project) add("+" + wordOfName(action.project->title));
  if (action.context) add("@" + wordOfName(action.context->title));
  for (const auto& path : action.attachments) add("notes/" + action.uuid + "/" + nameInPath(path));
  if (!action.notes.empty()) add("note:" + noteName(action));
  add("uuid:" + action.uuid);
  return line;
}

Result<void> TodoTxtDestination::storeFiles(const DeliveryAction& action) const {
  const std::string notes = folder() + "/notes";
  const auto made = NSFileManager::defaultManager().createDirectoryAtPath(notes, true);
  if (!made) return made;
  if (!action.notes.empty()) {
    const auto stored = storeFileOnce(folder() + "/" + noteName(action), action.notes + "\n");
    if (!stored) return stored;
  }
  return copyAttachments(action, notes + "/" + action.uuid);
}

/// A note that was changed is the person's own by now.
void TodoTxtDestination::removeFiles(const DeliveryAction& action) const {
  if (!action.notes.empty())
    (void)ContendedFile(folder() + "/" + noteName(action)).removeIfStill(action.notes + "\n");
  removeAttachments(action, folder() + "/notes/" + action.uuid);
}

/// The identities in the file that todo.sh moves completed lines to.
Result<std::set<std::string, std::less<>>> TodoTxtDestination::archived() const {
  std::set<std::string, std::less<>> identities;
  const auto text = NSFileManager::defaultManager().contentsAtPath(archivePath());
  if (!text && text.error().kind == NSError::Kind::FileNotFound) return identities;
  if (!text) return text.error();
  constexpr std::string_view kKey = "uuid:";
  const std::string_view all = text.value();
  for (auto at = all.find(kKey); at != std::string_view::npos; at = all.find(kKey, at)) {
    at += kKey.size();
    identities.emplace(all.substr(at, all.find_first_of(" \t\r\n", at) - at));
  }
  return identities;
}

/// Notes and attachments are on the disk before a line names them.
std::vector<DeliveryOutcome> TodoTxtDestination::prepare(const std::vector<DeliveryAction>& actions,
                                                         const Progress& progress) const {
  std::vector<DeliveryOutcome> outcomes(actions.size());
  const auto text = file_.read();
  std::optional<TodoTxtContents> contents;  // read where files have to be stored
  const auto storeFilesOfNew = [&](const DeliveryAction& action) -> Result<void> {
    if (action.notes.empty() && action.attachments.empty()) return {};
    if (!contents) contents.emplace(text.value().value_or(""));
    return contents->indexOf(action.uuid) ? Result<void>() : storeFiles(action);
  };
  for (std::size_t i = 0; i < actions.size(); ++i) {
    const auto& action = actions[i];
    auto& outcome = outcomes[i];
    const bool isNew = action.type == TLXExternalActionType::New;
    if (!text) {
      outcome.text = text.error().description;
    } else if (isNew && !isPlainIdentifier(action.uuid)) {
      outcome = {Kind::Refused, "its identifier \"" + action.uuid +
                                    "\" cannot stand in a line of a todo.txt file"};
    } else if (const auto stored = isNew ? storeFilesOfNew(action) : Result<void>(); !stored) {
      outcome.text = stored.error().description;
    } else {
      outcome.kind = Kind::Delivered;
    }
    progress(i);
  }
  return outcomes;
}

std::vector<DeliveryOutcome> TodoTxtDestination::carryOut(
    const std::vector<DeliveryAction>& actions, const Progress& progress) {
  const auto prepared = prepare(actions, progress);
  auto outcomes = prepared;
  const auto written = file_.change([&](const std::string& text) -> std::optional<std::string> {
    TodoTxtContents contents(text);
    std::optional<Result<std::set<std::string, std::less<>>>> archive;
    bool changed = false;
    for (std::size_t i = 0; i < actions.size(); ++i) {
      if (prepared[i].kind != Kind::Delivered) continue;
      // Read after the list, because todo.sh puts a line there before it takes it out here.
      if (!archive && !contents.indexOf(actions[i].uuid)) archive = archived();
      if (archive && !*archive) {
        outcomes[i] = {Kind::Later, archive->error().description};
        continue;
      }
      const bool isArchived = archive && archive->value().contains(actions[i].uuid);
      outcomes[i] = carryOut(actions[i], contents, isArchived);
      changed |= outcomes[i].kind == Kind::Delivered && !outcomes[i].isRepetition;
    }
    return changed ? std::optional(contents.text()) : std::nullopt;
  });
  if (written) return outcomes;
  for (std::size_t i = 0; i < actions.size(); ++i)
    if (prepared[i].kind == Kind::Delivered)
      outcomes[i] = {Kind::Later, written.error().description};
  return outcomes;
}

DeliveryOutcome TodoTxtDestination::carryOut(const DeliveryAction& action,
                                             TodoTxtContents& contents, bool isArchived) const {
  auto index = contents.indexOf(action.uuid);
  bool changed = false;
  if (!index && action.type == TLXExternalActionType::New) {
    if (isArchived) return {Kind::Delivered, archivePath(), true};
    index = contents.lines().size();
    contents.append(TodoTxtLine(lineOf(action)), action.uuid);
    changed = true;
  } else if (!index) {
    return {Kind::Refused, isArchived ? "the task has been archived in " + archivePath()
                                      : "the task is not in " + file_.path() +
                                            " any more, or its text has changed since"};
  }
  changed |= apply(action, contents.lines()[*index].line);
  return {Kind::Delivered, file_.path() + ", line " + std::to_string(*index + 1), !changed};
}

std::vector<std::string> TodoTxtDestination::losses(const DeliveryAction& action) const {
  std::vector<std::string> losses;
  if (action.type != TLXExternalActionType::New) return losses;
  if (asOneLine(action.title) != action.title)
    losses.emplace_back("the line breaks and control characters of its title become blanks");
  for (const auto& word : wordsOf(asOneLine(action.title))) {
    if (TodoTxtLine::isProjectOrContext(word)) {
      losses.push_back("\"" + word + "\" in its title will be read as a " +
                       (word.front() == '+' ? "project" : "context"));
    } else if (TodoTxtLine::isKeyAndValue(word)) {
      losses.push_back("\"" + word + "\" in its title will be read as a key and its value");
    }
  }
  for (const auto& container : {action.project, action.context}) {
    if (!container) continue;
    const std::string word = wordOfName(container->title);
    if (nameOfWord(word) != container->title)
      losses.push_back("\"" + container->title + "\" will be called \"" + nameOfWord(word) + "\"");
  }
  return losses;
}

Result<std::optional<std::string>> TodoTxtDestination::stamp() {
  const auto stamp = file_.stamp();
  if (!stamp) return stamp.error();
  if (!stamp.value()) {
    // What was published stays while the list is not there.
    if (const auto contents = file_.read(); !contents) return contents.error();
  }
  // What was completed yesterday is not published any more today.
  return std::optional(dayText(Clock::now()) + " " + stamp.value().value_or("no file"));
}

Result<ListContents> TodoTxtDestination::contents() {
  const auto before = stamp();
  if (!before) return before.error();
  const auto text = file_.read();
  if (!text) return text.error();
  ListContents contents =
      TodoTxtContents(text.value().value_or("")).published(dayText(Clock::now()));
  contents.stamp = *before.value();
  return contents;
}

ListWatch TodoTxtDestination::watch() {
  const auto target = pathWithLinksFollowed(file_.path());
  const int folder = target ? watch_.watch({parentOfPath(target.value())}) : -1;
  const auto stamp = file_.stamp();
  const bool isThere = folder >= 0 && stamp && stamp.value();
  return {folder, isThere ? std::nullopt : std::optional(ListWatch::kUntilItIsBack)};
}

Result<std::vector<std::string>> TodoTxtDestination::missing(
    const std::vector<DeliveryAction>& delivered) {
  const auto text = file_.read();
  if (!text) return text.error();
  const auto archive = archived();  // after the list, as carryOut() does
  if (!archive) return archive.error();
  const TodoTxtContents contents(text.value().value_or(""));
  std::vector<std::string> uuids;
  for (const auto& action : delivered)
    if (!contents.indexOf(action.uuid) && !archive.value().contains(action.uuid))
      uuids.push_back(action.uuid);
  return uuids;
}

DeliveryOutcome TodoTxtDestination::takeBack(const DeliveryAction& action) {
  DeliveryOutcome outcome;
  const auto changed = file_.change([&](const std::string& text) -> std::optional<std::string> {
    TodoTxtContents contents(text);
    const auto index = contents.indexOf(action.uuid);
    if (!index) {
      const auto archive = archived();
      const bool isArchived = archive && archive.value().contains(action.uuid);
      outcome = {Kind::Refused, isArchived ? "it has been archived in " + archivePath()
                                           : "it is not in " + file_.path() + " any more"};
      return std::nullopt;
    }
    auto& lines = contents.lines();
    if (lines[*index].line.text() != lineOf(action)) {
      outcome = {Kind::Refused, "it has been changed since; it is line " +
                                    std::to_string(*index + 1) + " of " + file_.path()};
      return std::nullopt;
    }
    // The numbers of the lines behind it stay, as people use them to name tasks.
    if (*index + 1 == lines.size()) {
      lines.pop_back();
    } else {
      lines[*index].line = TodoTxtLine("");
    }
    outcome = {Kind::Delivered, "taken out of " + file_.path()};
    return contents.text();
  });
  if (!changed) return {Kind::Later, changed.error().description};
  if (outcome.kind == Kind::Delivered) removeFiles(action);
  return outcome;
}

}  // namespace tasklane
