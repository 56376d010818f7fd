#include "delivery/taskwarrior/TaskProgram.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "delivery/TaskFiles.h"
#include "foundation/base/FileSystem.h"
#include "foundation/base/ProgramStart.h"
#include "foundation/files/NSFileManager.h"

namespace tasklane {

namespace {

constexpr int kLongestRun = 120'000;  // milliseconds

/// Over the person's settings, which may want questions, colours, other names or defaults.
constexpr const char* kOverrides[] = {"rc.confirmation=off",
                                      "rc.bulk=0",
                                      "rc.verbose=nothing",
                                      "rc.hooks=off",
                                      "rc.gc=off",
                                      "rc.recurrence=off",
                                      "rc.color=off",
                                      "rc._forcecolor=off",
                                      "rc.obfuscate=off",
                                      "rc.debug=off",
                                      "rc.exit.on.missing.db=on",
                                      "rc.context=",
                                      "rc.json.array=on",
                                      "rc.json.depends.array=on",
                                      "rc.default.project=",
                                      "rc.default.due=",
                                      "rc.default.scheduled="};

NSError problem(const std::string& what) { return {NSError::Kind::Io, what}; }

/// Without the full stop of a sentence.
std::string lastLineOf(const std::string& text) {
  const std::size_t end = text.find_last_not_of(" .\r\n") + 1;
  const std::size_t start = end == 0 ? 0 : text.find_last_of('\n', end - 1) + 1;
  return text.substr(start, end - start);
}

/// The status of a process at its end; none when it took too long, and was ended.
std::optional<int> statusOf(pid_t child) {
  // Called so because not every version of the C library's header can be used from C++.
  const FileDescriptor process(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
  pollfd waiting{process.get(), POLLIN, 0};
  const bool hasEnded =
      !process || uninterrupted([&] { return ::poll(&waiting, 1, kLongestRun); }) != 0;
  if (!hasEnded) ::kill(child, SIGKILL);
  int status = 0;
  const pid_t ended = uninterrupted([&] { return ::waitpid(child, &status, 0); });
  return hasEnded && ended == child ? std::optional(status) : std::nullopt;
}

}  // namespace

Result<std::string> TaskProgram::run(std::vector<std::string> words, const std::string& input,
                                     int inherited) const {
  std::vector<std::string> all{"task"};
  if (!settings_.empty()) all.push_back("rc:" + settings_);
  if (!data_.empty()) all.push_back("rc.data.location=" + data_);
  all.insert(all.end(), std::begin(kOverrides), std::end(kOverrides));
  all.insert(all.end(), std::make_move_iterator(words.begin()),
             std::make_move_iterator(words.end()));
  const FileDescriptor in = unnamedFileHolding(input), out = unnamedFileHolding(""),
                       errors = unnamedFileHolding("");
  if (!in || !out || !errors) return NSError::fromErrno(errno, "cannot start the program task");
  std::vector<int> descriptors{in.get(), out.get(), errors.get()};
  if (inherited >= 0) descriptors.push_back(inherited);
  // An interruption from the terminal must not cut off what it writes.
  const pid_t child = startProgram({.program = "task",
                                    .arguments = std::move(all),
                                    .descriptors = std::move(descriptors),
                                    .session = ProgramStart::Session::OwnGroup});
  if (child < 0) {
    if (errno == ENOENT)
      return NSError{
          NSError::Kind::Unsupported,
          "the program task is not there: install Taskwarrior, or add its folder to PATH"};
    return NSError::fromErrno(errno, "cannot start the program task");
  }
  const auto status = statusOf(child);
  if (!status) return problem("the program task has not come to an end");
  const auto read = [](const FileDescriptor& file) {
    ::lseek(file.get(), 0, SEEK_SET);
    return readAll(file.get(), "what the program task prints");
  };
  if (WIFEXITED(*status) && WEXITSTATUS(*status) == 0) return read(out);
  const auto told = read(errors);
  if (told && !lastLineOf(told.value()).empty())
    return problem("Taskwarrior says: " + lastLineOf(told.value()));
  return problem(WIFSIGNALED(*status)
                     ? "the program task was ended by signal " + std::to_string(WTERMSIG(*status))
                     : "the program task ended with code " + std::to_string(WEXITSTATUS(*status)));
}

Result<std::string> TaskProgram::version() const {
  auto printed = run({"rc.exit.on.missing.db=off", "_version"});
  if (!printed) return printed;
  const std::string version = lastLineOf(printed.value());
  int major = 0, minor = 0;
  if (std::sscanf(version.c_str(), "%d.%d.", &major, &minor) != 2)
    return NSError{NSError::Kind::Unsupported,
                   "the program task on PATH is another one than Taskwarrior's"};
  if (major < 2 || (major == 2 && minor < 5))
    return NSError{NSError::Kind::Unsupported,
                   "Taskwarrior " + version + " is too old; 2.5 or later is needed"};
  return version;
}

Result<std::string> TaskProgram::dataFolder() const {
  if (!dataFolder_.empty()) return dataFolder_;
  const auto printed = run({"_get", "rc.data.location"});
  if (!printed) return printed;
  std::string folder = lastLineOf(printed.value());
  const char* home = std::getenv("HOME");
  if (folder.starts_with("~/") && home) folder = home + folder.substr(1);
  if (!folder.starts_with("/")) return problem("Taskwarrior does not say where its data are");
  return dataFolder_ = folder;
}

Result<std::string> TaskProgram::exportTasks(std::vector<std::string> filter) const {
  filter.emplace_back("export");
  return run(std::move(filter));
}

Result<std::string> TaskProgram::uuids(std::vector<std::string> filter) const {
  filter.emplace_back("_uuids");
  return run(std::move(filter));
}

Result<std::optional<FileDescriptor>> TaskProgram::takeTurn() {
  const std::string folder = dataFolderOfUser();
  const auto made = NSFileManager::defaultManager().createDirectoryAtPath(folder, true);
  if (!made) return made.error();
  const std::string path = folder + "/taskwarrior.lock";
  FileDescriptor file = openFile(path, O_RDWR | O_CREAT | O_NOFOLLOW, 0600);
  if (!file) return NSError::fromErrno(errno, "cannot open " + path);
  if (::flock(file.get(), LOCK_EX | LOCK_NB) != 0) return std::optional<FileDescriptor>();
  return std::optional(std::move(file));
}

Result<void> TaskProgram::importTasks(const std::string& json, const FileDescriptor& turn) const {
  const auto printed = run({"import", "-"}, json, turn.get());
  if (!printed) return printed.error();
  return {};
}

}  // namespace tasklane
