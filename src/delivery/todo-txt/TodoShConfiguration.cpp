#include "delivery/todo-txt/TodoShConfiguration.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "foundation/files/NSFileManager.h"
#include "foundation/files/UserFolder.h"

namespace tasklane {

namespace {

std::string variable(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

void replaceFirst(std::string& text, const std::string& from, const std::string& to) {
  if (const auto at = text.find(from); at != std::string::npos) text.replace(at, from.size(), to);
}

/// An assignment's value, without quotes or a comment, "~" and the variables that are used there
/// put in.
std::string valueOf(std::string text, const std::string& todoFolder) {
  const char quote = text.empty() ? ' ' : text.front();
  const bool isQuoted = quote == '"' || quote == '\'';
  const std::size_t end = isQuoted ? text.find(quote, 1) : text.find_first_of(" \t;#\r");
  text = text.substr(isQuoted ? 1 : 0, end == std::string::npos ? end : end - (isQuoted ? 1 : 0));
  if (quote == '\'') return text;
  const std::string home = variable("HOME");
  if (!isQuoted && text.starts_with("~/")) text.replace(0, 1, home);
  for (const std::string name : {"${HOME}", "$HOME"}) replaceFirst(text, name, home);
  for (const std::string name : {"${TODO_DIR}", "$TODO_DIR"}) replaceFirst(text, name, todoFolder);
  return text;
}

std::optional<std::string> pathInConfiguration(const std::string& text) {
  std::string folder = variable("TODO_DIR");
  std::string file;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t end = std::min(text.find('\n', at), text.size());
    std::string line = text.substr(at, end - at);
    at = end + 1;
    line.erase(0, std::min(line.find_first_not_of(" \t"), line.size()));
    if (line.starts_with("export ")) line.erase(0, 7);
    if (line.starts_with("TODO_DIR=")) folder = valueOf(line.substr(9), folder);
    if (line.starts_with("TODO_FILE=")) file = valueOf(line.substr(10), folder);
  }
  if (file.empty() && !folder.empty()) file = folder + "/todo.txt";
  // Something that only a shell could work out is not guessed at.
  if (!file.starts_with("/") || file.find_first_of("$`") != std::string::npos) return std::nullopt;
  return file;
}

}  // namespace

std::optional<std::string> pathOfTodoSh() {
  const std::string home = variable("HOME");
  std::vector<std::string> candidates{home + "/.todo/config", home + "/todo.cfg",
                                      home + "/.todo.cfg",
                                      pathOfUserFolder(UserFolder::Config) + "/todo/config"};
  if (const auto named = variable("TODOTXT_CFG_FILE"); !named.empty())
    candidates.insert(candidates.begin(), named);
  // As todo.sh does, the first that is there counts, whatever it says.
  for (const auto& candidate : candidates) {
    const auto text = NSFileManager::defaultManager().contentsAtPath(candidate);
    if (text) return pathInConfiguration(text.value());
  }
  return std::nullopt;
}

}  // namespace tasklane
