#pragma once

#include "foundation/base/NSError.h"

namespace tasklane {

/// How the programs end; see also sysexits.h. One code has one meaning.
enum class ExitCode {
  Done = 0,
  Cancelled = 1,
  Usage = 64,
  BadData = 65,
  MissingInput = 66,
  Unavailable = 69,  ///< the person's list, or a way to share, does not work
  SheetGone = 70,    ///< the sheet's process or its display was lost
  NoContainer = 73,
  WriteFailed = 74,  ///< it is not saved
  Busy = 75          ///< it is not saved, for others held the file; a later attempt may succeed
};

/// The exit code for an error of reading what the person named.
ExitCode exitCodeForInputError(const NSError& error);

}  // namespace tasklane
