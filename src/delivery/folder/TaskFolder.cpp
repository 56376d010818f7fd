#include "delivery/folder/TaskFolder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "delivery/TaskFiles.h"
#include "foundation/base/FileSystem.h"
#include "foundation/base/NSLog.h"
#include "foundation/base/StableHash.h"

namespace tasklane {

namespace {

constexpr std::string_view kTaskSuffix = ".ics";
constexpr const char* kNameFile = "displayname";
constexpr std::size_t kUsualSize = std::size_t{64} << 10;

bool isTaskFile(const std::string& name) {
  return name.ends_with(kTaskSuffix) && !name.starts_with(".");
}

bool isFolder(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

/// The first line of the file with a list's name, else the folder's.
std::string nameOfList(const std::string& path) {
  std::string name;
  if (const auto file = openFile(path + "/" + kNameFile, O_RDONLY | O_NONBLOCK)) {
    auto text = readAll(file.get(), kNameFile);
    if (text) name = text.value().substr(0, text.value().find_first_of("\r\n"));
  }
  return name.empty() ? nameInPath(path) : name;
}

/// A list's folder, open, and the names of its task files, sorted.
struct OpenList {
  FileDescriptor folder;
  std::vector<std::string> names;

  static Result<OpenList> open(const std::string& path) {
    OpenList list{openFile(path, O_RDONLY | O_DIRECTORY), {}};
    if (!list.folder) return NSError::fromErrno(errno, "cannot open the folder " + path);
    auto names = namesInFolder(path);
    if (!names) return names.error();
    std::erase_if(names.value(), [](const auto& name) { return !isTaskFile(name); });
    list.names = std::move(names).value();
    return list;
  }
};

/// What tells a file's contents from others.
void addMark(std::string& marks, const std::string& name, const struct stat& status) {
  marks.append(name).append(" ").append(stampOfFile(status)).append("\n");
}

/// Nothing for a file that is not there.
void addMark(std::string& marks, int folder, const std::string& name) {
  struct stat status {};
  if (::fstatat(folder, name.c_str(), &status, 0) == 0) addMark(marks, name, status);
}

void addMarkOfList(std::string& marks, int folder, const std::string& path) {
  marks += path + "\n";
  addMark(marks, folder, kNameFile);
}

/// The contents of a file, read at once where it is as small as they usually are, and its mark from
/// before that.
Result<std::string> contentsOf(int folder, const std::string& name, std::string& buffer,
                               std::string& marks) {
  const FileDescriptor file(uninterrupted([&] {
    return ::openat(folder, name.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
  }));
  if (!file) {
    const int reason = errno;
    addMark(marks, folder, name);
    return NSError::fromErrno(reason, "cannot open " + name);
  }
  struct stat status {};
  if (::fstat(file.get(), &status) == 0) addMark(marks, name, status);
  const auto count =
      uninterrupted([&] { return ::read(file.get(), buffer.data(), buffer.size()); });
  if (count < 0) return NSError::fromErrno(errno, "cannot read " + name);
  std::string contents = buffer.substr(0, static_cast<std::size_t>(count));
  if (contents.size() < buffer.size()) return contents;
  auto more = readAll(file.get(), name);
  if (!more) return more.error();
  return contents + more.value();
}

}  // namespace

Result<std::vector<TaskFolder::List>> TaskFolder::lists() const {
  const auto names = namesInFolder(path_);
  if (!names) return names.error();
  std::vector<List> lists;
  bool isList = false;
  for (const auto& name : names.value()) {
    const std::string path = path_ + "/" + name;
    if (isTaskFile(name)) {
      isList = true;
    } else if (!name.starts_with(".") && isFolder(path)) {
      lists.push_back({{name, nameOfList(path), std::nullopt}, path});
    }
  }
  std::stable_sort(lists.begin(), lists.end(), [](const auto& one, const auto& other) {
    return one.container.title < other.container.title;
  });
  if (isList || lists.empty())
    lists.insert(lists.begin(), {{path_, nameOfList(path_), std::nullopt}, path_});
  return lists;
}

Result<void> TaskFolder::readTaskFiles(const List& list, const Reader& reader, std::string& marks,
                                       Unreadable unreadable) {
  const auto open = OpenList::open(list.path);
  if (!open) return open.error();
  const int folder = open.value().folder.get();
  addMarkOfList(marks, folder, list.path);
  std::string buffer(kUsualSize, '\0');
  for (const auto& name : open.value().names) {
    auto contents = contentsOf(folder, name, buffer, marks);
    if (contents) {
      reader(name, std::move(contents).value());
    } else if (contents.error().kind != NSError::Kind::FileNotFound) {
      if (unreadable == Unreadable::Fail) return contents.error();
      NSLog("tasklane: passed over in " + list.path + ": " + contents.error().description);
    }
  }
  return {};
}

Result<std::optional<std::string>> TaskFolder::find(const std::vector<List>& lists,
                                                    const std::string& name) {
  for (const auto& list : lists) {
    std::string path = list.path + "/" + name;
    struct stat status {};
    if (::lstat(path.c_str(), &status) == 0) return std::optional(std::move(path));
    if (errno != ENOENT && errno != ENOTDIR)
      return NSError::fromErrno(errno, "cannot look at " + path);
  }
  return std::optional<std::string>();
}

/// Of the files too: one that is written in place leaves its folder as it is.
Result<std::string> TaskFolder::stamp() const {
  const auto found = lists();
  if (!found) return found.error();
  std::string marks;
  for (const auto& list : found.value()) {
    const auto open = OpenList::open(list.path);
    if (!open) return open.error();
    const int folder = open.value().folder.get();
    addMarkOfList(marks, folder, list.path);
    for (const auto& name : open.value().names) addMark(marks, folder, name);
  }
  return stampOfMarks(marks);
}

std::string TaskFolder::stampOfMarks(const std::string& marks) {
  return stableHashText(marks) + stableHashText(marks + "\n");
}

}  // namespace tasklane
