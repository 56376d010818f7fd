#include "delivery/folder/FolderDestination.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

#include "delivery/ContendedFile.h"
#include "delivery/TaskFiles.h"
#include "delivery/TaskTexts.h"
#include "delivery/folder/FolderBatch.h"
#include "foundation/base/FileSystem.h"
#include "foundation/base/NSLog.h"

namespace tasklane {

namespace {

using Kind = DeliveryOutcome::Kind;

}  // namespace

FolderDestination::FolderDestination(std::string path, std::string listForNew)
    : folder_(std::move(path)), nameForNew_(std::move(listForNew)) {}

FolderDestination::Lists::const_iterator FolderDestination::listForNew(const Lists& lists) const {
  if (nameForNew_.empty()) return lists.begin();
  return std::find_if(lists.begin(), lists.end(), [&](const TaskFolder::List& list) {
    return list.container.title == nameForNew_ || list.container.id == nameForNew_;
  });
}

Result<FolderDestination::Lists> FolderDestination::orderedLists() const {
  auto lists = folder_.lists();
  if (!lists) return lists;
  const auto first = listForNew(lists.value()) - lists.value().cbegin();
  if (first != static_cast<std::ptrdiff_t>(lists.value().size())) {
    const auto found = lists.value().begin() + first;
    std::rotate(lists.value().begin(), found, found + 1);
    return lists;
  }
  std::string names;
  for (const auto& list : lists.value())
    names += (names.empty() ? "" : ", ") + list.container.title;
  return NSError{NSError::Kind::FileNotFound, "there is no list \"" + nameForNew_ + "\" in " +
                                                  folder_.path() + "; there are: " + names};
}

/// A folder is begun where the one above it is there.
Result<std::vector<ListContainer>> FolderDestination::lists() {
  if (const auto values = CalendarValues::shared(); !values) return values.error();
  if (::access(folder_.path().c_str(), F_OK) != 0)
    if (const auto made = makeFolder(folder_.path()); !made) return made.error();
  const auto lists = orderedLists();
  if (!lists) return lists.error();
  const std::string& first = lists.value().front().path;
  if (::access(first.c_str(), W_OK) != 0)
    return NSError::fromErrno(errno, "cannot write in the folder " + first);
  chosen_ = lists.value().front().container.id;
  std::vector<ListContainer> containers;
  for (const auto& list : lists.value()) containers.push_back(list.container);
  return containers;
}

/// The folder itself is a list only until there are others.
std::map<std::string, std::string> FolderDestination::choices() const {
  if (chosen_.empty() || chosen_ == folder_.path()) return {};
  return {{"list", chosen_}};
}

std::vector<DeliveryOutcome> FolderDestination::carryOut(const std::vector<DeliveryAction>& actions,
                                                         const Progress& progress) {
  const auto later = [&](const NSError& error) {
    return std::vector<DeliveryOutcome>(actions.size(), {Kind::Later, error.description});
  };
  const auto values = CalendarValues::shared();
  if (!values) return later(values.error());
  const auto lists = orderedLists();
  if (!lists) return later(lists.error());
  return FolderBatch(folder_, lists.value(), *values.value()).carryOut(actions, progress);
}

std::vector<std::string> FolderDestination::losses(const DeliveryAction& action) const {
  std::vector<std::string> losses = lossesInCalendar(action);
  if (action.type != TLXExternalActionType::New) return losses;
  const auto lists = orderedLists();
  if (lists && !FolderBatch::listOf(action, lists.value()))
    losses.push_back("its project \"" + action.project->title +
                     "\" is none of the lists; it becomes a category");
  if (!action.attachments.empty())
    losses.push_back("its attachments stay in " + FolderBatch::attachmentFolder(folder_, action) +
                     "; programs that pass the task on to a server leave them there");
  return losses;
}

/// What was completed yesterday is not published any more today.
std::string FolderDestination::wholeStamp(const std::string& stamp) const {
  return dayText(Clock::now()) + " " + stamp + " " + nameForNew_;
}

Result<std::optional<std::string>> FolderDestination::stamp() {
  const auto stamp = folder_.stamp();
  if (!stamp) return stamp.error();
  return std::optional(wholeStamp(stamp.value()));
}

Result<ListContents> FolderDestination::contents() {
  const auto values = CalendarValues::shared();
  if (!values) return values.error();
  const auto found = folder_.lists();
  if (!found) return found.error();
  const auto inbox = listForNew(found.value());
  std::vector<ListOfTasks> lists;
  std::string marks;
  for (auto list = found.value().begin(); list != found.value().end(); ++list) {
    lists.push_back({list->container, list == inbox, {}});
    const auto reader = [&](const std::string& name, std::string text) {
      auto tasks = tasksOfCalendar(std::move(text), *values.value());
      if (tasks) {
        std::move(tasks.value().begin(), tasks.value().end(),
                  std::back_inserter(lists.back().tasks));
      } else {
        NSLog("tasklane: passed over " + list->path + "/" + name + ": " +
              tasks.error().description);
      }
    };
    const auto read = TaskFolder::readTaskFiles(*list, reader, marks);
    if (!read) return read.error();
  }
  ListContents contents = contentsOfLists(std::move(lists));
  contents.stamp = wholeStamp(TaskFolder::stampOfMarks(marks));
  return contents;
}

ListWatch FolderDestination::watch() {
  std::vector<std::string> paths{folder_.path()};
  const auto lists = folder_.lists();
  if (lists)
    for (const auto& list : lists.value()) paths.push_back(list.path);
  const int lookout = lookout_.watch(paths);
  return {lookout, lists ? std::nullopt : std::optional(ListWatch::kUntilItIsBack)};
}

DeliveryOutcome FolderDestination::takeBack(const DeliveryAction& action) {
  const auto values = CalendarValues::shared();
  if (!values) return {Kind::Later, values.error().description};
  const auto lists = orderedLists();
  if (!lists) return {Kind::Later, lists.error().description};
  const auto found = TaskFolder::find(lists.value(), FolderBatch::fileName(action.uuid));
  if (!found) return {Kind::Later, found.error().description};
  const auto& path = found.value();
  const DeliveryOutcome gone{Kind::Refused, "it is not in " + folder_.path() + " any more"};
  if (!path) return gone;
  ContendedFile file(*path, ContendedFile::WhenMissing::Wait);
  const auto text = file.read();
  if (!text && text.error().kind == NSError::Kind::FileNotFound) return gone;
  if (!text) return {Kind::Later, text.error().description};
  // It may have been written by an attempt before the one that was noted.
  const auto tasks = tasksOfCalendar(*text.value(), *values.value());
  const bool isOne = tasks && tasks.value().size() == 1;
  DeliveryAction asWritten = action;
  if (const auto created =
          isOne ? values.value()->moment(tasks.value()[0].created, {}, {}) : std::nullopt)
    asWritten.moment = *created;
  const std::string expected = FolderBatch::textOfNew(folder_, lists.value(), asWritten);
  if (const auto removed = file.removeIfStill(expected); !removed) {
    return {Kind::Later, removed.error().description};
  } else if (!removed.value()) {
    return {Kind::Refused, "it has been changed since; it is " + *path};
  }
  removeAttachments(action, FolderBatch::attachmentFolder(folder_, action));
  return {Kind::Delivered, "taken out of " + folder_.path()};
}

}  // namespace tasklane
