#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace tasklane {

/// For tests: a new folder, gone at its end with all that is in it then.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = std::filesystem::temp_directory_path() / "tasklane-test-XXXXXX";
    path_ = ::mkdtemp(pattern.data());
  }
  ~ScratchFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace tasklane
