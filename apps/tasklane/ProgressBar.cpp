#include "ProgressBar.h"

#include <unistd.h>

#include <cstdio>
#include <string>

namespace tasklane {

namespace {

constexpr std::chrono::milliseconds kMightBeShort{500}, kBetweenShows{100};
constexpr std::size_t kWidth = 40;

}  // namespace

void ProgressBar::show(std::size_t done, std::size_t all) {
  const auto now = std::chrono::steady_clock::now();
  if (now - start_ < kMightBeShort || now - shown_ < kBetweenShows || all == 0 ||
      !::isatty(STDERR_FILENO))
    return;
  shown_ = now;
  isShown_ = true;
  const std::size_t filled = kWidth * done / all;
  std::fprintf(stderr, "\r[%s%s] %zu of %zu", std::string(filled, '#').c_str(),
               std::string(kWidth - filled, ' ').c_str(), done, all);
}

void ProgressBar::clear() {
  if (isShown_) std::fprintf(stderr, "\r\033[K");
  isShown_ = false;
}

}  // namespace tasklane
