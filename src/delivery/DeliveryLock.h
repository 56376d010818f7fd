#pragma once

#include <utility>

#include "foundation/base/FileDescriptor.h"
#include "foundation/base/NSError.h"

namespace tasklane {

/// What one process of a container does at a time. The kernel releases it when the process dies.
/// To ask whether somebody has it disturbs nobody who wants it.
class DeliveryLock {
 public:
  enum class Of {
    Delivery,   ///< changing the list, the receipts and what is published
    Agent,      ///< staying for good
    Background  ///< staying for a while after a save
  };

  /// Does not wait. An error of kind Busy when another process has it; another one when there is no
  /// container, or its lock file cannot be opened.
  static Result<DeliveryLock> take(Of what);

  /// Whether any process has it.
  static bool isHeld(Of what);

 private:
  explicit DeliveryLock(FileDescriptor file) : file_(std::move(file)) {}
  FileDescriptor file_;
};

}  // namespace tasklane
