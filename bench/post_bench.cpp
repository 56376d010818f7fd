// Saving one text as a task, as a whole process: `tasklane share --post` beside a C program that
// appends a line and flushes it, beside the same when it keeps the promise of a whole file
// (add_line), and beside the command lines of other task lists that are installed (todo-txt, task);
// with an empty store and with 10,000 published items or tasks.  post_bench [FOLDER [ROUNDS]]: on
// the disk of the folder (the working folder unless given).  Nothing is delivered.

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "bench/Report.h"

extern char** environ;

namespace tasklane {
namespace {

namespace fs = std::filesystem;
using Arguments = std::vector<std::string>;

[[noreturn]] void giveUp(const std::string& sentence) {
  std::fprintf(stderr, "post_bench: %s\n", sentence.c_str());
  std::exit(1);
}

void run(const Arguments& arguments) {
  std::vector<char*> pointers;
  for (const auto& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t quietly;
  posix_spawn_file_actions_init(&quietly);
  posix_spawn_file_actions_addopen(&quietly, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  for (const int output : {STDOUT_FILENO, STDERR_FILENO})
    posix_spawn_file_actions_addopen(&quietly, output, "/dev/null", O_WRONLY, 0);
  pid_t child = 0;
  int status = -1;
  if (posix_spawnp(&child, pointers[0], &quietly, nullptr, pointers.data(), environ) != 0 ||
      waitpid(child, &status, 0) != child || status != 0)
    giveUp("could not run " + arguments[0] + " " + arguments[1]);
  posix_spawn_file_actions_destroy(&quietly);
}

bool isInstalled(const std::string& program) {
  const char* path = std::getenv("PATH");
  std::string rest = path ? path : "";
  for (std::size_t colon = 0; colon != std::string::npos;) {
    colon = rest.find(':');
    if (access((rest.substr(0, colon) + "/" + program).c_str(), X_OK) == 0) return true;
    if (colon != std::string::npos) rest.erase(0, colon + 1);
  }
  return false;
}

void write(const fs::path& path, const std::string& text) {
  std::ofstream file(path);
  if (!(file << text << std::flush)) giveUp("could not write " + path.string());
}

std::string titleOfItem(int i) {
  return "Buy provisions for the journey, part " + std::to_string(i);
}

/// The stores of all candidates in one folder, and how each adds one task to its own.
class Stores {
 public:
  Stores(const fs::path& folder, int items) : folder_(folder), items_(items) {
    fs::create_directories(folder);
  }

  bench::Candidate appended() {
    return candidate("append a line, in C", {TASKLANE_ADD_LINE, "append", folder_ / "appended"});
  }

  bench::Candidate replaced() {
    fs::create_directories(folder_ / "replaced");
    return candidate("replace the file, in C",
                     {TASKLANE_ADD_LINE, "replace", folder_ / "replaced"});
  }

  bench::Candidate tasklane() {
    setenv("TASKLANE_GROUP_CONTAINERS", (folder_ / "groups").c_str(), 1);
    setenv("TASKLANE_DELIVERY", "0", 1);
    std::string list = "<plist version=\"1.0\"><dict><key>items</key><array>\n";
    for (int i = 0; i < items_; ++i)
      list += "<dict><key>uuid</key><string>U" + std::to_string(i) +
              "</string><key>title</key><string>" + titleOfItem(i) + "</string></dict>\n";
    write(folder_ / "items.plist", list + "</array></dict></plist>\n");
    run({TASKLANE_PROGRAM, "publish", "items", folder_ / "items.plist"});
    return candidate("tasklane share --post", {TASKLANE_PROGRAM, "share", "--post", "--title"});
  }

  bench::Candidate todotxt() {
    const fs::path list = folder_ / "todo.txt";
    std::string lines;
    for (int i = 0; i < items_; ++i) lines += titleOfItem(i) + "\n";
    write(list, lines);
    write(folder_ / "todo.cfg",
          "export TODO_DIR=\"" + folder_.string() + "\"\nexport TODO_FILE=\"" + list.string() +
              "\"\nexport DONE_FILE=\"" + (folder_ / "done.txt").string() +
              "\"\nexport REPORT_FILE=\"" + (folder_ / "report.txt").string() + "\"\n");
    return candidate("todo-txt add", {"todo-txt", "-d", folder_ / "todo.cfg", "add"});
  }

  bench::Candidate taskwarrior() {
    write(folder_ / "taskrc",
          "data.location=" + (folder_ / "task").string() +
              "\nconfirmation=no\nhooks=off\nverbose=nothing\nnews.version=9\n");
    fs::create_directories(folder_ / "task");
    std::string tasks;
    for (int i = 0; i < items_; ++i) {
      char uuid[40];
      std::snprintf(uuid, sizeof uuid, "00000000-0000-4000-8000-%012d", i);
      tasks += "[description:\"" + titleOfItem(i) +
               "\" entry:\"1700000000\" status:\"pending\" uuid:\"" + uuid + "\"]\n";
    }
    write(folder_ / "task" / "pending.data", tasks);
    return candidate("task add", {"task", "rc:" + (folder_ / "taskrc").string(), "add"});
  }

 private:
  bench::Candidate candidate(const std::string& name, Arguments arguments) {
    arguments.push_back("Call the lighthouse keeper about the lamp");
    return {name + (items_ ? ", " + std::to_string(items_) + " items" : ", empty store"),
            [arguments] { run(arguments); },
            {}};
  }

  fs::path folder_;
  int items_;
};

/// All against the line in C. The least says more than the median on a machine that others use.
void benchmark(const fs::path& folder, int items, int rounds) {
  Stores stores(folder, items);
  std::vector<bench::Candidate> candidates{stores.appended(), stores.replaced(), stores.tasklane()};
  if (isInstalled("todo-txt")) candidates.push_back(stores.todotxt());
  if (isInstalled("task")) candidates.push_back(stores.taskwarrior());
  bench::measure(candidates, rounds);
  const bench::Candidate& reference = candidates.front();
  for (const auto& candidate : candidates) {
    bench::report(candidate.name, candidate.median(), "ms", reference.median(), "append");
    bench::report(candidate.name + ", least", candidate.least(), "ms", reference.least(), "append");
  }
}

}  // namespace
}  // namespace tasklane

int main(int argc, char** argv) {
  using namespace tasklane;
  std::string pattern = std::string(argc > 1 ? argv[1] : ".") + "/post-bench-XXXXXX";
  if (!mkdtemp(pattern.data())) giveUp("could not make a folder in the one given");
  const fs::path root = fs::absolute(pattern);
  const int rounds = argc > 2 ? std::atoi(argv[2]) : 25;
  // In memory, where notifications are in a session.
  std::string notifications = "/dev/shm/post-bench-XXXXXX";
  if (!mkdtemp(notifications.data())) giveUp("could not make a folder in /dev/shm");
  setenv("TASKLANE_NOTIFY_FOLDER", notifications.c_str(), 1);
  benchmark(root / "empty", 0, rounds);
  benchmark(root / "full", 10000, rounds);
  fs::remove_all(root);
  fs::remove_all(notifications);
  return 0;
}
