#include "foundation/base/ProgramStart.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "foundation/base/FileSystem.h"

namespace tasklane {

namespace {

/// The descriptors, and the folder.
class FileActions {
 public:
  explicit FileActions(const ProgramStart& start) {
    posix_spawn_file_actions_init(&actions_);
    int number = 0;
    for (const int descriptor : start.descriptors) {
      if (descriptor == ProgramStart::kNothing)
        posix_spawn_file_actions_addopen(&actions_, number, "/dev/null", O_RDWR, 0);
      else if (descriptor != ProgramStart::kSame)
        posix_spawn_file_actions_adddup2(&actions_, descriptor, number);
      ++number;
    }
    posix_spawn_file_actions_addclosefrom_np(&actions_, number);
    if (!start.folder.empty())
      posix_spawn_file_actions_addchdir_np(&actions_, start.folder.c_str());
  }
  ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
  FileActions(const FileActions&) = delete;
  FileActions& operator=(const FileActions&) = delete;

  const posix_spawn_file_actions_t* get() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

/// The signals, and the session.
class Attributes {
 public:
  explicit Attributes(ProgramStart::Session session) {
    posix_spawnattr_init(&attributes_);
    sigset_t none, all;
    ::sigemptyset(&none);
    ::sigfillset(&all);
    posix_spawnattr_setsigmask(&attributes_, &none);
    posix_spawnattr_setsigdefault(&attributes_, &all);
    posix_spawnattr_setflags(&attributes_, flagsFor(session));
  }
  ~Attributes() { posix_spawnattr_destroy(&attributes_); }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;

  const posix_spawnattr_t* get() const { return &attributes_; }

 private:
  static short flagsFor(ProgramStart::Session session) {
    switch (session) {
      case ProgramStart::Session::Same:
        return POSIX_SPAWN_SETSIGMASK;
      case ProgramStart::Session::OwnGroup:
        return POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETPGROUP;
      case ProgramStart::Session::Own:
        return POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID;
    }
    return 0;
  }

  posix_spawnattr_t attributes_;
};

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (auto& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

pid_t startProgram(ProgramStart start) {
  const FileActions actions(start);
  const Attributes attributes(start.session);
  const auto arguments = pointersTo(start.arguments);
  const auto variables = start.environment ? pointersTo(*start.environment) : std::vector<char*>();
  pid_t process = -1;
  const int failure =
      ::posix_spawnp(&process, start.program.c_str(), actions.get(), attributes.get(),
                     arguments.data(), start.environment ? variables.data() : environ);
  if (failure == 0) return process;
  errno = failure;
  return -1;
}

FileDescriptor unnamedFileHolding(std::string_view text) {
  FileDescriptor file(::memfd_create("tasklane", MFD_CLOEXEC));
  if (!file) return file;
  if (const int reason = writeAll(file.get(), text)) {
    errno = reason;
    return {};
  }
  if (::lseek(file.get(), 0, SEEK_SET) != 0) return {};
  return file;
}

}  // namespace tasklane
