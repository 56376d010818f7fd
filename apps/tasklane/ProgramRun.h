#pragma once

#include <string>
#include <vector>

#include "foundation/base/NSError.h"

namespace tasklane {

/// How a program has ended, and what it said.
struct ProgramRun {
  int code = 0;  ///< 128 and the signal's number for one that a signal has ended
  std::string output;
  std::string errors;

  /// Runs a program to its end, with an input, found on PATH unless it is a path. One that takes
  /// longer than ten seconds is ended, which is an error, as is one that cannot be started.
  static Result<ProgramRun> of(std::vector<std::string> words, const std::string& input = {});
};

}  // namespace tasklane
