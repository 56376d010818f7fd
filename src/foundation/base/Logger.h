#pragma once

#include <string>
#include <string_view>

namespace tasklane {

/// A named source of log lines. Its level is set by the environment variable TASKLANE_LOG, for
/// example "TLXPlistPresenterLogger=1,Other=2"; a line is written when its level is at most the
/// logger's, to the console as it is. Without an entry there the level is 0 and, levels of lines
/// beginning at 1, nothing is written. Any thread.
class Logger {
 public:
  explicit Logger(std::string name);
  bool enabled(int level) const { return level <= level_; }
  void log(int level, std::string_view line) const;
  const std::string& name() const { return name_; }

 private:
  std::string name_;
  int level_;
};

}  // namespace tasklane
