#include "IntegrateCommand.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

#include "SharingWays.h"
#include "foundation/base/FileSystem.h"
#include "foundation/base/NSLog.h"
#include "foundation/files/NSFileManager.h"

namespace tasklane {

namespace {

/// The ways of these names, or all of them.
std::vector<Way> waysNamed(const std::vector<std::string>& names) {
  auto ways = sharingWays();
  std::vector<Way> chosen;
  for (const auto& name : names) {
    const auto way =
        std::find_if(ways.begin(), ways.end(), [&](const Way& each) { return each.name == name; });
    if (way == ways.end())
      throw Failure{ExitCode::Usage, "There is no way named \"" + oneLine(name) +
                                         "\"; `tasklane integrate --list` names them."};
    chosen.push_back(*way);
  }
  return names.empty() ? ways : chosen;
}

std::string stateOf(const Way& way) {
  if (way.kind == Way::Kind::Sandboxed)
    return "reaches no program outside its sandbox; make a bookmark of this:\n    " +
           std::string(kBookmark);
  switch (way.state()) {
    case Way::State::OfPerson:
      return "installed for you: " + way.installedPlace();
    case Way::State::OfEverybody:
      return "installed for everybody: " + way.installedPlace();
    case Way::State::OfOthers:
      return "left alone, for something else is in its place: " + way.files.front().place;
    case Way::State::Absent:
      break;
  }
  return way.isUsed ? "not installed" : "not installed, and " + way.program + " is not there";
}

void say(const std::string& step) { print(oneLine(step) + "\n"); }

/// The steps of a command, of which some may not be possible.
class Steps {
 public:
  void failed(const std::string& sentence) {
    NSLog("tasklane: " + oneLine(sentence) + ".");
    hasFailed_ = true;
  }
  void finish() const {
    finishNews("What was done could not be said.");
    if (hasFailed_) throw Failure{ExitCode::WriteFailed, "Not everything could be done."};
  }

 private:
  bool hasFailed_ = false;
};

void install(const WayFile& file, Steps& steps) {
  auto& manager = NSFileManager::defaultManager();
  const auto contents = file.contents();
  if (!contents)
    return steps.failed(file.place + " was not written: " + contents.error().description);
  const bool isOurs = isWrittenByIntegrate(file.place);
  if (!isOurs && manager.fileExistsAtPath(file.place))
    return steps.failed(file.place + " was left alone: it is not Tasklane's");
  if (isOurs && manager.contentsAtPath(file.place).value() == contents.value())
    return say("as it should be: " + file.place);
  auto written = manager.createDirectoryAtPath(parentOfPath(file.place), true);
  if (written) written = manager.writeToFileAtomically(file.place, contents.value());
  // Scripts, and menus that KDE takes from a person only so.
  const bool isRun = file.resource.starts_with("menus/");
  if (written && isRun && ::chmod(file.place.c_str(), S_IRWXU) != 0)
    written = NSError::fromErrno(errno, "cannot make " + file.place + " executable");
  if (!written) return steps.failed(written.error().description);
  say("written: " + file.place);
}

void remove(const WayFile& file, Steps& steps) {
  auto& manager = NSFileManager::defaultManager();
  if (!isWrittenByIntegrate(file.place)) {
    if (manager.fileExistsAtPath(file.place)) say("left alone, not Tasklane's: " + file.place);
    return;
  }
  if (const auto removed = manager.removeItemAtPath(file.place); !removed)
    return steps.failed(removed.error().description);
  say("removed: " + file.place);
  // A folder that has our name has been made for this file.
  for (std::string folder = parentOfPath(file.place);
       folder.find("/com.kestrelworks.Tasklane") != folder.npos; folder = parentOfPath(folder))
    if (::rmdir(folder.c_str()) != 0) return;
}

}  // namespace

void listWays(const std::vector<std::string>& names) {
  for (const auto& way : waysNamed(names)) {
    std::string name = way.name;
    name.resize(std::max<std::size_t>(name.size(), 12), ' ');
    print(name + " " + stateOf(way) + "\n");
  }
  if (names.empty())
    print("key          by hand: bind a key to " + oneLine(commandForKey()) + "\n");
}

void installWays(const std::vector<std::string>& names) {
  Steps steps;
  for (const auto& way : waysNamed(names)) {
    const bool isWanted = !names.empty() || (way.isUsed && way.state() != Way::State::OfEverybody);
    if (!isWanted) continue;
    if (way.kind == Way::Kind::Sandboxed) print(way.program + " " + stateOf(way) + "\n");
    for (const auto& file : way.files) install(file, steps);
  }
  if (names.empty()) say("by hand: bind a key of your desktop to " + commandForKey());
  steps.finish();
}

void removeWays(const std::vector<std::string>& names) {
  Steps steps;
  for (const auto& way : waysNamed(names))
    for (const auto& file : way.files) remove(file, steps);
  steps.finish();
}

}  // namespace tasklane
