#pragma once

#include <chrono>
#include <cstddef>

namespace tasklane {

/// How far a long command is, on the last line of the terminal that standard error is; nothing
/// elsewhere, and nothing while it might be short.
class ProgressBar {
 public:
  void show(std::size_t done, std::size_t all);
  void clear();

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::chrono::steady_clock::time_point shown_;
  bool isShown_ = false;
};

}  // namespace tasklane
