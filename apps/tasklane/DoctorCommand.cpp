#include "DoctorCommand.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Command.h"
#include "ProgramRun.h"
#include "SharingWays.h"
#include "delivery/DeliveryLock.h"
#include "foundation/base/FileDescriptor.h"
#include "foundation/base/FileSystem.h"
#include "foundation/extension/NSBundle.h"
#include "foundation/files/NSFileManager.h"

namespace tasklane {

namespace {

using nlohmann::json;

struct Finding {
  enum class State { Works, Broken, Absent };
  std::string way;
  State state;
  std::string sentence;
};

Finding works(const std::string& way, const std::string& sentence) {
  return {way, Finding::State::Works, sentence};
}
Finding broken(const std::string& way, const std::string& sentence) {
  return {way, Finding::State::Broken, sentence};
}
Finding absent(const std::string& way, const std::string& sentence) {
  return {way, Finding::State::Absent, sentence};
}

/// A folder of this command alone, which is removed with all that is in it.
class ScratchFolder {
 public:
  ScratchFolder() : path_("/tmp/tasklane-doctor-XXXXXX") {
    if (!::mkdtemp(path_.data())) throw Failure{ExitCode::WriteFailed, "/tmp cannot be written."};
  }
  ~ScratchFolder() { (void)NSFileManager::defaultManager().removeItemAtPath(path_); }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  std::string file(const char* name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

std::string bundle() { return NSBundle::mainBundle()->bundlePath(); }

/// Runs a program whose exit code 0 is what has to be seen.
Finding byRunning(const std::string& way, std::vector<std::string> words,
                  const std::string& sentence) {
  const auto run = ProgramRun::of(std::move(words));
  if (!run) return broken(way, run.error().description + ".");
  if (run.value().code == 0) return works(way, sentence);
  const std::string said =
      oneLine(run.value().errors.empty() ? run.value().output : run.value().errors);
  return broken(way, said.empty() ? "It fails without a word." : said);
}

bool isInstalled(const std::string& path) { return ::access(path.c_str(), X_OK) == 0; }

Finding sheet() {
  if (!isInstalled(bundle() + "/PlugIns/Share.appex/share"))
    return absent("sheet",
                  "Only the command line is installed; the package tasklane has the sheet.");
  const ScratchFolder folder;
  return byRunning(
      "sheet",
      {bundle() + "/tasklane", "share", "--title", "t", "--snapshot", folder.file("s.png")},
      "It was drawn.");
}

Finding agent() {
  if (DeliveryLock::isHeld(DeliveryLock::Of::Agent)) return works("agent", "It is there.");
  return absent("agent",
                "It is not there, and each save delivers by itself; `systemctl --user enable --now "
                "tasklane-agent` has it stay.");
}

Finding addresses() {
  constexpr const char* kEntry = "com.kestrelworks.Tasklane.desktop";
  if (programOnPath("xdg-mime").empty())
    return absent("addresses", "Who opens tasklane: addresses is not known without xdg-utils.");
  const auto run = ProgramRun::of({"xdg-mime", "query", "default", "x-scheme-handler/tasklane"});
  if (!run) return broken("addresses", run.error().description + ".");
  const std::string entry = oneLine(run.value().output);
  if (entry == kEntry)
    return works("addresses", "Desktops open tasklane: addresses with the sheet.");
  if (entry.empty())
    return absent("addresses",
                  "Nothing opens tasklane: addresses; the package tasklane has the "
                  "desktop entry that does.");
  return broken("addresses", entry + " opens tasklane: addresses; `xdg-mime default " + kEntry +
                                 " x-scheme-handler/tasklane` gives them to the sheet.");
}

Finding bus(const Way& way) {
  const char* address = std::getenv("DBUS_SESSION_BUS_ADDRESS");
  const char* folder = std::getenv("XDG_RUNTIME_DIR");
  if (!(address && *address) && !(folder && *folder))
    return absent(way.name, "There is no session bus here.");
  return byRunning(way.name, {bundle() + "/Helpers/application-service", "--check"},
                   "It was called and has answered.");
}

/// What a menu that shares nothing is told by the program that it starts; "" for nothing.
std::string answerToEmptyMenu(const FileDescriptor& server) {
  const FileDescriptor menu(::accept4(server.get(), nullptr, nullptr, SOCK_CLOEXEC));
  // A map without entries, behind its length.
  if (!menu || ::send(menu.get(), "1\n\xA0", 3, MSG_NOSIGNAL) != 3) return {};
  std::string answer(1024, '\0');
  const auto count = ::recv(menu.get(), answer.data(), answer.size(), MSG_WAITALL);
  answer.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return answer;
}

/// Plays KDE's menu to the installed package.
Finding purpose(const Way& way) {
  const std::string script = parentOfPath(way.installedPlace()) + "/contents/code/main.sh";
  const ScratchFolder folder;
  const std::string path = folder.file("menu");
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  const FileDescriptor server(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (::bind(server.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      ::listen(server.get(), 1) != 0)
    return broken(way.name, NSError::fromErrno(errno, "A menu cannot be played").description + ".");
  std::string answer;
  std::thread menu([&] { answer = answerToEmptyMenu(server); });
  const auto run = ProgramRun::of({script, "--server", path, "--pluginType", "Export"});
  ::shutdown(server.get(), SHUT_RDWR);  // should it not have called
  menu.join();
  if (!run) return broken(way.name, run.error().description + ".");
  const auto message = json::parse(answer, nullptr, false);
  if (message.is_object() && message.contains("errorText"))
    return works(way.name, "It was started as KDE does, and has answered.");
  return broken(way.name, script + " does not answer as KDE's menu has to be answered: " +
                              oneLine(run.value().errors));
}

/// Starts the command line that an entry of a menu names.
Finding menuEntry(const Way& way) {
  const std::string place = way.installedPlace();
  const auto text = NSFileManager::defaultManager().contentsAtPath(place);
  const std::size_t end = text ? text.value().find("\" share") : std::string::npos;
  const std::size_t start = end == std::string::npos ? end : text.value().rfind('"', end - 1);
  if (start == std::string::npos)
    return broken(way.name, place + " does not say what it starts; `tasklane integrate --install " +
                                way.name + "` writes it anew.");
  return byRunning(way.name, {text.value().substr(start + 1, end - start - 1), "share", "--help"},
                   "It has its entry in the menu: " + place + ".");
}

/// Asks the host that a browser's manifest names, as that browser does.
Finding browser(const Way& way) {
  const std::string place = way.installedPlace();
  const auto text = NSFileManager::defaultManager().contentsAtPath(place);
  const auto manifest = json::parse(text ? text.value() : "", nullptr, false);
  if (!manifest.is_object() || !manifest.contains("path") || !manifest["path"].is_string())
    return broken(way.name, place + " cannot be read; `tasklane integrate --install " + way.name +
                                "` writes it anew.");
  std::vector<std::string> words{manifest["path"].get<std::string>()};
  for (const char* key : {"allowed_origins", "allowed_extensions"})
    if (const auto allowed = manifest.find(key); allowed != manifest.end() && allowed->is_array() &&
                                                 !allowed->empty() &&
                                                 allowed->front().is_string()) {
      if (key == std::string_view("allowed_extensions")) words.push_back(place);
      words.push_back(allowed->front().get<std::string>());
    }
  const std::string hello = R"({"type":"hello"})";
  const auto length = static_cast<std::uint32_t>(hello.size());
  std::string frame(sizeof length, '\0');
  std::memcpy(frame.data(), &length, sizeof length);
  const auto run = ProgramRun::of(words, frame + hello);
  if (!run) return broken(way.name, run.error().description + ".");
  const std::string& output = run.value().output;
  const auto answer =
      json::parse(output.substr(std::min(output.size(), sizeof length)), nullptr, false);
  if (answer.is_object() && answer.value("state", "failed") != "failed")
    return works(way.name,
                 "The browser's way to the sheet has answered; it needs the extension too.");
  return broken(way.name, words.front() + " does not answer as a browser has to be answered.");
}

Finding examined(const Way& way) {
  if (way.kind == Way::Kind::Sandboxed)
    return absent(way.name, way.program +
                                " starts no program outside its sandbox; the bookmark of "
                                "`tasklane integrate --list` shares from it.");
  if (way.state() == Way::State::OfOthers)
    return broken(way.name, "Something else is in the place of " + way.files.front().place +
                                "; move it away and run `tasklane integrate --install " + way.name +
                                "`.");
  if (way.installedPlace().empty())
    return absent(way.name, way.isUsed ? "`tasklane integrate --install " + way.name +
                                             "` puts it there for " + way.program + "."
                                       : way.program + " is not there.");
  if (way.kind == Way::Kind::Browser) return browser(way);
  if (way.name == "bus") return bus(way);
  return way.name == "purpose" ? purpose(way) : menuEntry(way);
}

std::vector<Finding> findings() {
  const std::string program = bundle() + "/tasklane";
  std::vector<Finding> all{
      byRunning("files", {program, "check"}, "The shared files are as they should be."),
      byRunning("list", {program, "deliver", "--dry-run"}, "The list can be reached."), agent(),
      sheet(), addresses()};
  for (const auto& way : sharingWays()) all.push_back(examined(way));
  all.push_back(absent("key", "Bind a key of your desktop to " + commandForKey() + "."));
  return all;
}

const char* nameOf(Finding::State state) {
  static constexpr const char* kNames[] = {"works", "broken", "absent"};
  return kNames[static_cast<std::size_t>(state)];
}

}  // namespace

void examine(OutputFormat format) {
  const auto all = findings();
  json list = json::array();
  for (const auto& [way, state, sentence] : all) {
    list.push_back({{"way", way}, {"state", nameOf(state)}, {"sentence", sentence}});
    std::string columns = way;
    columns.resize(std::max<std::size_t>(columns.size(), 12), ' ');
    if (format == OutputFormat::Text)
      print(columns + " " + nameOf(state) + "  " + oneLine(sentence) + "\n");
  }
  if (format == OutputFormat::JSON) printJSON(list);
  const auto faults = std::count_if(all.begin(), all.end(), [](const Finding& finding) {
    return finding.state == Finding::State::Broken;
  });
  if (faults == 0) return;
  finishOutput();
  throw Failure{ExitCode::Unavailable, "Something that is installed does not work."};
}

}  // namespace tasklane
