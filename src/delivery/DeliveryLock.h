#pragma once

#include <optional>
#include <string>
#include <utility>

#include "foundation/base/FileDescriptor.h"

namespace tasklane {

/// What one process of a container does at a time. The kernel gives it free when the process dies.
/// To ask whether somebody has it disturbs nobody who wants it.
class DeliveryLock {
 public:
  enum class Of {
    Delivery,   ///< changing the list, the receipts and what is published
    Agent,      ///< staying for good
    Background  ///< staying for a while after a save
  };

  /// None when another process has it, or where there is no container.
  static std::optional<DeliveryLock> take(Of what);

  /// Whether any process has it.
  static bool isHeld(Of what);

 private:
  explicit DeliveryLock(FileDescriptor file) : file_(std::move(file)) {}
  FileDescriptor file_;
};

}  // namespace tasklane
