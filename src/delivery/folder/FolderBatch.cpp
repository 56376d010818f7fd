#include "delivery/folder/FolderBatch.h"

#include <algorithm>
#include <utility>

#include "delivery/ContendedFile.h"
#include "delivery/TaskFiles.h"
#include "delivery/TaskTexts.h"
#include "foundation/base/FileSystem.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/files/NSURL.h"

namespace tasklane {

namespace {

using Kind = DeliveryOutcome::Kind;

/// How many files are flushed together.
constexpr std::size_t kGroup = 256;
constexpr const char* kAttachments = "/.attachments";

}  // namespace

std::vector<DeliveryOutcome> FolderBatch::carryOut(const std::vector<DeliveryAction>& actions,
                                                   const Destination::Progress& progress) {
  outcomes_.assign(actions.size(), {});
  for (std::size_t i = 0; i < actions.size(); ++i) {
    if (actions[i].type != TLXExternalActionType::New) {
      finishBegun();  // it may be about one of them
      outcomes_[i] = change(actions[i]);
    } else if (auto outcome = begin(i, actions[i])) {
      outcomes_[i] = std::move(*outcome);
    } else if (begun_.size() == kGroup) {
      finishBegun();
    }
    progress(i);
  }
  finishBegun();
  flushLists();
  return std::move(outcomes_);
}

const FolderBatch::List* FolderBatch::listOf(const DeliveryAction& action,
                                             const std::vector<List>& lists) {
  if (!action.project) return &lists.front();
  const auto find = [&](const auto& isIt) -> const List* {
    const auto found = std::find_if(lists.begin(), lists.end(), isIt);
    return found == lists.end() ? nullptr : &*found;
  };
  const List* list = find([&](const List& one) { return one.container.id == action.project->id; });
  if (list) return list;
  return find([&](const List& one) { return one.container.title == action.project->title; });
}

std::string FolderBatch::attachmentFolder(const TaskFolder& folder, const DeliveryAction& action) {
  return folder.path() + kAttachments + "/" + action.uuid;
}

std::string FolderBatch::textOfNew(const TaskFolder& folder, const std::vector<List>& lists,
                                   const DeliveryAction& action) {
  std::vector<CalendarAttachment> attachments;
  for (const auto& original : action.attachments) {
    const std::string name = nameInPath(original);
    const std::string path = attachmentFolder(folder, action) + "/" + name;
    if (NSFileManager::defaultManager().fileExistsAtPath(path))
      attachments.push_back({name, NSURL::fileURLWithPath(path).absoluteString(), {}});
  }
  const bool isList = listOf(action, lists) != nullptr;
  return calendarOfNewTask(action, attachments, isList ? std::string() : action.project->title);
}

Result<std::shared_ptr<UnnamedFile>> FolderBatch::write(const std::string& list,
                                                        const std::string& text) {
  auto file = UnnamedFile::makeInFolder(list);
  if (!file) return file;
  giveToOwnerOfFolder(file.value()->fileDescriptor(), list);
  if (const auto written = file.value()->write(text.data(), text.size()); !written)
    return written.error();
  return file;
}

/// None when it is to be finished with others.
std::optional<DeliveryOutcome> FolderBatch::begin(std::size_t index, const DeliveryAction& action) {
  if (!isPlainIdentifier(action.uuid))
    return DeliveryOutcome{Kind::Refused,
                           "its identifier \"" + action.uuid + "\" cannot be the name of a file"};
  const std::string name = fileName(action.uuid);
  const auto there = TaskFolder::find(lists_, name);
  if (!there) return DeliveryOutcome{Kind::Later, there.error().description};
  if (const auto& path = there.value()) {
    namedIn_[parentOfPath(*path)].push_back(index);
    return DeliveryOutcome{Kind::Delivered, *path, true};
  }
  if (!action.attachments.empty()) {
    auto stored = makeFolder(folder_.path() + kAttachments);
    if (stored) stored = copyAttachments(action, attachmentFolder(folder_, action));
    if (!stored) return DeliveryOutcome{Kind::Later, stored.error().description};
  }
  const List* project = listOf(action, lists_);
  const std::string& list = (project ? project : &lists_.front())->path;
  auto file = write(list, textOfNew(folder_, lists_, action));
  if (!file) return DeliveryOutcome{Kind::Later, file.error().description};
  begun_.push_back({index, list, list + "/" + name, std::move(file).value()});
  return std::nullopt;
}

void FolderBatch::finishBegun() {
  const auto all = std::exchange(begun_, {});
  std::vector<std::shared_ptr<UnnamedFile>> files;
  for (const auto& begun : all) files.push_back(begun.file);
  UnnamedFile::flushTogether(files);
  for (const auto& begun : all) {
    const auto linked = begun.file->linkToPath(begun.path, Flush::No);
    const bool isThere = !linked && linked.error().kind == NSError::Kind::Exists;
    if (linked || isThere) {
      outcomes_[begun.action] = {Kind::Delivered, begun.path, isThere};
      namedIn_[begun.list].push_back(begun.action);
    } else {
      outcomes_[begun.action].text = linked.error().description;
    }
  }
}

/// Names are on the disk only then, also those that were given by a process that was killed before
/// it had come here.
void FolderBatch::flushLists() {
  for (const auto& [list, named] : namedIn_) {
    const auto flushed = flushFolder(list);
    if (flushed) continue;
    for (const std::size_t action : named)
      outcomes_[action] = {Kind::Later, flushed.error().description};
  }
}

DeliveryOutcome FolderBatch::change(const DeliveryAction& action) {
  if (isPlainIdentifier(action.uuid)) {
    const auto there = TaskFolder::find(lists_, fileName(action.uuid));
    if (!there) return {Kind::Later, there.error().description};
    if (const auto& path = there.value())
      if (auto outcome = changeFile(action, *path)) return *outcome;
  }
  if (const auto read = readPathsByUID(); !read) return {Kind::Later, read.error().description};
  const auto found = pathsByUID_->find(action.uuid);
  if (found != pathsByUID_->end())
    if (auto outcome = changeFile(action, found->second)) return *outcome;
  return {Kind::Refused, "the task is not in " + folder_.path() + " any more"};
}

/// None when the file has no such task.
std::optional<DeliveryOutcome> FolderBatch::changeFile(const DeliveryAction& action,
                                                       const std::string& path) {
  std::optional<DeliveryOutcome> outcome;
  const auto edit = [&](const std::string& text) -> std::optional<std::string> {
    outcome.reset();
    auto changed = changedCalendar(text, action, values_);
    if (!changed) {
      if (changed.error().kind != NSError::Kind::FileNotFound)
        outcome = {Kind::Refused, path + ": " + changed.error().description};
      return std::nullopt;
    }
    auto& change = changed.value();
    if (change.next) {
      const auto stored = storeNext(*change.next, parentOfPath(path));
      if (!stored) outcome = {Kind::Later, stored.error().description};
      if (!stored) return std::nullopt;
    }
    outcome = {Kind::Delivered, path, change.isRepetition};
    return change.isRepetition ? std::nullopt : std::optional(std::move(change.text));
  };
  const auto written = ContendedFile(path, ContendedFile::WhenMissing::Wait).change(edit);
  if (written) return outcome;
  if (written.error().kind == NSError::Kind::FileNotFound) return std::nullopt;
  return DeliveryOutcome{Kind::Later, written.error().description};
}

Result<void> FolderBatch::storeNext(const CalendarChange::Next& next, const std::string& list) {
  const auto file = write(list, next.text);
  if (!file) return file.error();
  auto linked = file.value()->linkToPath(list + "/" + fileName(next.uid));
  if (!linked && linked.error().kind == NSError::Kind::Exists) return flushFolder(list);
  return linked;
}

/// Of all tasks, where programs have named files otherwise.
Result<void> FolderBatch::readPathsByUID() {
  if (pathsByUID_) return {};
  std::unordered_map<std::string, std::string> paths;
  std::string marks;
  for (const auto& list : lists_) {
    const auto reader = [&](const std::string& name, std::string text) {
      const auto tasks = tasksOfCalendar(std::move(text), values_);
      if (!tasks) return;
      for (const auto& task : tasks.value()) paths.emplace(task.uid, list.path + "/" + name);
    };
    const auto read = TaskFolder::readTaskFiles(list, reader, marks, TaskFolder::Unreadable::Fail);
    if (!read) return read;
  }
  pathsByUID_ = std::move(paths);
  return {};
}

}  // namespace tasklane
