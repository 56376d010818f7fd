#pragma once

#include <string>

namespace tasklane {

/// Random identifiers (RFC 4122, version 4) from the kernel's generator. Any thread.
class NSUUID {
 public:
  /// 36 characters, upper-case hexadecimal in groups 8-4-4-4-12.
  static std::string UUIDString();
};

}  // namespace tasklane
