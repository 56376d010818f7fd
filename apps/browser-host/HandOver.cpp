#include "HandOver.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "foundation/base/FileSystem.h"
#include "foundation/base/ProgramStart.h"

namespace tasklane {

namespace {

/// The last line, without the program's name before it.
std::string lastSentence(int file) {
  constexpr off_t kMost = 4096;
  constexpr std::string_view kProgram = "tasklane: ";
  const off_t size = ::lseek(file, 0, SEEK_END);
  std::string text(static_cast<std::size_t>(std::clamp<off_t>(size, 0, kMost)), '\0');
  const ssize_t count =
      ::pread(file, text.data(), text.size(), size - static_cast<off_t>(text.size()));
  text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  while (text.ends_with('\n')) text.pop_back();
  text.erase(0, text.rfind('\n') + 1);
  if (text.starts_with(kProgram)) text.erase(0, kProgram.size());
  return text;
}

}  // namespace

Result<void> handOver(const std::string& program, const PageShare& share) {
  // Files, not pipes: those would break with this process.
  const auto errors = unnamedFileHolding("");
  const auto request = unnamedFileHolding(share.request(
      "/proc/" + std::to_string(::getpid()) + "/fd/" + std::to_string(share.picture().get())));
  if (!errors || !request) return NSError::fromErrno(errno, "the share cannot be handed over");
  const pid_t process =
      startProgram({.program = program,
                    .arguments = {program, "share", "--detach", "--request", "-"},
                    .descriptors = {request.get(), ProgramStart::kNothing, errors.get()},
                    .session = ProgramStart::Session::Own});
  if (process < 0) return NSError::fromErrno(errno, "cannot start " + program);
  int status = 0;
  if (uninterrupted([&] { return ::waitpid(process, &status, 0); }) != process)
    return NSError::fromErrno(errno, "cannot wait for " + program);
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return {};
  const auto sentence = lastSentence(errors.get());
  return NSError{NSError::Kind::Io,
                 sentence.empty() ? program + " ended without a word" : sentence};
}

}  // namespace tasklane
