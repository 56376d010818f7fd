#include "ShareCommand.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "Command.h"
#include "common/Standby.h"
#include "foundation/base/FileDescriptor.h"
#include "foundation/base/FileSystem.h"
#include "foundation/base/ProgramStart.h"
#include "foundation/extension/NSBundle.h"
#include "foundation/extension/UTType.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/files/NSURL.h"
#include "foundation/images/EncodedImage.h"

namespace tasklane {

namespace {

bool isSet(const char* variable) {
  const char* value = std::getenv(variable);
  return value && *value;
}

void requireDisplay() {
  if (!hasDisplay())
    throw Failure{ExitCode::Usage,
                  "There is no display to show the sheet on; add --post to save without a window."};
}

/// Opens the pictures that are shared as files, for as long as this process and what it becomes
/// live, and has them read from there: they may be removed or replaced then. One for which there is
/// no descriptor left is read from its path.
void holdPictures(ShareRequest& request) {
  const std::string descriptors = "/proc/" + std::to_string(::getpid()) + "/fd/";
  for (auto& item : request.items)
    for (auto& attachment : item.attachments) {
      auto& kind = attachment.front();
      if (attachment.size() > 1 || !kind.file || !EncodedImage::imageWithContentsOfFile(*kind.file))
        continue;
      const int file = ::open(kind.file->c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY);
      if (file < 0) return;
      kind.type = kUTTypeImage;
      kind.file = descriptors + std::to_string(file);
    }
}

/// This process stands for itself: nothing that its starter does reaches it.
void standAlone() {
  ::setsid();
  const FileDescriptor nothing(::open("/dev/null", O_RDWR | O_CLOEXEC));
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    ::dup2(nothing.get(), descriptor);
}

}  // namespace

std::string sheetProgram() {
  return NSBundle::mainBundle()->builtInPlugInsPath() + "/Share.appex/share";
}

bool hasDisplay() {
  return isSet("DISPLAY") || isSet("WAYLAND_DISPLAY") || isSet("QT_QPA_PLATFORM");
}

void readSheetAhead() {
  constexpr off_t kLoadedPart = 4 << 20;  // debugging information may follow it
  for (const std::string& program : {std::string("/proc/self/exe"), sheetProgram()}) {
    const FileDescriptor file(::open(program.c_str(), O_RDONLY | O_CLOEXEC));
    if (file) (void)::posix_fadvise(file.get(), 0, kLoadedPart, POSIX_FADV_WILLNEED);
  }
}

namespace {

/// The text of a file that a person has named, and the folder that its names of files are from.
struct Document {
  std::string name, text, folder;
};

Document documentInFile(const std::string& kind, const std::string& file) {
  Document document;
  document.name = "The " + kind + (file == "-" ? " on standard input" : " " + file);
  auto text = NSFileManager::defaultManager().contentsOfInputAtPath(file);
  if (!text)
    throw Failure{ExitCode::MissingInput,
                  document.name + " cannot be read: " + text.error().description + "."};
  document.text = std::move(text).value();
  document.folder = NSURL::fileURLWithPath(file == "-" ? std::string("x") : file)
                        .URLByDeletingLastPathComponent()
                        .path();
  return document;
}

}  // namespace

ShareRequest requestFromFile(const std::string& file) {
  const auto document = documentInFile("request", file);
  auto request = ShareRequest::requestFromJSON(document.text, document.folder);
  if (!request)
    throw Failure{exitCodeForInputError(request.error()),
                  document.name + " cannot be used: " + request.error().description + "."};
  return std::move(request).value();
}

ShareBatch batchFromFile(const std::string& file) {
  const auto document = documentInFile("batch", file);
  return ShareBatch::fromText(document.text, document.folder);
}

void openSheet(const ShareRequest& request, const std::optional<SnapshotOptions>& snapshot) {
  if (!snapshot) requireDisplay();
  const std::string program = sheetProgram();
  if (const auto document = unnamedFileHolding(request.JSON());
      !document || ::dup2(document.get(), STDIN_FILENO) < 0)
    throw Failure{ExitCode::WriteFailed,
                  NSError::fromErrno(errno, "The request cannot be handed over").description + "."};
  if (!snapshot) {
    const auto code = standby::handOver(program, STDIN_FILENO);
    if (!code)
      throw Failure{ExitCode::SheetGone, "The sheet was lost: " + code.error().description + "."};
    // Like the takeover below: nothing of this process is left to do.
    if (code.value()) ::_exit(*code.value());
  }
  // The extension takes this process over, so that its end, however it comes, is this one's.
  std::vector<std::string> words{"share"};
  if (snapshot) words.insert(words.end(), {"--snapshot", snapshot->file});
  if (snapshot && snapshot->scale) words.insert(words.end(), {"--scale", *snapshot->scale});
  std::vector<char*> arguments;
  for (auto& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  ::execv(program.c_str(), arguments.data());
  throw Failure{ExitCode::MissingInput,
                NSError::fromErrno(errno, "The sheet's program cannot be started").description +
                    " (" + program + "); install it there, or add --post to save without it."};
}

void openSheetDetached(ShareRequest request) {
  requireDisplay();
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0)
    throw Failure{ExitCode::WriteFailed,
                  NSError::fromErrno(errno, "Nothing was shared").description + "."};
  const FileDescriptor reader(ends[0]);
  FileDescriptor writer(ends[1]);
  const pid_t process = ::fork();
  if (process < 0)
    throw Failure{ExitCode::WriteFailed,
                  NSError::fromErrno(errno, "Nothing was shared").description + "."};
  if (process == 0) {
    standAlone();
    holdPictures(request);
    (void)writeAll(writer.get(), "!");
    try {
      openSheet(request, {});
    } catch (const Failure& failure) {
      ::_exit(static_cast<int>(failure.code));
    }
  }
  writer.close();
  char word = 0;
  if (uninterrupted([&] { return ::read(reader.get(), &word, 1); }) != 1)
    throw Failure{ExitCode::SheetGone, "The sheet's process was lost; nothing was shared."};
}

}  // namespace tasklane
