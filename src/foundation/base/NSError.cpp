#include "foundation/base/NSError.h"

#include <cerrno>
#include <system_error>

namespace tasklane {

namespace {

NSError::Kind kindOf(int errnoValue) {
  switch (errnoValue) {
    case ENOENT:
    case ENOTDIR:
      return NSError::Kind::FileNotFound;
    case EACCES:
    case EPERM:
    case EROFS:
      return NSError::Kind::NotPermitted;
    case ENOSPC:
    case EDQUOT:
    case EFBIG:
      return NSError::Kind::NoSpace;
    case EEXIST:
    case ENOTEMPTY:
      return NSError::Kind::Exists;
    case EOPNOTSUPP:
    case ENOSYS:
      return NSError::Kind::Unsupported;
    case ECANCELED:
      return NSError::Kind::Cancelled;
    default:
      return NSError::Kind::Io;
  }
}

}  // namespace

NSError NSError::fromErrno(int errnoValue, const std::string& doing) {
  return {kindOf(errnoValue), doing + ": " + std::generic_category().message(errnoValue)};
}

}  // namespace tasklane
