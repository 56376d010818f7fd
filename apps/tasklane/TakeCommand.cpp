#include "TakeCommand.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Command.h"
#include "QueueCommands.h"
#include "common/OutOfMemory.h"
#include "foundation/base/FileSystem.h"
#include "foundation/base/NSUUID.h"
#include "foundation/files/NSFileManager.h"
#include "shared-store/TLXExternalAction.h"

namespace tasklane {

using nlohmann::json;

namespace {

constexpr int kMillisecondsForReader = 5000;
/// A pipe that takes anything takes so much at once (POSIX: PIPE_BUF).
constexpr std::size_t kChunk = 4096;

Result<void> writeOutput(std::string_view text) {
  while (!text.empty()) {
    pollfd output{STDOUT_FILENO, POLLOUT, 0};
    const int ready = ::poll(&output, 1, kMillisecondsForReader);
    if (ready == 0) return NSError{NSError::Kind::Io, "nobody reads it"};
    const ssize_t count =
        ready < 0 ? ready : ::write(STDOUT_FILENO, text.data(), std::min(text.size(), kChunk));
    if (count < 0 && errno != EINTR && errno != EAGAIN)
      return NSError::fromErrno(errno, "cannot write");
    if (count > 0) text.remove_prefix(static_cast<std::size_t>(count));
  }
  // What is removed from the queue must be on the disk where it goes; a pipe has none.
  if (::fsync(STDOUT_FILENO) != 0 && errno != EINVAL && errno != ENOTSUP && errno != EROFS)
    return NSError::fromErrno(errno, "cannot flush");
  return {};
}

/// Files that get a second name in a folder of their own and lose the first one only when they
/// have been handed over. Whatever ends the process meanwhile, each is found under one of them.
class HandedAttachments {
 public:
  HandedAttachments()
      : from_(TLXExternalAction::sharedAttachmentPath()),
        to_(from_ + "/taken/" + NSUUID::UUIDString()) {}

  /// The new path of an attachment; none where it is missing.
  std::optional<std::string> add(const std::string& name) {
    if (name.empty() || name.find('/') != std::string::npos || name.front() == '.') return {};
    const std::string path = to_ + "/" + name;
    if (std::find(names_.begin(), names_.end(), name) != names_.end()) return path;
    if (::access((from_ + "/" + name).c_str(), F_OK) != 0) return {};
    if (names_.empty()) {
      const auto made = NSFileManager::defaultManager().createDirectoryAtPath(to_, true);
      if (!made) throw Failure{ExitCode::WriteFailed, sentence(made.error().description)};
    }
    names_.push_back(name);
    if (const auto named = nameToo(from_ + "/" + name, path); !named)
      throw Failure{ExitCode::WriteFailed, sentence(named.error().description)};
    return path;
  }

  /// The new names are on the disk from then on.
  void flush() const {
    if (names_.empty()) return;
    for (const auto& folder : {to_, from_ + "/taken", from_})
      if (const auto flushed = flushFolder(folder); !flushed)
        throw Failure{ExitCode::WriteFailed, sentence(flushed.error().description)};
  }
  void complete() const { removeFrom(from_); }
  void takeBack() const {
    removeFrom(to_);
    ::rmdir(to_.c_str());
  }

 private:
  static std::string sentence(const std::string& reason) {
    return "The attachments cannot be handed over (" + reason + "); nothing was taken.";
  }
  /// By a copy on a file system that knows no second names.
  static Result<void> nameToo(const std::string& file, const std::string& path) {
    if (::link(file.c_str(), path.c_str()) == 0) return {};
    const auto& manager = NSFileManager::defaultManager();
    const auto contents = manager.contentsAtPath(file);
    if (!contents) return contents.error();
    return NSFileManager::defaultManager().writeToFileAtomically(path, contents.value());
  }
  void removeFrom(const std::string& folder) const {
    for (const auto& name : names_)
      (void)NSFileManager::defaultManager().removeItemAtPath(folder + "/" + name);
  }

  std::string from_;
  std::string to_;
  std::vector<std::string> names_;
};

/// The entries as `queue --json` shows them, with the paths of their attachments.
json handedOver(const PropertyList::Array& entries, HandedAttachments& attachments) {
  json list = JSONFromEntries(entries);
  for (json& entry : list) {
    const auto info = entry.find("info");
    if (info == entry.end() || !info->is_object() || !info->contains("attachments")) continue;
    json paths = json::array();
    for (const auto& name : (*info)["attachments"]) {
      if (!name.is_string()) continue;
      if (const auto path = attachments.add(name.get<std::string>())) paths.push_back(*path);
    }
    entry["attachmentFiles"] = std::move(paths);
  }
  return list;
}

}  // namespace

void takeQueue() {
  requireContainer();
  requireReadable(*TLXExternalAction::presenter());
  std::signal(SIGPIPE, SIG_IGN);
  HandedAttachments attachments;
  std::optional<Failure> failure;
  TLXExternalAction::changeEntries(
      [&](const PropertyList::Array& entries) -> std::optional<PropertyList::Array> {
        try {
          const std::string text = textOf(handedOver(entries, attachments));
          attachments.flush();
          const auto written = writeOutput(text);
          if (!written)
            failure = {ExitCode::WriteFailed,
                       "The output could not be written (" + written.error().description +
                           "); everything is still in the queue, what was printed "
                           "included."};
        } catch (const Failure& unable) {
          failure = unable;
        }
        if (failure || entries.empty()) return std::nullopt;
        return PropertyList::Array{};
      });
  if (!failure) failure = failureOfLastChange(*TLXExternalAction::presenter());
  if (failure) {
    attachments.takeBack();
    throw *failure;
  }
  OutOfMemory::changeIsSaved();
  attachments.complete();
}

}  // namespace tasklane
