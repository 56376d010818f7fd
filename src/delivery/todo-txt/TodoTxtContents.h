#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "delivery/Destination.h"
#include "delivery/todo-txt/TodoTxtLine.h"

namespace tasklane {

/// A todo.txt file's lines, each with the identity of its task.
class TodoTxtContents {
 public:
  explicit TodoTxtContents(std::string_view text);

  /// The same bytes as were given, but for the lines that were changed; a line break at the end.
  std::string text() const;

  struct Line {
    TodoTxtLine line;
    /// Its "uuid:", else one derived from its text; empty for blank lines.
    std::string identity;
  };
  std::vector<Line>& lines() { return lines_; }
  const std::vector<Line>& lines() const { return lines_; }

  /// The number of the line of a task, from 0; of several with one identity that of the first.
  std::optional<std::size_t> indexOf(const std::string& identity) const;
  void append(TodoTxtLine line, std::string identity);

  /// Projects, contexts and tasks as they are to be published, without a stamp: the open tasks, and
  /// those that were completed on a day ("YYYY-MM-DD").
  ListContents published(const std::string& today) const;

 private:
  std::vector<Line> lines_;
  std::unordered_map<std::string, std::size_t> indexOfIdentity_;
};

}  // namespace tasklane
