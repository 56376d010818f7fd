#include "common/BackgroundDelivery.h"

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <string_view>

#include "delivery/DeliveryLock.h"
#include "foundation/extension/NSBundle.h"
#include "shared-store/TLXPlistPresenter.h"

namespace tasklane {

namespace {

/// The command line beside which this program lies, or which this program is.
std::string programPath() {
  std::string bundle = NSBundle::mainBundle()->bundlePath();
  constexpr std::string_view kExtension = "/PlugIns/Share.appex";
  if (bundle.ends_with(kExtension)) bundle.resize(bundle.size() - kExtension.size());
  return bundle + "/tasklane";
}

}  // namespace

void deliverInBackground() {
  const char* wanted = std::getenv("TASKLANE_DELIVERY");
  if (wanted && std::string_view(wanted) == "0") return;
  if (DeliveryLock::isHeld(DeliveryLock::Of::Agent) ||
      DeliveryLock::isHeld(DeliveryLock::Of::Background))
    return;
  std::string program = programPath();
  std::string command = "deliver";
  std::string option = "--background";
  char* const arguments[] = {program.data(), command.data(), option.data(), nullptr};
  posix_spawnattr_t attributes;
  posix_spawn_file_actions_t files;
  if (::posix_spawnattr_init(&attributes) != 0) return;
  if (::posix_spawn_file_actions_init(&files) == 0) {
    sigset_t none;
    ::sigemptyset(&none);
    ::posix_spawnattr_setsigmask(&attributes, &none);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK);
    ::posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDWR, 0);
    ::posix_spawn_file_actions_adddup2(&files, STDIN_FILENO, STDOUT_FILENO);
    ::posix_spawn_file_actions_adddup2(&files, STDIN_FILENO, STDERR_FILENO);
    ::posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
    pid_t child = 0;
    (void)::posix_spawn(&child, program.c_str(), &files, &attributes, arguments, environ);
    ::posix_spawn_file_actions_destroy(&files);
  }
  ::posix_spawnattr_destroy(&attributes);
}

}  // namespace tasklane
