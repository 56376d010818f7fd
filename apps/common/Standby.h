#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "foundation/base/FileDescriptor.h"
#include "foundation/base/NSError.h"

/// A share process that is started ahead of its request and waits, so that its sheet is there as
/// soon as somebody asks for one. Starting the toolkit takes ten times as long as showing a window.
///
/// At most one process waits in a session, at a socket in $XDG_RUNTIME_DIR. It serves one request
/// and ends; each sheet that is shown has the next one started. Where there is no such folder of
/// the user's own, or TASKLANE_STANDBY is 0, or TASKLANE_GROUP_CONTAINERS is no whole path, nobody
/// waits, and each sheet's process is started when it is asked for: nothing depends on this but
/// time.
namespace tasklane::standby {

/// "NAME=value" each, as the process found them.
using Environment = std::vector<std::string>;
Environment currentEnvironment();

/// Hands a request (a file that is open for reading, at its start) to the process that waits for
/// one of this program's sheets, with this process's working folder, output and error output, and
/// waits until that sheet is gone; its exit code. None when nobody takes the request, also when who
/// waits is of another version of the program, or has another environment, other groups, hard
/// limits or priorities: start the program instead. Soft limits and the file mode mask go with it.
/// An error when the sheet's process has ended without a word.
///
/// Should this process end meanwhile, then the sheet is cancelled.
Result<std::optional<int>> handOver(const std::string& program, int request);

/// Has the program wait ("--standby") for the next request, in an environment like this one, unless
/// a process waits already.
void startProcess(const std::string& program, const Environment& environment);

/// The side of the process that waits. Main thread.
class Listener {
 public:
  /// None when another process waits already, or where none may.
  static std::unique_ptr<Listener> make(const std::string& program, const Environment& environment);
  /// Makes room for another process, if that was not done when a call was taken or refused.
  ~Listener();
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  /// From now on callers find this process.
  Result<void> open();
  /// Readable when somebody calls.
  int fileDescriptor() const { return socket_.get(); }

  enum class Call {
    Nobody,   ///< wait on
    Refused,  ///< the caller's conditions are not this process's: end, so that one can wait that
              ///< fits
    Taken     ///< this process is the caller's, and has its streams and its folder
  };
  Call answer();

  /// After Taken: readable once the caller is gone.
  int caller() const { return caller_.get(); }
  /// After Taken: tells the caller how it ended.
  void finish(int exitCode);

 private:
  Listener(std::string path, std::string conditions, FileDescriptor lock);
  void leave();

  std::string path_;
  std::string conditions_;
  FileDescriptor lock_;
  FileDescriptor socket_;
  FileDescriptor caller_;
};

}  // namespace tasklane::standby
