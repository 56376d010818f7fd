#pragma once

#include <string>
#include <vector>

#include "foundation/base/NSError.h"

namespace tasklane {

/// The folder in which the processes of one user meet to notify each other.
///
/// It is found from the user's id alone, so that a process without the login's environment finds
/// the same one: the first of a list that is, or can be made, a folder of this user that nobody
/// else can enter, move or remove. A stranger who occupies a place of the list only drives
/// everybody to the next; the last one, in the user's home, cannot be occupied.
class NotifyFolder {
 public:
  /// The user's runtime folder, the shared memory folder, the home. TASKLANE_NOTIFY_FOLDER names
  /// another one instead, for tests.
  static NotifyFolder ofUser();
  /// A leading "~" is the user's home as the system's list of users has it.
  explicit NotifyFolder(std::vector<std::string> candidates);

  /// Looks anew each time, because better places come and go with the user's logins. The error is
  /// of the first candidate that is there and cannot be used.
  Result<std::string> find();
  /// The folder found last, or else the first candidate.
  const std::string& last() const { return last_; }

  /// Folders in which a candidate better than the one found last would appear.
  std::vector<std::string> wherePreferredOnesAppear() const;

 private:
  std::vector<std::string> candidates_;
  std::string last_;
};

}  // namespace tasklane
