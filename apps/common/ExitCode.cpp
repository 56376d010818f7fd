#include "common/ExitCode.h"

namespace tasklane {

ExitCode exitCodeForInputError(const NSError& error) {
  switch (error.kind) {
    case NSError::Kind::FileNotFound:
    case NSError::Kind::NotPermitted:
    case NSError::Kind::Io:
      return ExitCode::MissingInput;
    default:
      return ExitCode::BadData;
  }
}

}  // namespace tasklane
