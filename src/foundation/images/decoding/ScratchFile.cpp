#include "foundation/images/decoding/ScratchFile.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace tasklane {

namespace {

constexpr std::uint64_t kPage = 4096;

NSError outside() { return {NSError::Kind::Corrupt, "its parts do not fit together"}; }

}  // namespace

Result<ScratchFile::Part> ScratchFile::take(std::uint64_t size) {
  if (size > kMaximumSize - taken_)
    return NSError{NSError::Kind::Unsupported, "it would take " +
                                                   std::to_string((taken_ + size) >> 20) +
                                                   " MB of disk to decode, more than is allowed"};
  const Part part(fileDescriptor_, taken_, size);
  taken_ += (size + kPage - 1) / kPage * kPage;
  // A file that is long enough answers zeros for what was never written.
  if (::ftruncate(fileDescriptor_, static_cast<off_t>(taken_)) < 0)
    return NSError::fromErrno(errno, "no room on the disk for decoding");
  return part;
}

Result<void> ScratchFile::Part::writeAt(std::uint64_t offset, const void* bytes,
                                        std::size_t count) {
  if (offset > size_ || count > size_ - offset) return outside();
  const char* next = static_cast<const char*>(bytes);
  while (count > 0) {
    const ssize_t moved =
        ::pwrite(fileDescriptor_, next, count, static_cast<off_t>(offset_ + offset));
    if (moved < 0 && errno == EINTR) continue;
    if (moved < 0) return NSError::fromErrno(errno, "cannot keep on disk what was decoded");
    next += moved;
    offset += static_cast<std::uint64_t>(moved);
    count -= static_cast<std::size_t>(moved);
  }
  return {};
}

Result<void> ScratchFile::Part::readAt(std::uint64_t offset, void* into, std::size_t count) const {
  if (offset > size_ || count > size_ - offset) return outside();
  char* next = static_cast<char*>(into);
  while (count > 0) {
    const ssize_t moved =
        ::pread(fileDescriptor_, next, count, static_cast<off_t>(offset_ + offset));
    if (moved < 0 && errno == EINTR) continue;
    if (moved <= 0)
      return NSError::fromErrno(moved < 0 ? errno : EIO, "cannot read back what was decoded");
    next += moved;
    offset += static_cast<std::uint64_t>(moved);
    count -= static_cast<std::size_t>(moved);
  }
  return {};
}

}  // namespace tasklane
