#include "delivery/taskwarrior/TaskProgram.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/mman.h>
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
#include "foundation/files/NSFileManager.h"

namespace tasklane {

namespace {

constexpr int kLongestRun = 120'000;  // milliseconds
/// The first descriptor behind the standard ones.
constexpr int kInherited = STDERR_FILENO + 1;

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

/// A file without a name that holds the text, at its start.
FileDescriptor fileHolding(const std::string& text) {
  FileDescriptor file(::memfd_create("task", MFD_CLOEXEC));
  if (!file || writeAll(file.get(), text) != 0 || ::lseek(file.get(), 0, SEEK_SET) != 0) return {};
  return file;
}

/// Without the full stop of a sentence.
std::string lastLineOf(const std::string& text) {
  const std::size_t end = text.find_last_not_of(" .\r\n") + 1;
  const std::size_t start = end == 0 ? 0 : text.find_last_of('\n', end - 1) + 1;
  return text.substr(start, end - start);
}

/// The descriptors are its standard ones, in order. It has a process group of its own, so that an
/// interruption from the terminal does not cut off what it writes.
int spawn(std::vector<std::string>& words, const int (&standard)[3], int inherited, pid_t& child) {
  posix_spawn_file_actions_t files;
  posix_spawn_file_actions_init(&files);
  for (int i = 0; i < 3; ++i) posix_spawn_file_actions_adddup2(&files, standard[i], i);
  if (inherited >= 0) posix_spawn_file_actions_adddup2(&files, inherited, kInherited);
  posix_spawn_file_actions_addclosefrom_np(&files, kInherited + (inherited >= 0 ? 1 : 0));
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t none;
  ::sigemptyset(&none);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP);
  std::vector<char*> arguments;
  for (auto& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  const int failure =
      ::posix_spawnp(&child, arguments[0], &files, &attributes, arguments.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&files);
  return failure;
}

/// The status of a process at its end; none when it took too long, and was ended.
std::optional<int> statusOf(pid_t child) {
  // Called so because not every version of the C library's header can be used from C++.
  const FileDescriptor process(static_cast<int>(::syscall(SYS_pidfd_open, child, 0)));
  pollfd waiting{process.get(), POLLIN, 0};
  const bool hasEnded =
      !process || uninterrupted([&] { return ::poll(&waiting, 1, kLongestRun); }) > 0;
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
  const FileDescriptor in = fileHolding(input), out = fileHolding(""), errors = fileHolding("");
  if (!in || !out || !errors) return NSError::fromErrno(errno, "cannot start the program task");
  pid_t child = 0;
  if (const int failure = spawn(all, {in.get(), out.get(), errors.get()}, inherited, child)) {
    if (failure == ENOENT)
      return NSError{
          NSError::Kind::Unsupported,
          "the program task is not there: install Taskwarrior, or add its folder to PATH"};
    return NSError::fromErrno(failure, "cannot start the program task");
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
