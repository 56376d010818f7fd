#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "foundation/NSError.h"

namespace tasklane {

/// The encoded bytes of a picture, read at any position: an open file, never mapped or held whole,
/// or bytes in memory. Immutable; any thread.
class ImageSource {
 public:
  /// An open file. Only a regular file is taken, and opening never blocks.
  static Result<std::shared_ptr<const ImageSource>> makeWithFile(const std::string& path);
  static Result<std::shared_ptr<const ImageSource>> makeWithData(std::string bytes);
  virtual ~ImageSource() = default;

  virtual std::uint64_t size() const = 0;
  /// Reads up to that many bytes, fewer only at the end; -1 and errno on failure.
  virtual std::int64_t readAt(std::uint64_t offset, void* into, std::size_t count) const = 0;
  /// An error when the file has been written to since it was opened.
  virtual Result<void> checkUnchanged() const = 0;
  /// How messages call it.
  virtual const std::string& name() const = 0;
};

}  // namespace tasklane
