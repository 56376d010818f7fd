// What desktops call to open this application: org.freedesktop.Application on the session bus, as
// the Desktop Entry Specification has it for DBusActivatable.
//
//   application-service            started by the bus; leaves when nobody calls
//   application-service --check    calls it, as a desktop would, and says whether it answers

#include <sys/wait.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "common/ExitCode.h"
#include "foundation/base/FileDescriptor.h"
#include "foundation/base/FileSystem.h"
#include "foundation/base/NSLog.h"
#include "foundation/base/ProgramStart.h"

namespace tasklane {

namespace {

constexpr const char* kName = "com.kestrelworks.Tasklane";
constexpr const char* kPath = "/com/kestrelworks/Tasklane";
constexpr std::chrono::seconds kIdle{5};

using Bus = std::unique_ptr<sd_bus, sd_bus* (*)(sd_bus*)>;

Bus sessionBus() {
  sd_bus* bus = nullptr;
  const int opened = ::sd_bus_open_user(&bus);
  if (opened < 0) NSLog(NSError::fromErrno(-opened, "There is no session bus").description + ".");
  return Bus(bus, ::sd_bus_flush_close_unref);
}

/// What a caller tells beside its request, as the environment of the program that it is for.
struct PlatformData {
  std::string activationToken, startupID;
};

/// The action of a desktop entry as arguments of `tasklane share`.
struct Action {
  const char* name;
  std::vector<std::string> arguments;
};

const std::vector<Action>& actions() {
  static const std::vector<Action> all{
      {"new", {}}, {"clipboard", {"--clipboard"}}, {"selection", {"--selection-clipboard"}}};
  return all;
}

/// The command line in the folder above this program's.
std::string commandLine() {
  std::string path(PATH_MAX, '\0');
  const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
  path.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
  return parentOfPath(parentOfPath(path)) + "/tasklane";
}

std::vector<std::string> environmentFor(const PlatformData& data) {
  std::vector<std::string> variables;
  for (char** variable = environ; *variable; ++variable)
    if (const std::string_view text = *variable; !text.starts_with("XDG_ACTIVATION_TOKEN=") &&
                                                 !text.starts_with("DESKTOP_STARTUP_ID=") &&
                                                 !text.starts_with("DBUS_STARTER_"))
      variables.emplace_back(text);
  if (!data.activationToken.empty())
    variables.push_back("XDG_ACTIVATION_TOKEN=" + data.activationToken);
  if (!data.startupID.empty()) variables.push_back("DESKTOP_STARTUP_ID=" + data.startupID);
  return variables;
}

/// Runs `tasklane share`, which is done once another process has all that is shared; what it had to
/// complain about, "" for nothing.
std::string share(std::vector<std::string> words, const PlatformData& data) {
  const std::string program = commandLine();
  words.insert(words.begin(), {"tasklane", "share", "--detach"});
  const FileDescriptor errors = unnamedFileHolding("");
  const pid_t process =
      startProgram({.program = program,
                    .arguments = std::move(words),
                    .descriptors = {ProgramStart::kNothing, ProgramStart::kNothing, errors.get()},
                    .environment = environmentFor(data)});
  if (!errors || process < 0)
    return NSError::fromErrno(errno, "cannot start " + program).description;
  int status = 0;
  if (uninterrupted([&] { return ::waitpid(process, &status, 0); }) != process) return {};
  if (WIFEXITED(status) && WEXITSTATUS(status) == 0) return {};
  ::lseek(errors.get(), 0, SEEK_SET);
  const auto said = readAll(errors.get(), "the error output");
  return said && !said.value().empty() ? said.value() : program + " has failed";
}

int readPlatformData(sd_bus_message* message, PlatformData& data) {
  int more = ::sd_bus_message_enter_container(message, 'a', "{sv}");
  while (more >= 0 && (more = ::sd_bus_message_enter_container(message, 'e', "sv")) > 0) {
    const char *key = nullptr, *contents = nullptr, *value = nullptr;
    char type = 0;
    more = ::sd_bus_message_read(message, "s", &key);
    if (more >= 0) more = ::sd_bus_message_peek_type(message, &type, &contents);
    if (more < 0) return more;
    auto* const wanted = std::strcmp(key, "activation-token") == 0     ? &data.activationToken
                         : std::strcmp(key, "desktop-startup-id") == 0 ? &data.startupID
                                                                       : nullptr;
    if (wanted && std::strcmp(contents, "s") == 0) {
      more = ::sd_bus_message_read(message, "v", "s", &value);
      if (more >= 0) *wanted = value;
    } else {
      more = ::sd_bus_message_skip(message, "v");
    }
    if (more >= 0) more = ::sd_bus_message_exit_container(message);
  }
  return more < 0 ? more : ::sd_bus_message_exit_container(message);
}

int answer(sd_bus_message* message, std::vector<std::string> words) {
  PlatformData data;
  if (const int read = readPlatformData(message, data); read < 0) return read;
  const std::string complaint = share(std::move(words), data);
  if (complaint.empty()) return ::sd_bus_reply_method_return(message, "");
  return ::sd_bus_reply_method_errorf(message, SD_BUS_ERROR_FAILED, "%s", complaint.c_str());
}

int activate(sd_bus_message* message, void*, sd_bus_error*) { return answer(message, {}); }

int open(sd_bus_message* message, void*, sd_bus_error*) {
  std::vector<std::string> words{"--"};
  if (const int read = ::sd_bus_message_enter_container(message, 'a', "s"); read < 0) return read;
  const char* address = nullptr;
  int more = 0;
  while ((more = ::sd_bus_message_read(message, "s", &address)) > 0) words.emplace_back(address);
  if (more < 0) return more;
  if (const int left = ::sd_bus_message_exit_container(message); left < 0) return left;
  return answer(message, std::move(words));
}

int activateAction(sd_bus_message* message, void*, sd_bus_error* error) {
  const char* name = nullptr;
  int read = ::sd_bus_message_read(message, "s", &name);
  if (read >= 0) read = ::sd_bus_message_skip(message, "av");
  if (read < 0) return read;
  for (const auto& action : actions())
    if (std::strcmp(action.name, name) == 0) return answer(message, action.arguments);
  return ::sd_bus_error_setf(error, SD_BUS_ERROR_INVALID_ARGS, "There is no action \"%s\"", name);
}

constexpr std::array<sd_bus_vtable, 5> kApplication{
    {SD_BUS_VTABLE_START(0),
     SD_BUS_METHOD_WITH_NAMES("Activate", "a{sv}", SD_BUS_PARAM(platform_data), "", , activate,
                              SD_BUS_VTABLE_UNPRIVILEGED),
     SD_BUS_METHOD_WITH_NAMES("Open", "asa{sv}", SD_BUS_PARAM(uris) SD_BUS_PARAM(platform_data), "",
                              , open, SD_BUS_VTABLE_UNPRIVILEGED),
     SD_BUS_METHOD_WITH_NAMES("ActivateAction", "sava{sv}",
                              SD_BUS_PARAM(action_name) SD_BUS_PARAM(parameter)
                                  SD_BUS_PARAM(platform_data),
                              "", , activateAction, SD_BUS_VTABLE_UNPRIVILEGED),
     SD_BUS_VTABLE_END}};

void handleCalls(sd_bus* bus) {
  const auto idle = std::chrono::microseconds(kIdle).count();
  for (;;) {
    const int handled = ::sd_bus_process(bus, nullptr);
    if (handled < 0) return;
    if (handled == 0 && ::sd_bus_wait(bus, static_cast<std::uint64_t>(idle)) == 0) break;
  }
  // Whoever calls from now on has a new one started; what came before is answered.
  ::sd_bus_release_name(bus, kName);
  while (::sd_bus_process(bus, nullptr) > 0) continue;
}

ExitCode serve() {
  const Bus bus = sessionBus();
  if (!bus) return ExitCode::Unavailable;
  int done = ::sd_bus_add_object_vtable(bus.get(), nullptr, kPath, "org.freedesktop.Application",
                                        kApplication.data(), nullptr);
  if (done >= 0) done = ::sd_bus_request_name(bus.get(), kName, 0);
  if (done == -EEXIST) return ExitCode::Done;
  if (done < 0) {
    NSLog(NSError::fromErrno(-done, "cannot be called on the session bus").description + ".");
    return ExitCode::Unavailable;
  }
  handleCalls(bus.get());
  return ExitCode::Done;
}

ExitCode check() {
  const Bus bus = sessionBus();
  if (!bus) return ExitCode::Unavailable;
  sd_bus_error error{};
  const int called = ::sd_bus_call_method(bus.get(), kName, kPath, "org.freedesktop.DBus.Peer",
                                          "Ping", &error, nullptr, "");
  if (called < 0) NSLog(error.message ? error.message : std::strerror(-called));
  ::sd_bus_error_free(&error);
  return called < 0 ? ExitCode::Unavailable : ExitCode::Done;
}

}  // namespace

}  // namespace tasklane

int main(int argc, char** argv) {
  const bool checks = argc == 2 && std::string_view(argv[1]) == "--check";
  return static_cast<int>(checks ? tasklane::check() : tasklane::serve());
}
