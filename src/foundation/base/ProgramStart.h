#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/base/FileDescriptor.h"

namespace tasklane {

/// What a program is started with. It gets no other descriptors than those named here, so that no
/// lock and no end of a pipe is held for longer, and no signal is held back from it.
struct ProgramStart {
  static constexpr int kNothing = -1;  ///< reads and writes go to /dev/null
  static constexpr int kSame = -2;     ///< this process's descriptor of that number

  enum class Session {
    Same,
    OwnGroup,  ///< a signal from the terminal does not reach it, and one to its group reaches all
               ///< that it starts
    Own        ///< it outlives this process and its terminal; no signal is ignored from the start
  };

  /// A whole path, or a name that is looked for on PATH.
  std::string program;
  /// As it sees them, its own name first.
  std::vector<std::string> arguments;
  /// What its descriptors are, from 0 on: descriptors of this process, none of them of a lower
  /// number than it becomes, or one of the above.
  std::vector<int> descriptors{kNothing, kNothing, kNothing};
  Session session = Session::Same;
  /// "NAME=value" each; this process's unless given.
  std::optional<std::vector<std::string>> environment = {};
  /// Where it works; where this process does unless given.
  std::string folder = {};
};

/// The started program's process, which the caller has to wait for; a negative number when it could
/// not be started, and errno says why. Any thread.
pid_t startProgram(ProgramStart start);

/// A file without a name, in memory, that holds the text, at its start: what a started program
/// reads, or writes to. On a failure the descriptor is none and errno says why. Any thread.
FileDescriptor unnamedFileHolding(std::string_view text);

}  // namespace tasklane
