#pragma once

#include <cstddef>
#include <cstdint>

namespace tasklane {

/// The encoded bytes of a picture, read at any position of an open file, which is neither owned nor
/// ever mapped or held whole. Immutable; any thread.
class ImageSource {
 public:
  explicit ImageSource(int fileDescriptor);

  std::uint64_t size() const { return size_; }
  /// Reads up to that many bytes, fewer only at the end; -1 and errno on failure.
  std::int64_t readAt(std::uint64_t offset, void* into, std::size_t count) const;

 private:
  int fileDescriptor_;
  std::uint64_t size_;
};

}  // namespace tasklane
