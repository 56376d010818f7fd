#pragma once

#include <time.h>

#include <algorithm>
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

inline double least(const std::vector<double>& values) {
  return values.empty() ? std::nan("") : *std::min_element(values.begin(), values.end());
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
  std::vector<double> milliseconds{};  // filled by measure()
  double median() const { return bench::median(milliseconds); }
  double least() const { return bench::least(milliseconds); }
};

/// What is measured: time that passes, or the processor's time that this process takes, which a
/// busy machine disturbs less and which serves for work that waits for nothing.
enum class Time { Passing, Processor };

inline double millisecondsNow(Time time) {
  timespec now{};
  clock_gettime(time == Time::Passing ? CLOCK_MONOTONIC : CLOCK_PROCESS_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

/// Runs all candidates in turn, `rounds` times. Each runs twice in a row and the second run counts:
/// the first one pays for the caches and the heap that another candidate left behind.
inline void measure(std::vector<Candidate>& candidates, int rounds, Time time = Time::Passing) {
  for (int round = 0; round < rounds; ++round) {
    for (Candidate& candidate : candidates) {
      candidate.run();
      const double start = millisecondsNow(time);
      candidate.run();
      candidate.milliseconds.push_back(millisecondsNow(time) - start);
    }
  }
}

/// Measures and prints every candidate, each compared with the last one.
inline void compare(std::vector<Candidate> candidates, int rounds, Time time = Time::Passing) {
  measure(candidates, rounds, time);
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
