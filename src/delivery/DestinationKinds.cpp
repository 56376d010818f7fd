#include "delivery/DestinationKinds.h"

#include <algorithm>
#include <cstdlib>

#include "delivery/todo-txt/TodoShConfiguration.h"
#include "delivery/todo-txt/TodoTxtDestination.h"

namespace tasklane {

namespace {

using Options = DestinationKind::Options;

std::string dataFolder() {
  const char* data = std::getenv("XDG_DATA_HOME");
  if (data && *data == '/') return data;
  const char* home = std::getenv("HOME");
  return std::string(home ? home : "") + "/.local/share";
}

/// A file that the person has named is not begun in a place that is not there for the moment.
Result<std::unique_ptr<Destination>> makeTodoTxt(const Options& options) {
  std::string path;
  auto whenMissing = ContendedFile::WhenMissing::Begin;
  if (const auto file = options.find("file"); file != options.end()) {
    path = file->second;
    whenMissing = ContendedFile::WhenMissing::Wait;
    if (!path.starts_with("/"))
      return NSError{NSError::Kind::Unsupported, "destination.file must be a whole path"};
  } else {
    path = pathOfTodoSh().value_or(dataFolder() + "/tasklane/todo.txt");
  }
  return std::unique_ptr<Destination>(std::make_unique<TodoTxtDestination>(path, whenMissing));
}

}  // namespace

const std::vector<DestinationKind>& destinationKinds() {
  static const std::vector<DestinationKind> kinds{
      {"todo.txt",
       "A todo.txt file; without one the file that todo.sh uses",
       "file",
       false,
       true,
       {},
       makeTodoTxt},
  };
  return kinds;
}

Result<std::unique_ptr<Destination>> makeDestination(const std::string& kind,
                                                     const Options& options) {
  for (const auto& known : destinationKinds()) {
    if (kind != known.name) continue;
    for (const auto& [name, value] : options) {
      const bool isKnown = name == known.place ||
                           std::any_of(known.otherOptions.begin(), known.otherOptions.end(),
                                       [&](const auto& option) { return name == option.first; });
      if (!isKnown)
        return NSError{NSError::Kind::Unsupported,
                       "a destination of the kind \"" + kind + "\" has no setting " + name};
    }
    return known.make(options);
  }
  std::string names;
  for (const auto& known : destinationKinds())
    names += (names.empty() ? "" : ", ") + std::string(known.name);
  return NSError{NSError::Kind::Unsupported,
                 "there is no destination of the kind \"" + kind + "\"; there are " + names};
}

}  // namespace tasklane
