#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tasklane {

/// One line of a todo.txt file, by the rules of https://github.com/todotxt/todo.txt: read as far as
/// a question needs it, and changed only where it is told to. Everything else stays byte for byte.
///
///     x 2026-11-23 2026-11-20 Buy milk +Errands @Town due:2026-11-24 pri:A
///     (A) 2026-11-20 Call Ana rec:1w
class TodoTxtLine {
 public:
  /// A line without its line break.
  explicit TodoTxtLine(std::string text) : text_(std::move(text)) {}

  const std::string& text() const { return text_; }
  bool operator==(const TodoTxtLine&) const = default;

  /// Only blanks.
  bool isBlank() const;
  bool isCompleted() const;
  /// 'A' to 'Z': at the start of an open line, in "pri:" of a completed one.
  std::optional<char> priority() const;
  bool isFlagged() const { return priority() == 'A' || value("star") == "1"; }

  /// The words behind "+" and "@", in their order.
  std::vector<std::string> projects() const { return namesAfter('+'); }
  std::vector<std::string> contexts() const { return namesAfter('@'); }
  /// Of "key:value"; of several with one key the last. Addresses ("https://…") are no values.
  std::optional<std::string> value(std::string_view key) const;
  /// "YYYY-MM-DD" behind the completion mark.
  std::optional<std::string> completionDate() const;

  /// What a person calls the task: no mark, dates, priority, names, and none of the keys that this
  /// program gives a meaning to.
  std::string title() const;
  /// The same for every state of one task: what is left when marks, dates of the line's start,
  /// priority and flag are taken away.
  std::string identityText() const;

  /// Dates are "YYYY-MM-DD". A line that is so already stays as it is.
  void complete(const std::string& date);
  void uncomplete();
  void flag();
  void unflag();

  /// Whether a word means something to programs that read the line.
  static bool isProjectOrContext(std::string_view word);
  static bool isKeyAndValue(std::string_view word);

 private:
  struct Start;
  Start start() const;
  std::vector<std::string_view> words() const;
  std::vector<std::string> namesAfter(char sign) const;
  void removeWord(std::string_view word);
  void addWord(const std::string& word);

  std::string text_;
};

}  // namespace tasklane
