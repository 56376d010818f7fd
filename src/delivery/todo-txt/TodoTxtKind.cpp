#include "delivery/DestinationKinds.h"
#include "delivery/TaskFiles.h"
#include "delivery/todo-txt/TodoShConfiguration.h"
#include "delivery/todo-txt/TodoTxtDestination.h"

namespace tasklane {

namespace {

/// A file that the person has named is not begun in a place that is not there for the moment.
Result<std::unique_ptr<Destination>> makeTodoTxt(const DestinationKind::Options& options) {
  std::string path;
  auto whenMissing = ContendedFile::WhenMissing::Begin;
  if (const auto file = options.find("file"); file != options.end()) {
    path = file->second;
    whenMissing = ContendedFile::WhenMissing::Wait;
    if (!path.starts_with("/"))
      return NSError{NSError::Kind::Unsupported, "destination.file must be a whole path"};
  } else {
    path = pathOfTodoSh().value_or(dataFolderOfUser() + "/todo.txt");
  }
  return std::unique_ptr<Destination>(std::make_unique<TodoTxtDestination>(path, whenMissing));
}

}  // namespace

DestinationKind todoTxtKind() {
  return {.name = "todo.txt",
          .description = "A todo.txt file; without one the file that todo.sh uses",
          .place = "file",
          .placeIsPath = true,
          .make = makeTodoTxt};
}

}  // namespace tasklane
