#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "bench/Report.h"
#include "foundation/base/FileDescriptor.h"
#include "foundation/files/NSFileCoordinator.h"
#include "foundation/files/NSFileManager.h"

/// disk_bench [FOLDER]: coordinated writes against the least that a durable replacement of a file
/// takes, on the disk of the folder (the working folder unless given).
namespace tasklane {
namespace {

namespace fs = std::filesystem;

void mustHold(bool condition, const char* what) {
  if (condition) return;
  std::perror(what);
  std::exit(1);
}

/// Write, flush, rename, flush the folder, which is kept open.
void replaceByHand(const fs::path& path, int folder, const std::string& bytes) {
  const fs::path fresh = path.string() + ".new";
  FileDescriptor file(open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  mustHold(write(file.get(), bytes.data(), bytes.size()) == std::ssize(bytes), "write");
  mustHold(fsync(file.get()) == 0 && file.close() == 0, "fsync");
  mustHold(rename(fresh.c_str(), path.c_str()) == 0 && fsync(folder) == 0, "rename");
}

void replaceCoordinated(const NSURL& url, const std::string& bytes) {
  const auto outcome = NSFileCoordinator().coordinateWritingItemAtURL(
      url, NSFileCoordinatorWritingOptions::None, [&](const NSURL& staged) {
        mustHold(NSFileManager::defaultManager().writeToFile(staged.path(), bytes).ok(), "staged");
      });
  mustHold(outcome.ok(), "coordinated write");
}

void benchmark(const fs::path& root, std::size_t size, int rounds) {
  const fs::path store = root / "group.bench" / "store";
  const fs::path byHand = root / "by-hand";
  fs::create_directories(store);
  fs::create_directories(byHand);
  const FileDescriptor folder(open(byHand.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const NSURL url = NSURL::fileURLWithPath(store / "queue.plist");
  const std::string bytes(size, 'x');
  const std::string kilobytes = std::to_string(size / 1024) + " KB";
  bench::compare({{"coordinated write, " + kilobytes, [&] { replaceCoordinated(url, bytes); }, {}},
                  {"write, flush, rename, flush folder, " + kilobytes,
                   [&] { replaceByHand(byHand / "queue.plist", folder.get(), bytes); },
                   {}}},
                 rounds);
}

}  // namespace
}  // namespace tasklane

int main(int argc, char** argv) {
  std::string pattern = std::string(argc > 1 ? argv[1] : ".") + "/disk-bench-XXXXXX";
  tasklane::mustHold(mkdtemp(pattern.data()) != nullptr, "cannot make a folder");
  const std::filesystem::path root = std::filesystem::absolute(pattern);
  for (const std::size_t kilobytes : {2, 150, 1024})
    tasklane::benchmark(root, kilobytes * 1024, 150);
  std::filesystem::remove_all(root);
  return 0;
}
