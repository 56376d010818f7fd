#include "ProgramRun.h"

#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "foundation/base/FileDescriptor.h"
#include "foundation/base/FileSystem.h"
#include "foundation/base/ProgramStart.h"

namespace tasklane {

namespace {

constexpr std::chrono::milliseconds kPatience{10000};

std::string contentsOf(const FileDescriptor& file) {
  ::lseek(file.get(), 0, SEEK_SET);
  auto text = readAll(file.get(), "the output");
  return text ? std::move(text).value() : std::string();
}

}  // namespace

Result<ProgramRun> ProgramRun::of(std::vector<std::string> words, const std::string& input) {
  const std::string name = words.front();
  const FileDescriptor given = unnamedFileHolding(input), output = unnamedFileHolding(""),
                       errors = unnamedFileHolding("");
  const pid_t process = startProgram({.program = name,
                                      .arguments = std::move(words),
                                      .descriptors = {given.get(), output.get(), errors.get()},
                                      .session = ProgramStart::Session::OwnGroup});
  if (!given || !output || !errors || process < 0)
    return NSError::fromErrno(errno, name + " cannot be started");
  const FileDescriptor end(static_cast<int>(::syscall(SYS_pidfd_open, process, 0)));
  pollfd ended{end.get(), POLLIN, 0};
  const bool isInTime =
      uninterrupted([&] { return ::poll(&ended, 1, static_cast<int>(kPatience.count())); }) == 1;
  if (!isInTime) ::kill(-process, SIGKILL);
  int status = 0;
  (void)uninterrupted([&] { return ::waitpid(process, &status, 0); });
  if (!isInTime) return NSError{NSError::Kind::Io, name + " does not end"};
  return ProgramRun{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status),
                    contentsOf(output), contentsOf(errors)};
}

}  // namespace tasklane
