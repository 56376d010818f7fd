#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "foundation/events/CFNotificationCenter.h"
#include "foundation/events/NSOperationQueue.h"
#include "foundation/events/NSRunLoop.h"
#include "foundation/extension/NSBundle.h"
#include "foundation/property-lists/NSPropertyListSerialization.h"
#include "shared-store/SharedStoreTesting.h"
#include "shared-store/TLXContainers.h"
#include "shared-store/TLXExternalAction.h"
#include "shared-store/TLXExternalItem.h"

extern char** environ;

namespace tasklane::testing {

namespace fs = std::filesystem;

const std::string& scratchFolder() {
  static const struct Folder {
    Folder() {
      std::string pattern = (fs::temp_directory_path() / "shared-store-XXXXXX").string();
      path = ::mkdtemp(pattern.data());
    }
    ~Folder() {
      std::error_code ignored;
      fs::remove_all(path, ignored);
    }
    std::string path;
  } folder;
  return folder.path;
}

void prepareProcess(const std::string& folder) {
  ::setenv("TASKLANE_GROUP_CONTAINERS", (folder + "/groups").c_str(), 1);
  ::setenv("TASKLANE_NOTIFY_FOLDER", (folder + "/notify").c_str(), 1);
  const std::string application = folder + "/Tasklane.app";
  if (!fs::exists(application)) {
    fs::create_directories(application);
    overwriteWithPlist(application + "/Info.plist",
                       PropertyListDictionary{{"CFBundleIdentifier", "com.kestrelworks.Tasklane"}});
  }
  NSBundle::setMainBundle(NSBundle::bundleWithPath(application));
}

void emptySharedContainer() {
  deliverEverything();
  const std::string folder = TLXPlistPresenter::sharedContainerURL()->path();
  fs::remove_all(folder);
  fs::create_directories(folder);
  for (const auto& presenter :
       {TLXExternalAction::presenter(), TLXContainers::presenter(), TLXExternalItem::presenter()})
    presenter->refreshPlist();
  deliverEverything();
}

std::string sharedPath(const std::string& fileName) {
  return TLXPlistPresenter::sharedFileURL(fileName)->path();
}

NSURL scratchURL(const std::string& fileName) {
  return NSURL::fileURLWithPath(scratchFolder() + "/" + fileName);
}

std::string contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void overwrite(const std::string& path, std::string_view bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

PropertyList plistAt(const std::string& path) {
  const auto parsed = NSPropertyListSerialization::propertyListWithData(contents(path));
  return parsed ? parsed.value().plist : PropertyList(parsed.error().description);
}

void overwriteWithPlist(const std::string& path, const PropertyList& plist) {
  overwrite(path, NSPropertyListSerialization::dataWithPropertyList(plist).value());
}

std::vector<std::string> namesIn(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& entry : fs::directory_iterator(folder)) names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

bool waitUntil(const std::function<bool()>& condition) {
  return NSRunLoop::mainRunLoop().runUntil(condition, std::chrono::seconds(60));
}

void deliverEverything() {
  auto& center = CFNotificationCenterGetDarwinNotifyCenter();
  for (const char* name : {"actions.plist", "containers.plist", "items.plist"})
    center.deliverPending("com.kestrelworks.Tasklane|TLXDarwinNotifier|" +
                          TLXPlistPresenter::sharedFileURL(name)->absoluteString());
  waitUntil([] { return NSOperationQueue::mainQueue().empty(); });
}

OtherProcess::OtherProcess(std::vector<std::string> role,
                           const std::map<std::string, std::string>& environment) {
  std::vector<std::string> arguments{"/proc/self/exe", "--role", scratchFolder()};
  arguments.insert(arguments.end(), role.begin(), role.end());
  std::vector<std::string> variables;
  for (char** variable = environ; *variable; ++variable) variables.emplace_back(*variable);
  for (const auto& [name, value] : environment) variables.push_back(name + "=" + value);

  const auto pointers = [](std::vector<std::string>& strings) {
    std::vector<char*> result;
    for (auto& string : strings) result.push_back(string.data());
    result.push_back(nullptr);
    return result;
  };
  int output[2];
  int error[2];
  if (::pipe2(output, O_CLOEXEC) != 0 || ::pipe2(error, O_CLOEXEC) != 0) std::abort();
  posix_spawn_file_actions_t actions;
  ::posix_spawn_file_actions_init(&actions);
  ::posix_spawn_file_actions_adddup2(&actions, output[1], 1);
  ::posix_spawn_file_actions_adddup2(&actions, error[1], 2);
  if (::posix_spawn(&process_, "/proc/self/exe", &actions, nullptr, pointers(arguments).data(),
                    pointers(variables).data()) != 0)
    std::abort();
  ::posix_spawn_file_actions_destroy(&actions);
  ::close(output[1]);
  ::close(error[1]);
  output_ = output[0];
  error_ = error[0];
}

OtherProcess::~OtherProcess() {
  if (process_ > 0) {
    kill();
    wait();
  }
  ::close(output_);
  ::close(error_);
}

std::string OtherProcess::nextLine() {
  std::string line;
  for (char c; ::read(output_, &c, 1) == 1 && c != '\n';) line += c;
  return line;
}

void OtherProcess::kill() { ::kill(process_, SIGKILL); }

std::string OtherProcess::errorOutput() {
  std::string text;
  char buffer[4096];
  for (ssize_t count; (count = ::read(error_, buffer, sizeof buffer)) > 0;)
    text.append(buffer, static_cast<std::size_t>(count));
  return text;
}

int OtherProcess::wait() {
  int status = 0;
  ::waitpid(process_, &status, 0);
  process_ = -1;
  return status;
}

namespace {

void addItems(const std::string& prefix, int count) {
  for (int i = 0; i < count; ++i) {
    TLXExternalAction::newItemWithInfo(
        PropertyListDictionary{{"title", prefix + std::to_string(i)}});
    std::printf("%d\n", i + 1);
    std::fflush(stdout);
  }
}

/// Every kind of line that the presenter logs, once.
void logEveryKindOfLine() {
  const std::string path = sharedPath("logged.plist");
  const auto presenter = TLXPlistPresenter::makeWithURL(NSURL::fileURLWithPath(path));
  const auto value = std::make_shared<const PropertyList>(PropertyListDictionary{{"a", 1}});
  presenter->writePlist(value);
  presenter->writePlist(value);
  CFNotificationCenterGetDarwinNotifyCenter().deliverPending(
      "com.kestrelworks.Tasklane|TLXDarwinNotifier|" + presenter->url().absoluteString());
  presenter->removePlist();
}

}  // namespace

int playRole(const std::vector<std::string>& role) {
  if (role.at(0) == "add-items") addItems(role.at(1), std::stoi(role.at(2)));
  if (role.at(0) == "log") logEveryKindOfLine();
  if (role.at(0) == "fail-encoding") {
    PropertyList deep;
    for (int i = 0; i < 2000; ++i) deep = PropertyList(PropertyList::Array{deep});
    TLXExternalAction::presenter()->writePlist(std::make_shared<const PropertyList>(deep));
  }
  return 0;
}

}  // namespace tasklane::testing
