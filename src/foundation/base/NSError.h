#pragma once

#include <optional>
#include <string>
#include <utility>
#include <variant>

namespace tasklane {

/// Why something of the outside world failed: a kind that code can act on and one plain sentence
/// for a person, naming what was wrong, where (file, line and column, byte offset) and, where it
/// helps, what to do. Mistakes of the caller are assertions, not errors.
struct NSError {
  enum class Kind {
    FileNotFound,
    NotPermitted,
    NoSpace,
    Exists,
    Corrupt,
    Unsupported,
    Cancelled,
    Busy,         ///< others held it for too long; a later attempt may succeed
    Interrupted,  ///< a signal asked the process to end while it waited
    Io
  };

  Kind kind = Kind::Io;
  std::string description;

  /// The error for an errno value of an operation on something: "cannot open /a/b: No such file…".
  static NSError fromErrno(int errnoValue, const std::string& doing);
};

/// A value or the reason that there is none.
template <class T>
class [[nodiscard]] Result {
 public:
  Result(T value) : state_(std::in_place_index<0>, std::move(value)) {}
  Result(NSError error) : state_(std::in_place_index<1>, std::move(error)) {}

  bool ok() const { return state_.index() == 0; }
  explicit operator bool() const { return ok(); }
  const T& value() const& { return std::get<0>(state_); }
  T& value() & { return std::get<0>(state_); }
  T&& value() && { return std::get<0>(std::move(state_)); }
  const NSError& error() const { return std::get<1>(state_); }

 private:
  std::variant<T, NSError> state_;
};

/// The outcome of something that yields nothing but may fail.
template <>
class [[nodiscard]] Result<void> {
 public:
  Result() = default;
  Result(NSError error) : error_(std::move(error)) {}

  bool ok() const { return !error_; }
  explicit operator bool() const { return ok(); }
  const NSError& error() const { return *error_; }

 private:
  std::optional<NSError> error_;
};

}  // namespace tasklane
