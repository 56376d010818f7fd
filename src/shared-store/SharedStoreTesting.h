#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/files/NSURL.h"
#include "foundation/property-lists/PropertyList.h"

/// What the tests of the shared store share: a group container of their own, files written past the
/// store, and other real processes that use it.
namespace tasklane::testing {

/// A folder for files of this test process alone, gone at its end.
const std::string& scratchFolder();

/// Gives this process a group container and an application of its own, before anything asks for
/// them. The folder holds both.
void prepareProcess(const std::string& folder);

/// Empties the shared container, as if no process had ever used it, and lets the stores see it.
void emptySharedContainer();

std::string sharedPath(const std::string& fileName);
NSURL scratchURL(const std::string& fileName);
std::string contents(const std::string& path);
void overwrite(const std::string& path, std::string_view bytes);
/// What the file holds, read by nothing of the shared store.
PropertyList plistAt(const std::string& path);
void overwriteWithPlist(const std::string& path, const PropertyList& plist);
std::vector<std::string> namesIn(const std::string& folder);

/// Runs the main loop until the condition holds; false after ten seconds.
bool waitUntil(const std::function<bool()>& condition);
/// Runs the main loop until nothing that has happened so far is undelivered.
void deliverEverything();

/// Another process of this program, in a role of playRole(), with its output in a pipe.
class OtherProcess {
 public:
  explicit OtherProcess(std::vector<std::string> role,
                        const std::map<std::string, std::string>& environment = {});
  ~OtherProcess();
  OtherProcess(const OtherProcess&) = delete;
  OtherProcess& operator=(const OtherProcess&) = delete;

  /// The next line of its standard output; empty at the end.
  std::string nextLine();
  void kill();
  /// Everything that it has written to its standard error, and its exit status.
  std::string errorOutput();
  int wait();

 private:
  int process_ = -1;
  int output_ = -1;
  int error_ = -1;
};

/// What main() does when the program was started by OtherProcess.
int playRole(const std::vector<std::string>& role);

}  // namespace tasklane::testing
