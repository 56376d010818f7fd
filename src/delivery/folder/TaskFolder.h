#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "delivery/Destination.h"
#include "foundation/base/NSError.h"

namespace tasklane {

/// A folder of lists as calendar programs keep them (the vdir format): each list is a folder with a
/// file "<…>.ics" for each task and, where it is not called as its folder, its name in a file
/// "displayname". The lists are the folders within the given one, and itself where it holds tasks
/// or nothing. What is hidden is no list and no task: programs have their own files there. One
/// thread.
class TaskFolder {
 public:
  explicit TaskFolder(std::string path) : path_(std::move(path)) {}

  const std::string& path() const { return path_; }

  /// A list; its id is its folder's name, that of the folder itself its path.
  struct List {
    ListContainer container;
    std::string path;
  };
  /// Itself first, the others by their names. FileNotFound when the folder is not there.
  Result<std::vector<List>> lists() const;

  /// Gives a function the contents of each task file of a list, in the order of their names; what
  /// is gone meanwhile is passed over, and what cannot be read, which the console is told. Adds to
  /// the marks what tells that which was read from what lies there later.
  using Reader = std::function<void(const std::string& name, std::string contents)>;
  /// A file that cannot be read is passed over, and the console told, or is an error.
  enum class Unreadable { PassOver, Fail };
  static Result<void> readTaskFiles(const List& list, const Reader& reader, std::string& marks,
                                    Unreadable unreadable = Unreadable::PassOver);

  /// The path of the file of a name in the first list that has one; none where surely none has.
  static Result<std::optional<std::string>> find(const std::vector<List>& lists,
                                                 const std::string& name);

  /// Changes whenever a list or a file has come, gone, or been written.
  Result<std::string> stamp() const;
  /// The stamp at the moment when all lists were read, from their marks.
  static std::string stampOfMarks(const std::string& marks);

 private:
  std::string path_;
};

}  // namespace tasklane
