#include "SharingWays.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string_view>

#include "foundation/base/FileSystem.h"
#include "foundation/extension/NSBundle.h"
#include "foundation/files/NSFileManager.h"

namespace tasklane {

namespace {

constexpr const char* kMark = "Written by tasklane integrate";
constexpr const char* kID = "com.kestrelworks.Tasklane";
constexpr const char* kHost = "/com.kestrelworks.tasklane.json";

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

/// A folder of the person, by its variable if that is a whole path (XDG Base Directories).
std::string folderOf(const char* name, const std::string& otherwise) {
  const std::string folder = variable(name);
  return folder.starts_with('/') ? folder : variable("HOME") + otherwise;
}

bool exists(const std::string& path) {
  struct stat state {};
  return ::stat(path.c_str(), &state) == 0;
}

/// Where a file of the data folders is installed; "" where it is not.
std::string installedIn(const std::string& place) {
  std::istringstream folders(variable("XDG_DATA_DIRS").empty() ? "/usr/local/share:/usr/share"
                                                               : variable("XDG_DATA_DIRS"));
  for (std::string folder; std::getline(folders, folder, ':');)
    if (folder.starts_with('/') && exists(folder + "/" + place)) return folder + "/" + place;
  return {};
}

Way menu(const std::string& name, const std::string& program,
         const std::vector<std::string>& executables, const std::vector<std::string>& places) {
  Way way{name, program, Way::Kind::Menu, executables.empty(), {}};
  for (const auto& executable : executables) way.isUsed |= !programOnPath(executable).empty();
  for (const auto& place : places)
    way.files.push_back({"menus/" + place, folderOf("XDG_DATA_HOME", "/.local/share") + "/" + place,
                         installedIn(place)});
  return way;
}

Way browser(const std::string& name, const std::string& program, const std::string& folder,
            const std::string& hosts, const std::string& everybody) {
  const bool isFirefox = hosts == "native-messaging-hosts";
  const std::string installed = everybody.empty() ? "" : everybody + kHost;
  return {name,
          program,
          Way::Kind::Browser,
          exists(folder),
          {{isFirefox ? "browsers/firefox.json" : "browsers/chromium.json",
            folder + "/" + hosts + kHost, exists(installed) ? installed : ""}}};
}

std::vector<Way> browsers() {
  if (!exists(NSBundle::mainBundle()->bundlePath() + "/Resources/browsers")) return {};
  const std::string config = folderOf("XDG_CONFIG_HOME", "/.config"), home = variable("HOME");
  const std::string hosts = "NativeMessagingHosts", geckoHosts = "native-messaging-hosts";
  return {
      browser("firefox", "Firefox", home + "/.mozilla", geckoHosts,
              "/usr/lib/mozilla/native-messaging-hosts"),
      browser("librewolf", "LibreWolf", home + "/.librewolf", geckoHosts, ""),
      browser("chromium", "Chromium", config + "/chromium", hosts,
              "/etc/chromium/native-messaging-hosts"),
      browser("chrome", "Chrome", config + "/google-chrome", hosts,
              "/etc/opt/chrome/native-messaging-hosts"),
      browser("brave", "Brave", config + "/BraveSoftware/Brave-Browser", hosts, ""),
      browser("edge", "Edge", config + "/microsoft-edge", hosts,
              "/etc/opt/edge/native-messaging-hosts"),
      browser("vivaldi", "Vivaldi", config + "/vivaldi", hosts, ""),
  };
}

/// Browsers that start no program outside their sandbox, by their folders in a home.
std::vector<Way> sandboxedBrowsers() {
  const std::pair<const char*, const char*> kFolders[] = {
      {"/.var/app/org.mozilla.firefox", "Firefox (Flatpak)"},
      {"/.var/app/org.chromium.Chromium", "Chromium (Flatpak)"},
      {"/.var/app/com.google.Chrome", "Chrome (Flatpak)"},
      {"/.var/app/com.brave.Browser", "Brave (Flatpak)"},
      {"/.var/app/com.microsoft.Edge", "Edge (Flatpak)"},
      {"/snap/firefox", "Firefox (Snap)"},
      {"/snap/chromium", "Chromium (Snap)"}};
  const auto nameOf = [](const std::string& folder) {
    return nameInPath(folder) + (folder.starts_with("/snap/") ? "-snap" : "");
  };
  std::vector<Way> ways;
  for (const auto& [folder, program] : kFolders)
    if (exists(variable("HOME") + folder))
      ways.push_back({nameOf(folder), program, Way::Kind::Sandboxed, true, {}});
  return ways;
}

}  // namespace

const char* const kBookmark =
    "javascript:location.href='tasklane:add?title='+encodeURIComponent(document.title)+'&url='+"
    "encodeURIComponent(location.href)";

Result<std::string> WayFile::contents() const {
  const auto bundle = NSBundle::mainBundle()->bundlePath();
  auto text = NSFileManager::defaultManager().contentsAtPath(bundle + "/Resources/" + resource);
  if (!text)
    return NSError{NSError::Kind::FileNotFound,
                   "the share sheet (package tasklane) is not installed beside this program"};
  if (bundle.find_first_of("\"'\\$`%\n") != bundle.npos)
    return NSError{NSError::Kind::Unsupported,
                   "the path of this program, " + bundle + ", has signs that menus misread"};
  constexpr std::string_view kPlaceholder = "@BUNDLE@";
  std::string& result = text.value();
  for (std::size_t at = 0; (at = result.find(kPlaceholder, at)) != result.npos;)
    result.replace(at, kPlaceholder.size(), bundle);
  const std::string mark =
      std::string(kMark) + ", which replaces and removes it; without these words it does not.";
  if (resource.starts_with("browsers/")) {  // browsers take known keys alone
    const std::size_t description = result.find("\",", result.find("\"description\""));
    return result.insert(description, ". " + mark);
  }
  if (result.starts_with('{')) return result.insert(1, "\n    \"X-Origin\": \"" + mark + "\",");
  const std::size_t line = result.starts_with("#!") ? result.find('\n') + 1 : 0;
  return result.insert(line, "# " + mark + "\n");
}

Way::State Way::state() const {
  if (kind == Kind::Sandboxed) return State::Absent;
  std::size_t ofPerson = 0;
  bool ofOthers = false;
  for (const auto& file : files) {
    const bool isOurs = isWrittenByIntegrate(file.place);
    ofPerson += isOurs;
    ofOthers |= !isOurs && NSFileManager::defaultManager().fileExistsAtPath(file.place);
  }
  if (ofOthers) return State::OfOthers;
  if (ofPerson == files.size()) return State::OfPerson;
  return files.front().everybody.empty() ? State::Absent : State::OfEverybody;
}

std::string Way::installedPlace() const {
  switch (state()) {
    case State::OfPerson:
      return files.front().place;
    case State::OfEverybody:
      return files.front().everybody;
    default:
      return {};
  }
}

std::vector<Way> sharingWays() {
  const std::string name = kID, package = "kpackage/Purpose/" + name;
  std::vector<Way> ways{
      menu("bus", "desktops, by the session bus", {}, {"dbus-1/services/" + name + ".service"}),
      menu("purpose", "KDE's share menu", {"plasmashell", "dolphin", "gwenview", "okular"},
           {package + "/metadata.json", package + "/contents/code/main.sh"}),
      menu("dolphin", "Dolphin", {"dolphin"}, {"kio/servicemenus/" + name + ".desktop"}),
      menu("thunar", "Thunar", {"thunar"}, {"Thunar/sendto/" + name + ".desktop"}),
      menu("nemo", "Nemo", {"nemo"}, {"nemo/actions/" + name + ".nemo_action"}),
      menu("contractor", "elementary's Files", {"io.elementary.files"},
           {"contractor/" + name + ".contract"}),
      menu("nautilus", "Nautilus", {"nautilus"}, {"nautilus/scripts/Tasklane"})};
  for (auto&& more : {browsers(), sandboxedBrowsers()})
    ways.insert(ways.end(), more.begin(), more.end());
  return ways;
}

bool isWrittenByIntegrate(const std::string& path) {
  struct stat state {};
  // Behind a link lies what somebody else looks after.
  if (::lstat(path.c_str(), &state) != 0 || !S_ISREG(state.st_mode)) return false;
  const auto text = NSFileManager::defaultManager().contentsAtPath(path);
  return text && text.value().find(kMark) != std::string::npos;
}

std::string programOnPath(const std::string& name) {
  std::istringstream folders(variable("PATH"));
  for (std::string folder; std::getline(folders, folder, ':');)
    if (const std::string path = folder + "/" + name; ::access(path.c_str(), X_OK) == 0)
      return path;
  return {};
}

std::string commandForKey() {
  return NSBundle::mainBundle()->bundlePath() + "/tasklane share --clipboard";
}

}  // namespace tasklane
