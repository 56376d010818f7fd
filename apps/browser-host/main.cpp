// What the browser extension speaks with: a browser starts it for each share, with the extension's
// identity as an argument, and ends it when it likes.

#include <fcntl.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "Frames.h"
#include "HandOver.h"
#include "PageShare.h"
#include "common/ExitCode.h"

namespace tasklane {

namespace {

constexpr std::string_view kChromiumOrigin = "chrome-extension://" TASKLANE_CHROMIUM_EXTENSION "/";
constexpr std::string_view kGeckoExtension = TASKLANE_GECKO_EXTENSION;

/// Chromium names the extension's origin, Firefox the host's manifest and the extension.
bool isCalledByOurExtension(int argc, char** argv) {
  return (argc > 1 && argv[1] == kChromiumOrigin) || (argc > 2 && argv[2] == kGeckoExtension);
}

/// The command line beside this program; "" when it cannot be found.
std::string commandLine() {
  std::string path(PATH_MAX, '\0');
  const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
  if (length <= 0) return {};
  path.resize(static_cast<std::size_t>(length));
  return path.substr(0, path.rfind('/')) + "/tasklane";
}

bool answer(Frames& frames, const char* state) {
  return frames.write(nlohmann::json{{"state", state}}.dump());
}

ExitCode refuse(Frames& frames, const std::string& sentence, ExitCode code) {
  (void)frames.write(nlohmann::json{{"state", "failed"}, {"error", sentence}}.dump(
      -1, ' ', false, nlohmann::json::error_handler_t::replace));
  return code;
}

ExitCode serve(Frames& frames) {
  PageShare share;
  while (true) {
    const auto frame = frames.read();
    if (!frame) return refuse(frames, frame.error().description, ExitCode::BadData);
    if (!frame.value()) return ExitCode::Done;
    const auto message = share.take(*frame.value());
    if (!message) return refuse(frames, message.error().description, ExitCode::BadData);
    if (message.value() == PageShare::Message::Hello) (void)answer(frames, "here");
    if (message.value() != PageShare::Message::Share) continue;
    if (const auto handedOver = handOver(commandLine(), share); !handedOver)
      return refuse(frames, handedOver.error().description, ExitCode::SheetGone);
    (void)answer(frames, "accepted");
    return ExitCode::Done;
  }
}

}  // namespace

}  // namespace tasklane

int main(int argc, char** argv) {
  using namespace tasklane;
  for (int descriptor = STDIN_FILENO; descriptor <= STDERR_FILENO; ++descriptor)
    if (::fcntl(descriptor, F_GETFD) < 0) (void)::open("/dev/null", O_RDWR);
  // That the browser is gone is an error of the write, not the end of the program.
  std::signal(SIGPIPE, SIG_IGN);
  Frames frames(STDIN_FILENO, STDOUT_FILENO);
  if (!isCalledByOurExtension(argc, argv))
    return static_cast<int>(
        refuse(frames, "this program serves Tasklane's browser extension only", ExitCode::Usage));
  return static_cast<int>(serve(frames));
}
