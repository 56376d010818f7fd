#pragma once

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

/// How the benchmarks measure and print: one line per figure, with its ratio to what it is compared
/// with. Candidates run interleaved, round by round, so that a disturbance of the machine meets all
/// of them alike; the median of the rounds counts.
namespace tasklane::bench {

inline double median(std::vector<double> values) {
  if (values.empty()) return std::nan("");
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// One line: name, figure, unit and, where there is one, the ratio to the other figure and whose
/// that is.
inline void report(const std::string& name, double figure, const std::string& unit,
                   double comparedWith = 0, const std::string& comparedName = {}) {
  std::printf("%-48s %12.4g %-6s", name.c_str(), figure, unit.c_str());
  if (!comparedName.empty())
    std::printf(" %7.3f x %s", figure / comparedWith, comparedName.c_str());
  std::printf("\n");
  std::fflush(stdout);
}

struct Candidate {
  std::string name;
  std::function<void()> run;
  std::vector<double> milliseconds;  // filled by measure()
  double median() const { return bench::median(milliseconds); }
};

/// Runs every candidate once unmeasured, then all of them in turn, `rounds` times.
inline void measure(std::vector<Candidate>& candidates, int rounds) {
  using Clock = std::chrono::steady_clock;
  for (int round = -1; round < rounds; ++round) {
    for (Candidate& candidate : candidates) {
      const auto start = Clock::now();
      candidate.run();
      const std::chrono::duration<double, std::milli> taken = Clock::now() - start;
      if (round >= 0) candidate.milliseconds.push_back(taken.count());
    }
  }
}

/// Measures and prints every candidate, each compared with the last one.
inline void compare(std::vector<Candidate> candidates, int rounds) {
  measure(candidates, rounds);
  const Candidate& reference = candidates.back();
  for (const Candidate& candidate : candidates)
    if (&candidate == &reference)
      report(candidate.name, candidate.median(), "ms");
    else
      report(candidate.name, candidate.median(), "ms", reference.median(), reference.name);
}

/// Keeps a result from being optimised away.
template <class T>
void keep(const T& value) {
  asm volatile("" : : "r,m"(value) : "memory");
}

}  // namespace tasklane::bench
