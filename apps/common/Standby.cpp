#include "common/Standby.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "common/InheritedConditions.h"
#include "foundation/base/FileSystem.h"
#include "foundation/base/NSLog.h"
#include "foundation/base/ProgramStart.h"

namespace tasklane::standby {

namespace {

// A process that waits answers in well under a millisecond; one that does not is stopped or swapped
// out, and a new one is faster.
constexpr std::chrono::milliseconds kLongestAnswer{500};
constexpr char kTaken = 'T';
// Request, working folder, output, error output.
constexpr std::size_t kLentDescriptors = 4;

/// What only says where a caller sits and who launched it, or is handed over with each call.
constexpr std::string_view kOfTheCaller[] = {"_",
                                             "SHLVL",
                                             "PWD",
                                             "OLDPWD",
                                             "TERM",
                                             "COLUMNS",
                                             "LINES",
                                             "WINDOWID",
                                             "XDG_ACTIVATION_TOKEN",
                                             "DESKTOP_STARTUP_ID",
                                             "GIO_LAUNCHED_DESKTOP_FILE",
                                             "GIO_LAUNCHED_DESKTOP_FILE_PID",
                                             "INVOCATION_ID",
                                             "JOURNAL_STREAM",
                                             "SYSTEMD_EXEC_PID"};
constexpr const char* kActivationToken = "XDG_ACTIVATION_TOKEN";

bool isOfTheCaller(const std::string& variable) {
  const auto name = std::string_view(variable).substr(0, variable.find('='));
  return std::find(std::begin(kOfTheCaller), std::end(kOfTheCaller), name) !=
         std::end(kOfTheCaller);
}

/// What a process must have in common with its caller: the program's very file, what neither can
/// give itself, and the environment.
std::string conditions(const std::string& program, Environment environment) {
  std::string text = unchangeableConditions() + '\n';
  struct stat file {};
  if (::stat(program.c_str(), &file) == 0)
    for (const auto part :
         {static_cast<long long>(file.st_dev), static_cast<long long>(file.st_ino),
          static_cast<long long>(file.st_mtim.tv_sec),
          static_cast<long long>(file.st_mtim.tv_nsec)})
      text += std::to_string(part) + ' ';
  std::erase_if(environment, isOfTheCaller);
  std::sort(environment.begin(), environment.end());
  for (const auto& variable : environment) text += '\0' + variable;
  return text;
}

/// Where a process waits; none where it must not.
std::optional<std::string> placePath() {
  const char* wished = std::getenv("TASKLANE_STANDBY");
  if (wished && std::string_view(wished) == "0") return {};
  // Named from where the caller works, which who waits does not know yet.
  const char* containers = std::getenv("TASKLANE_GROUP_CONTAINERS");
  if (containers && *containers && *containers != '/') return {};
  const char* folder = std::getenv("XDG_RUNTIME_DIR");
  struct stat state {};
  if (!folder || ::stat(folder, &state) != 0) return {};
  // Requests are private, as XDG_RUNTIME_DIR has to be (XDG Base Directories).
  if (!S_ISDIR(state.st_mode) || state.st_uid != ::geteuid() || (state.st_mode & 077) != 0)
    return {};
  const std::string path = std::string(folder) + "/tasklane-sheet";
  if (path.size() >= sizeof(sockaddr_un::sun_path)) return {};
  return path;
}

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return address;
}

FileDescriptor newSocket(int flags) {
  return FileDescriptor(::socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | flags, 0));
}

FileDescriptor lockOf(const std::string& path) {
  FileDescriptor lock(::open((path + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  if (lock && ::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) return {};
  return lock;
}

bool isOfThisUser(int socket) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return ::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 &&
         peer.uid == ::geteuid();
}

bool becomesReadable(int descriptor, std::chrono::milliseconds limit) {
  pollfd waiting{descriptor, POLLIN, 0};
  return ::poll(&waiting, 1, static_cast<int>(limit.count())) == 1;
}

/// A message of some bytes, with room for the descriptors that go with them.
struct Message {
  Message(char* text, std::size_t size) : part{text, size} {
    header.msg_iov = &part;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof control;
  }
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;

  iovec part;
  alignas(cmsghdr) char control[CMSG_SPACE(kLentDescriptors * sizeof(int))]{};
  msghdr header{};
};

/// What a caller says, line by line: its file mode mask, its soft limits, its activation token, and
/// its conditions.
std::string textOfCall(const std::string& conditions) {
  const mode_t mask = ::umask(0);
  ::umask(mask);
  const char* token = std::getenv(kActivationToken);
  return std::to_string(mask) + '\n' + softLimits() + '\n' + (token ? token : "") + '\n' +
         conditions;
}

bool sendCall(int socket, std::string text, const std::array<int, kLentDescriptors>& descriptors) {
  Message message(text.data(), text.size());
  cmsghdr& control = *CMSG_FIRSTHDR(&message.header);
  control.cmsg_level = SOL_SOCKET;
  control.cmsg_type = SCM_RIGHTS;
  control.cmsg_len = CMSG_LEN(sizeof descriptors);
  std::memcpy(CMSG_DATA(&control), descriptors.data(), sizeof descriptors);
  return ::sendmsg(socket, &message.header, MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
}

struct ReceivedCall {
  mode_t mask = 0;
  std::string limits;
  std::string activationToken;
  std::string conditions;
  std::array<FileDescriptor, kLentDescriptors> descriptors;
};

std::optional<ReceivedCall> receiveCall(int socket) {
  const ssize_t size = ::recv(socket, nullptr, 0, MSG_PEEK | MSG_TRUNC);
  if (size <= 0) return {};
  std::string text(static_cast<std::size_t>(size), '\0');
  Message message(text.data(), text.size());
  if (::recvmsg(socket, &message.header, MSG_CMSG_CLOEXEC) != size) return {};
  const cmsghdr* header = CMSG_FIRSTHDR(&message.header);
  if (!header || header->cmsg_type != SCM_RIGHTS) return {};
  ReceivedCall call;
  std::array<int, kLentDescriptors> numbers;
  numbers.fill(-1);
  std::memcpy(numbers.data(), CMSG_DATA(header),
              std::min(sizeof numbers, header->cmsg_len - CMSG_LEN(0)));
  std::transform(numbers.begin(), numbers.end(), call.descriptors.begin(),
                 [](int number) { return FileDescriptor(number); });
  const auto maskEnd = text.find('\n');
  const auto limitsEnd = text.find('\n', maskEnd + 1);
  const auto tokenEnd = text.find('\n', limitsEnd + 1);
  if (maskEnd == std::string::npos || limitsEnd == std::string::npos ||
      tokenEnd == std::string::npos)
    return {};
  if (!call.descriptors.back()) return {};
  call.mask = static_cast<mode_t>(std::strtoul(text.c_str(), nullptr, 10));
  call.limits = text.substr(maskEnd + 1, limitsEnd - maskEnd - 1);
  call.activationToken = text.substr(limitsEnd + 1, tokenEnd - limitsEnd - 1);
  call.conditions = text.substr(tokenEnd + 1);
  return call;
}

/// This process reads, writes and looks for files where the caller does, within its limits.
void workFor(const ReceivedCall& call) {
  const auto& [request, folder, output, errors] = call.descriptors;
  ::dup2(request.get(), STDIN_FILENO);
  ::dup2(output.get(), STDOUT_FILENO);
  ::dup2(errors.get(), STDERR_FILENO);
  if (::fchdir(folder.get()) != 0)
    NSLog(NSError::fromErrno(errno, "cannot work in the caller's folder").description);
  ::umask(call.mask);
  adoptSoftLimits(call.limits);
  if (!call.activationToken.empty()) ::setenv(kActivationToken, call.activationToken.c_str(), 1);
}

}  // namespace

Environment currentEnvironment() {
  Environment environment;
  for (char** variable = environ; variable && *variable; ++variable)
    environment.emplace_back(*variable);
  return environment;
}

Result<std::optional<int>> handOver(const std::string& program, int request) {
  const std::optional<int> nobody;
  const auto path = placePath();
  // An X11 desktop that waits for a window of this start learns of it from a process of its own.
  if (!path || std::getenv("DESKTOP_STARTUP_ID")) return nobody;
  const FileDescriptor socket = newSocket(0);
  const sockaddr_un address = addressOf(*path);
  if (!socket ||
      ::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      !isOfThisUser(socket.get()))
    return nobody;
  const FileDescriptor folder(::open(".", O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!folder || !sendCall(socket.get(), textOfCall(conditions(program, currentEnvironment())),
                           {request, folder.get(), STDOUT_FILENO, STDERR_FILENO}))
    return nobody;
  char word = 0;
  if (!becomesReadable(socket.get(), kLongestAnswer) || ::recv(socket.get(), &word, 1, 0) != 1 ||
      word != kTaken)
    return nobody;
  unsigned char code = 0;
  if (uninterrupted([&] { return ::recv(socket.get(), &code, 1, 0); }) != 1)
    return NSError{NSError::Kind::Io,
                   "its process has ended without saying how; `tasklane queue` shows what "
                   "it has saved"};
  return std::optional<int>(code);
}

void startProcess(const std::string& program, const Environment& environment) {
  const auto path = placePath();
  if (!path || !lockOf(*path)) return;
  Environment variables = environment;
  std::erase_if(variables, isOfTheCaller);
  const pid_t process = startProgram({.program = program,
                                      .arguments = {"share", "--standby"},
                                      .session = ProgramStart::Session::Own,
                                      .environment = std::move(variables),
                                      .folder = "/"});
  if (process < 0)
    NSLog(NSError::fromErrno(errno, "cannot start " + program + " ahead of its next request")
              .description);
}

Listener::Listener(std::string path, std::string conditions, FileDescriptor lock)
    : path_(std::move(path)), conditions_(std::move(conditions)), lock_(std::move(lock)) {}

std::unique_ptr<Listener> Listener::make(const std::string& program,
                                         const Environment& environment) {
  const auto path = placePath();
  if (!path) return nullptr;
  FileDescriptor lock = lockOf(*path);
  if (!lock) return nullptr;
  return std::unique_ptr<Listener>(
      new Listener(*path, conditions(program, environment), std::move(lock)));
}

Listener::~Listener() { leave(); }

void Listener::leave() {
  if (!lock_) return;
  if (socket_) ::unlink(path_.c_str());
  socket_.close();
  lock_.close();
}

Result<void> Listener::open() {
  // Who has the lock may remove what a process left that could not do it itself.
  ::unlink(path_.c_str());
  FileDescriptor socket = newSocket(SOCK_NONBLOCK);
  const sockaddr_un address = addressOf(path_);
  if (!socket ||
      ::bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(socket.get(), SOMAXCONN) != 0)
    return NSError::fromErrno(errno, "cannot wait for a request at " + path_);
  socket_ = std::move(socket);
  return {};
}

Listener::Call Listener::answer() {
  FileDescriptor caller(::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC));
  if (!caller || !isOfThisUser(caller.get()) || !becomesReadable(caller.get(), kLongestAnswer))
    return Call::Nobody;
  const auto call = receiveCall(caller.get());
  if (!call) return Call::Nobody;
  if (call->conditions != conditions_) {
    leave();
    return Call::Refused;
  }
  // Whoever has waited too long is gone, and shares by a process of its own.
  if (::send(caller.get(), &kTaken, 1, MSG_NOSIGNAL) != 1) return Call::Nobody;
  leave();
  workFor(*call);
  caller_ = std::move(caller);
  return Call::Taken;
}

void Listener::finish(int exitCode) {
  const auto code = static_cast<unsigned char>(exitCode);
  (void)::send(caller_.get(), &code, 1, MSG_NOSIGNAL);
}

}  // namespace tasklane::standby
