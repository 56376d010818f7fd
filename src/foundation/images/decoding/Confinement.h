#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <vector>

#include "foundation/base/NSError.h"

namespace tasklane {

/// What a picture's decoder may take, whatever its header says.
struct DecodingLimits {
  std::uint64_t memory;  ///< bytes on top of what the process has already
  unsigned int seconds;  ///< of processor time, all threads together
  std::uint64_t file;    ///< bytes of any file that it writes
};

/// Gives up, for the calling process and for good, everything but the descriptors given: from here
/// on it can read and write these, manage its memory and its threads, and end. It cannot open
/// anything, start a process, signal one, reach a network, map executable memory or gain rights.
/// The standard descriptors are left, and lead nowhere. To be called before there is a second
/// thread. An error where the system has no such confinement: then nothing may be decoded.
///
/// Under the sanitisers, whose bookkeeping needs more address space than any limit would leave,
/// memory is not limited, and they may make pipes and count processors; these are the only
/// differences.
///
/// What looks for the number of processors learns of one: decoders then make no threads, each of
/// which would take memory of its own.
Result<void> confineProcess(const std::vector<int>& descriptors, const DecodingLimits& limits);

/// From now on a confined process has so much processor time left, of all threads together, within
/// the limit that it has anyway. It replaces what was said before; its end is the signal SIGPROF.
void allowProcessorTime(std::chrono::milliseconds time);

}  // namespace tasklane
