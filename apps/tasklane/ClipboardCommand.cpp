#include <sys/wait.h>

#include <cerrno>
#include <optional>
#include <string>
#include <utility>

#include "Command.h"
#include "ShareCommand.h"
#include "foundation/base/FileDescriptor.h"
#include "foundation/base/FileSystem.h"
#include "foundation/base/ProgramStart.h"
#include "foundation/files/NSFileManager.h"

namespace tasklane {

namespace {

/// The program's exit code, none where it has none.
std::optional<int> run(ProgramStart start) {
  const std::string program = start.program;
  const pid_t process = startProgram(std::move(start));
  if (process < 0)
    throw Failure{ExitCode::MissingInput,
                  NSError::fromErrno(errno,
                                     "The clipboard is read by the sheet's program, which cannot "
                                     "be started")
                          .description +
                      " (" + program +
                      "); install it there, or say what is shared by --text or --image."};
  int status = 0;
  const bool hasEnded = uninterrupted([&] { return ::waitpid(process, &status, 0); }) == process;
  return hasEnded && WIFEXITED(status) ? std::optional(WEXITSTATUS(status)) : std::nullopt;
}

std::string sentence(std::string text) {
  while (text.ends_with('\n')) text.pop_back();
  return "There is nothing to share: " + oneLine(text) + ".";
}

}  // namespace

ShareRequest requestFromClipboard(ShareRequest::Clipboard clipboard) {
  if (!hasDisplay())
    throw Failure{ExitCode::Usage, "There is no display whose clipboard could be read."};
  // Of the picture no more is read than its kind, until it is loaded.
  static const FileDescriptor picture = unnamedFileHolding({});
  const FileDescriptor answer = unnamedFileHolding({});
  if (!picture || !answer)
    throw Failure{ExitCode::WriteFailed,
                  NSError::fromErrno(errno, "The clipboard cannot be taken").description + "."};
  const bool isCopied = clipboard == ShareRequest::Clipboard::Copied;
  const auto code = run(
      {.program = sheetProgram(),
       .arguments = {"share", "--read", isCopied ? "copied" : "selected", "--picture-as",
                     "/proc/self/fd/" + std::to_string(picture.get())},
       .descriptors = {ProgramStart::kNothing, answer.get(), ProgramStart::kSame, picture.get()}});
  const auto text = NSFileManager::defaultManager().contentsOfInputAtPath(
      "/proc/self/fd/" + std::to_string(answer.get()));
  if (code && *code == static_cast<int>(ExitCode::MissingInput) && text)
    throw Failure{ExitCode::MissingInput, sentence(text.value())};
  const auto request = code == 0 && text ? ShareRequest::requestFromJSON(text.value(), "/")
                                         : NSError{NSError::Kind::Io, {}};
  if (!request)
    throw Failure{
        ExitCode::SheetGone,
        "The clipboard could not be read: the sheet's program has ended before its time."};
  return request.value();
}

}  // namespace tasklane
