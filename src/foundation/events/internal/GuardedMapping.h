#pragma once

#include <cstddef>
#include <utility>

namespace tasklane {

/// A shared, writable mapping of a file that outlives somebody cutting the file short. Touching
/// what is cut off would end the process by a signal (SIGBUS); here the mapping turns into zeros of
/// the process's own instead, and whoever uses it has to notice by its contents. Any thread.
class GuardedMapping {
 public:
  /// Maps the file from its beginning; data() is null when that fails.
  GuardedMapping(int file, std::size_t size);
  GuardedMapping(GuardedMapping&& other) noexcept
      : data_(std::exchange(other.data_, nullptr)), size_(other.size_), slot_(other.slot_) {}
  GuardedMapping& operator=(GuardedMapping&&) = delete;
  ~GuardedMapping();

  void* data() const { return data_; }
  std::size_t size() const { return size_; }

 private:
  void* data_;
  std::size_t size_;
  int slot_;  // -1 when very many mappings are in use and this one goes without protection
};

}  // namespace tasklane
