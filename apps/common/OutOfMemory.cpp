#include "common/OutOfMemory.h"

#include <unistd.h>

#include <atomic>
#include <cstring>
#include <exception>
#include <new>

#include "foundation/base/NSLog.h"

namespace tasklane {

namespace {

std::atomic<const char*> g_text;
std::atomic<ExitCode> g_code = ExitCode::WriteFailed;
std::atomic<bool> g_hasSteps;
std::terminate_handler g_previous;

void endProcess() {
  try {
    if (const auto exception = std::current_exception()) std::rethrow_exception(exception);
  } catch (const std::bad_alloc&) {
    const char* const text = g_text;
    [[maybe_unused]] const ssize_t told = ::write(STDERR_FILENO, text, std::strlen(text));
    ::_exit(static_cast<int>(g_code.load()));
  } catch (...) {
    // A mistake of the program.
  }
  g_previous();
}

}  // namespace

void OutOfMemory::endPlainly(const char* text) {
  g_text = text;
  g_previous = std::set_terminate(endProcess);
}

void OutOfMemory::changeHasSteps() {
  g_text = "There is not enough memory to finish; what is done until now stays done.\n";
  g_hasSteps = true;
}

void OutOfMemory::changeIsSaved() {
  g_text = "It is done, but there is not enough memory to say more.\n";
  g_code = ExitCode::Done;
}

ExitCode OutOfMemory::codeAfter(const std::string& program, const std::system_error& error) {
  const char* const outcome = g_code == ExitCode::Done ? ": It is done, but what follows failed: "
                              : g_hasSteps             ? ": Not all of it was done: "
                                                       : ": Nothing was done: ";
  NSLog(program + outcome + error.what() + ".");
  return g_code;
}

}  // namespace tasklane
