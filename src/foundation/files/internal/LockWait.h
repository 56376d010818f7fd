#pragma once

#include <functional>
#include <string>

#include "foundation/base/FileDescriptor.h"
#include "foundation/base/NSError.h"

namespace tasklane {

/// How a process comes to a lock (flock) on an open file, and waits for it where others hold it.
///
/// Who waits holds a second lock meanwhile, a record lock on the file's first byte, which everyone
/// looks at before trying: nobody overtakes who waits, so that readers in turns cannot keep a
/// writer out. The waiting itself is done by a thread inside the system's call, in the system's
/// order; the calling thread looks after the time, the signals and the screen.
namespace lockwait {

enum class Mode { Shared, Exclusive };

/// Locks an open file, which is handed back locked. Kind Busy when it could not be had within the
/// limit (ten seconds, or what TASKLANE_LOCK_LIMIT says), Interrupted when the process is asked to
/// end. After one second of waiting a console line says who holds it. The path is for the texts.
Result<FileDescriptor> lock(FileDescriptor file, Mode mode, const std::string& path);

/// See CoordinationLock.
void setHook(std::function<void()> hook);

}  // namespace lockwait
}  // namespace tasklane
