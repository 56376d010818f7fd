#include "delivery/taskwarrior/TaskwarriorDestination.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <map>
#include <numeric>
#include <span>
#include <sstream>
#include <unordered_set>
#include <utility>

#include "delivery/TaskFiles.h"
#include "delivery/taskwarrior/TaskwarriorTasks.h"
#include "foundation/base/FileSystem.h"
#include "foundation/files/NSFileManager.h"

namespace tasklane {

using taskwarrior::Task;

namespace {

using Kind = DeliveryOutcome::Kind;

/// Up to so many tasks Taskwarrior looks up faster than it exports all of them.
constexpr std::size_t kFewTasks = 3;
/// How often an import that failed is tried with a part of its tasks, to find the one it fails for.
constexpr int kMostParts = 30;
constexpr const char* kBusy = "another import into Taskwarrior is under way";

std::string attachmentFolder(const std::string& uuid) {
  return dataFolderOfUser() + "/taskwarrior/" + uuid;
}

NSDate startOfToday() {
  auto seconds = static_cast<std::time_t>(Clock::now().time_since_epoch().count());
  std::tm fields{};
  ::tzset();
  ::localtime_r(&seconds, &fields);
  fields.tm_hour = fields.tm_min = fields.tm_sec = 0;
  fields.tm_isdst = -1;
  return NSDate(NSTimeInterval(static_cast<double>(std::mktime(&fields))));
}

Result<taskwarrior::Export> exported(const TaskProgram& program, std::vector<std::string> filter) {
  auto text = program.exportTasks(std::move(filter));
  if (!text) return text.error();
  return taskwarrior::tasksOfExport(std::move(text).value());
}

}  // namespace

/// What one call changes: the tasks concerned, as they are to be imported.
class TaskwarriorDestination::Batch {
 public:
  Batch(const std::vector<DeliveryAction>& actions)
      : actions_(actions), outcomes_(actions.size()) {}

  std::vector<DeliveryOutcome> takeOutcomes() { return std::move(outcomes_); }

  void allLater(const std::string& reason) {
    for (auto& outcome : outcomes_)
      if (outcome.kind != Kind::Refused) outcome = {Kind::Later, reason};
  }

  Result<void> read(const TaskProgram& program) {
    std::vector<std::string> uuids;
    for (const auto& action : actions_)
      if (auto uuid = taskwarrior::uuidOf(action.uuid)) uuids.push_back(std::move(*uuid));
    if (uuids.empty()) return {};
    if (uuids.size() > kFewTasks) uuids.clear();
    const bool areAllNew = std::all_of(actions_.begin(), actions_.end(), [](const auto& action) {
      return action.type == TLXExternalActionType::New;
    });
    if (areAllNew) return readIdentifiers(program, std::move(uuids));
    auto found = exported(program, std::move(uuids));
    if (!found) return found.error();
    hasBrokenText_ = found.value().hasBrokenText;
    for (auto& task : found.value().tasks) {
      auto uuid = taskwarrior::uuidOf(task["uuid"].get<std::string>());
      known_.emplace(std::move(*uuid), std::move(task));
    }
    return {};
  }

  /// Of new tasks nothing but their presence counts.
  Result<void> readIdentifiers(const TaskProgram& program, std::vector<std::string> filter) {
    const auto lines = program.uuids(std::move(filter));
    if (!lines) return lines.error();
    std::istringstream text(lines.value());
    for (std::string line; std::getline(text, line);)
      if (auto uuid = taskwarrior::uuidOf(line)) known_.emplace(std::move(*uuid), Task());
    return {};
  }

  void apply() {
    for (std::size_t i = 0; i < actions_.size(); ++i) outcomes_[i] = applied(actions_[i]);
    for (auto& change : changes_)
      change.json = known_.at(change.uuid).dump(-1, ' ', false, Task::error_handler_t::replace);
  }

  /// In bytes, of what is to be imported.
  std::size_t size() const {
    return std::accumulate(
        changes_.begin(), changes_.end(), std::size_t{0},
        [](std::size_t sum, const auto& change) { return sum + change.json.size(); });
  }

  /// One import for all, unless it fails.
  void import(const TaskProgram& program, const FileDescriptor& turn) {
    int parts = kMostParts;
    if (!changes_.empty()) importPart(program, turn, changes_, parts);
    for (std::size_t i = 0; i < actions_.size(); ++i) {
      const auto failure = failures_.find(taskwarrior::uuidOf(actions_[i].uuid).value_or(""));
      if (outcomes_[i].kind != Kind::Delivered || failure == failures_.end()) continue;
      // What fails while others do not will always fail.
      const bool isItsOwn = failures_.size() < changes_.size() && failure->second.wasAlone;
      outcomes_[i] = {isItsOwn ? Kind::Refused : Kind::Later, failure->second.reason};
    }
  }

 private:
  struct Change {
    std::string uuid;
    std::string json;
  };

  DeliveryOutcome applied(const DeliveryAction& action) {
    const auto uuid = taskwarrior::uuidOf(action.uuid);
    const bool isNew = action.type == TLXExternalActionType::New;
    if (!uuid)
      return {Kind::Refused,
              isNew ? "its identifier \"" + action.uuid + "\" is no UUID, which Taskwarrior wants"
                    : "the task is not in Taskwarrior"};
    const std::string where = "Taskwarrior, " + *uuid;
    auto found = known_.find(*uuid);
    if (found != known_.end() && isNew) return {Kind::Delivered, where, true};
    if (isNew) {
      const std::string folder = attachmentFolder(*uuid);
      if (const auto stored = store(action, folder); !stored)
        return {Kind::Later, stored.error().description};
      known_.emplace(*uuid, taskwarrior::newTask(action, folder));
      noteChange(*uuid);
      return {Kind::Delivered, where, false};
    }
    if (found == known_.end()) return {Kind::Refused, "the task is not in Taskwarrior any more"};
    Task task = found->second;
    const auto result = taskwarrior::apply(action, task);
    if (!result.refusal.empty()) return {Kind::Refused, result.refusal};
    if (!result.isChanged) return {Kind::Delivered, where, true};
    taskwarrior::removeComputed(task);
    if (hasBrokenText_ && task.dump().find("\uFFFD") != std::string::npos)
      return {Kind::Refused, "the task holds bytes that are no text, which an import would alter"};
    found->second = std::move(task);
    noteChange(*uuid);
    return {Kind::Delivered, where, false};
  }

  void noteChange(const std::string& uuid) {
    if (changedOnes_.insert(uuid).second) changes_.push_back({uuid, {}});
  }

  static Result<void> store(const DeliveryAction& action, const std::string& folder) {
    if (action.attachments.empty()) return {};
    const auto made =
        NSFileManager::defaultManager().createDirectoryAtPath(parentOfPath(folder), true);
    if (!made) return made;
    return copyAttachments(action, folder);
  }

  void importPart(const TaskProgram& program, const FileDescriptor& turn,
                  std::span<const Change> changes, int& parts) {
    std::string list = "[";
    for (const auto& change : changes) list += (list.size() > 1 ? "," : "") + change.json;
    const auto done = program.importTasks(list + "]", turn);
    if (done) return;
    if (changes.size() == 1 || parts <= 0) {
      for (const auto& change : changes)
        failures_[change.uuid] = {done.error().description, changes.size() == 1};
      return;
    }
    parts -= 2;
    const std::size_t half = changes.size() / 2;
    importPart(program, turn, changes.first(half), parts);
    importPart(program, turn, changes.subspan(half), parts);
  }

  struct Failure {
    std::string reason;
    bool wasAlone = false;
  };
  const std::vector<DeliveryAction>& actions_;
  std::vector<DeliveryOutcome> outcomes_;
  std::map<std::string, Task> known_;  // by their uuids in lower case
  std::vector<Change> changes_;        // in the order of the actions, as Taskwarrior numbers them
  std::unordered_set<std::string> changedOnes_;
  std::map<std::string, Failure> failures_;
  bool hasBrokenText_ = false;
};

TaskwarriorDestination::TaskwarriorDestination(const std::string& settings, const std::string& data)
    : program_(settings, data),
      description_("Taskwarrior" + (settings.empty() ? "" : " with the settings " + settings) +
                   (data.empty() ? "" : " in " + data)) {}

/// Taskwarrior begins its data at its first use.
Result<std::vector<ListContainer>> TaskwarriorDestination::lists() {
  const auto version = program_.version();
  if (!version) return version.error();
  const auto folder = program_.dataFolder();
  if (!folder) return folder.error();
  if (const auto tried = exported(program_, {"limit:1"}); !tried) return tried.error();
  if (const auto flushed = flushFolder(folder.value()); !flushed) return flushed.error();
  return std::vector<ListContainer>{
      {folder.value(), "Taskwarrior " + version.value(), std::nullopt}};
}

/// The regular files of its folder, but for those that merely share memory.
Result<std::vector<std::string>> TaskwarriorDestination::dataFiles() const {
  const auto folder = program_.dataFolder();
  if (!folder) return folder.error();
  const auto names = namesInFolder(folder.value());
  if (!names)
    return NSError{names.error().kind,
                   "Taskwarrior's data are not there: " + names.error().description};
  std::vector<std::string> paths;
  for (const auto& name : names.value())
    if (name.ends_with(".data") || (name.starts_with("taskchampion") && !name.ends_with("-shm")))
      paths.push_back(folder.value() + "/" + name);
  if (paths.empty())
    return NSError{NSError::Kind::FileNotFound, "Taskwarrior's data are not in " + folder.value()};
  return paths;
}

/// Where the disk is full Taskwarrior leaves half a line, which it cannot read itself afterwards.
Result<void> TaskwarriorDestination::checkPlace(std::size_t bytes) const {
  const auto files = dataFiles();
  if (!files) return files.error();
  const std::string folder = parentOfPath(files.value().front());
  constexpr std::size_t kReserve = std::size_t{1} << 20;
  // A task is written to the list, to what can be undone and to what is to be synchronised; the
  // list may be written anew.
  std::size_t wanted = bytes * 4 + kReserve;
  struct stat status {};
  for (const auto& path : files.value())
    if (path.ends_with("/pending.data") && ::stat(path.c_str(), &status) == 0)
      wanted += static_cast<std::size_t>(status.st_size);
  struct statvfs system {};
  if (::statvfs(folder.c_str(), &system) == 0 && system.f_bavail * system.f_frsize < wanted)
    return NSError{NSError::Kind::NoSpace, "there is no room left in " + folder};
  return {};
}

/// Not every version flushes what it has written; where it has, this costs nothing.
Result<void> TaskwarriorDestination::flush() const {
  const auto files = dataFiles();
  if (!files) return files.error();
  for (const auto& path : files.value()) {
    const FileDescriptor file = openFile(path, O_RDONLY);
    if (file && uninterrupted([&] { return ::fdatasync(file.get()); }) != 0)
      return NSError::fromErrno(errno, "cannot flush " + path);
  }
  return {};
}

std::vector<DeliveryOutcome> TaskwarriorDestination::carryOut(
    const std::vector<DeliveryAction>& actions, const Progress& progress) {
  Batch batch(actions);
  const auto carryOutInTurn = [&]() -> Result<void> {
    const auto turn = TaskProgram::takeTurn();
    if (!turn) return turn.error();
    if (!turn.value()) return NSError{NSError::Kind::Busy, kBusy};
    if (const auto place = checkPlace(0); !place) return place;
    if (const auto read = batch.read(program_); !read) return read;
    batch.apply();
    if (const auto place = checkPlace(batch.size()); !place) return place;
    batch.import(program_, *turn.value());
    return flush();
  };
  const auto done = carryOutInTurn();
  if (!done) batch.allLater(done.error().description);
  progress(actions.size());
  return batch.takeOutcomes();
}

std::vector<std::string> TaskwarriorDestination::losses(const DeliveryAction& action) const {
  return taskwarrior::losses(action);
}

Result<std::optional<std::string>> TaskwarriorDestination::stamp() {
  const auto files = dataFiles();
  if (!files) return files.error();
  // What was completed yesterday is not published any more today.
  std::string stamp = taskwarrior::timeText(startOfToday());
  for (const auto& path : files.value()) {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) continue;
    stamp += " " + nameInPath(path) + " " + stampOfFile(status);
  }
  return std::optional(std::move(stamp));
}

Result<ListContents> TaskwarriorDestination::contents() {
  auto before = stamp();
  if (!before) return before.error();
  const auto tasks =
      exported(program_, {"(", "status:pending", "or", "status:waiting", "or",
                          "end.after:" + taskwarrior::timeText(startOfToday()), ")"});
  if (!tasks) return tasks.error();
  ListContents contents = taskwarrior::published(tasks.value().tasks, startOfToday());
  contents.stamp = *before.value();
  return contents;
}

ListWatch TaskwarriorDestination::watch() {
  const auto files = dataFiles();
  const int folder = files ? watch_.watch({parentOfPath(files.value().front())}) : -1;
  return {folder, folder >= 0 ? std::nullopt : std::optional(ListWatch::kUntilItIsBack)};
}

DeliveryOutcome TaskwarriorDestination::takeBack(const DeliveryAction& action) {
  const auto uuid = taskwarrior::uuidOf(action.uuid);
  if (!uuid) return {Kind::Refused, "it is not in Taskwarrior"};
  const auto turn = TaskProgram::takeTurn();
  if (!turn) return {Kind::Later, turn.error().description};
  if (!turn.value()) return {Kind::Later, kBusy};
  auto found = exported(program_, {*uuid});
  if (!found) return {Kind::Later, found.error().description};
  auto& tasks = found.value().tasks;
  if (tasks.empty()) return {Kind::Refused, "it is not in Taskwarrior any more"};
  const std::string folder = attachmentFolder(*uuid);
  if (!taskwarrior::isStill(tasks[0], taskwarrior::newTask(action, folder)))
    return {Kind::Refused, "it has been changed since; Taskwarrior has it as " + *uuid};
  taskwarrior::removeComputed(tasks[0]);
  taskwarrior::markDeleted(tasks[0], Clock::now());
  if (const auto place = checkPlace(0); !place) return {Kind::Later, place.error().description};
  const auto imported = program_.importTasks(Task(tasks).dump(), *turn.value());
  if (!imported) return {Kind::Later, imported.error().description};
  if (const auto flushed = flush(); !flushed) return {Kind::Later, flushed.error().description};
  removeAttachments(action, folder);
  return {Kind::Delivered, "marked as deleted in Taskwarrior"};
}

}  // namespace tasklane
