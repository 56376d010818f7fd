#include "foundation/images/decoding/ImageSource.h"

#include <unistd.h>

#include <cerrno>

namespace tasklane {

ImageSource::ImageSource(int fileDescriptor) : fileDescriptor_(fileDescriptor) {
  const off_t end = ::lseek(fileDescriptor, 0, SEEK_END);
  size_ = end > 0 ? static_cast<std::uint64_t>(end) : 0;
}

std::int64_t ImageSource::readAt(std::uint64_t offset, void* into, std::size_t count) const {
  std::size_t done = 0;
  while (done < count && offset + done < size_) {
    const ssize_t got = ::pread(fileDescriptor_, static_cast<char*>(into) + done, count - done,
                                static_cast<off_t>(offset + done));
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return -1;
    if (got == 0) break;
    done += static_cast<std::size_t>(got);
  }
  return static_cast<std::int64_t>(done);
}

}  // namespace tasklane
