#pragma once

#include <unistd.h>

#include <utility>

namespace tasklane {

/// An open descriptor that is closed with its owner; a negative number is none.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int number) : number_(number) {}
  FileDescriptor(FileDescriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~FileDescriptor() { close(); }

  explicit operator bool() const { return number_ >= 0; }
  int get() const { return number_; }

  /// Closes now; what close(2) answers (0 when there was nothing to close).
  int close() {
    const int number = std::exchange(number_, -1);
    return number >= 0 ? ::close(number) : 0;
  }

 private:
  int number_ = -1;
};

}  // namespace tasklane
