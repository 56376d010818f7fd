#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/base/NSError.h"

namespace tasklane {

/// An empty file on a disk for what does not fit in memory while one picture is decoded. Whoever
/// needs room takes a part of its own; parts are not given back. One thread takes; parts may be
/// used on any.
class ScratchFile {
 public:
  /// Refuses more than so much in all, whatever a header asks for.
  static constexpr std::uint64_t kMaximumSize = std::uint64_t{1} << 30;

  /// The descriptor is not owned.
  explicit ScratchFile(int fileDescriptor) : fileDescriptor_(fileDescriptor) {}

  class Part {
   public:
    Part() = default;
    /// All of the bytes, or an error. What was never written reads as zeros.
    Result<void> writeAt(std::uint64_t offset, const void* bytes, std::size_t count);
    Result<void> readAt(std::uint64_t offset, void* into, std::size_t count) const;

    int fileDescriptor() const { return fileDescriptor_; }
    /// Where it begins in the file: at a page.
    std::uint64_t offset() const { return offset_; }

   private:
    friend class ScratchFile;
    Part(int fileDescriptor, std::uint64_t offset, std::uint64_t size)
        : fileDescriptor_(fileDescriptor), offset_(offset), size_(size) {}
    int fileDescriptor_ = -1;
    std::uint64_t offset_ = 0;
    std::uint64_t size_ = 0;
  };

  Result<Part> take(std::uint64_t size);

 private:
  int fileDescriptor_;
  std::uint64_t taken_ = 0;
};

}  // namespace tasklane
