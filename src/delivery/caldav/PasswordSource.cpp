#include "delivery/caldav/PasswordSource.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>

#include "foundation/base/FileDescriptor.h"
#include "foundation/base/FileSystem.h"
#include "foundation/base/ProgramStart.h"

namespace tasklane {

namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kPatience{60};
constexpr std::size_t kLongestPassword = 4096;

std::string firstLine(const std::string& text) {
  std::string line = text.substr(0, text.find('\n'));
  if (line.ends_with('\r')) line.pop_back();
  return line;
}

/// What comes through the pipe until its first line is whole or it ends; false when it takes too
/// long.
bool readLine(int pipe, std::string& text) {
  const auto end = steady_clock::now() + kPatience;
  while (text.size() < kLongestPassword && text.find('\n') == std::string::npos) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(end - steady_clock::now());
    pollfd readable{pipe, POLLIN, 0};
    const auto ready = uninterrupted(
        [&] { return ::poll(&readable, 1, std::max(0, static_cast<int>(left.count()))); });
    if (ready <= 0) return false;
    char bytes[256];
    const ssize_t count = uninterrupted([&] { return ::read(pipe, bytes, sizeof bytes); });
    if (count <= 0) return true;
    text.append(bytes, static_cast<std::size_t>(count));
  }
  return true;
}

}  // namespace

Result<std::string> passwordOfCommand(const std::string& command) {
  const auto problem = [&](const std::string& what) {
    return NSError{NSError::Kind::Io, "the password command \"" + command + "\" " + what};
  };
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return problem("could not be started");
  const FileDescriptor output(ends[0]);
  FileDescriptor input(ends[1]);
  // All that the command starts ends with it when it takes too long.
  const pid_t process =
      startProgram({.program = "/bin/sh",
                    .arguments = {"sh", "-c", command},
                    .descriptors = {ProgramStart::kNothing, input.get(), ProgramStart::kSame},
                    .session = ProgramStart::Session::OwnGroup});
  if (process < 0) return problem("could not be started");
  input.close();
  std::string text;
  const bool isInTime = readLine(output.get(), text);
  if (!isInTime) ::kill(-process, SIGKILL);
  int status = 0;
  uninterrupted([&] { return ::waitpid(process, &status, 0); });
  if (!isInTime) return problem("took longer than a minute");
  // It may end of writing more than the line that was read.
  const bool hasLine = text.find('\n') != std::string::npos;
  if (!hasLine && status != 0)
    return problem(WIFEXITED(status) ? "ended with " + std::to_string(WEXITSTATUS(status))
                                     : "was ended by a signal");
  if (firstLine(text).empty()) return problem("printed no password");
  return firstLine(text);
}

Result<std::string> passwordInFile(const std::string& path) {
  const auto file = openFile(path, O_RDONLY | O_NONBLOCK);
  struct stat status {};
  if (!file || ::fstat(file.get(), &status) != 0)
    return NSError::fromErrno(errno, "cannot read the password file " + path);
  if (!S_ISREG(status.st_mode))
    return NSError{NSError::Kind::Unsupported, "the password file " + path + " is no plain file"};
  if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
    return NSError{NSError::Kind::NotPermitted, "others may use the password file " + path +
                                                    "; chmod 600 it, and change the password if "
                                                    "they may have seen it"};
  const auto text = readAll(file.get(), path);
  if (!text) return text.error();
  if (firstLine(text.value()).empty())
    return NSError{NSError::Kind::Corrupt,
                   "the password file " + path + " begins with no password"};
  return firstLine(text.value());
}

}  // namespace tasklane
