#pragma once

#include <chrono>

namespace tasklane {

/// A moment, as seconds (with fractions) from the epoch of the system clock.
using NSDate = std::chrono::time_point<std::chrono::system_clock, std::chrono::duration<double>>;

/// Whole and fractional seconds between two moments.
using NSTimeInterval = std::chrono::duration<double>;

/// The one clock of the process. Everything that asks for "now" asks here, so that a test can say
/// what time it is.
class Clock {
 public:
  static NSDate now();

  /// Holds the clock at a moment until destroyed; then the system's clock is followed again. For
  /// tests.
  class Fixed {
   public:
    explicit Fixed(NSDate moment);
    ~Fixed();
    Fixed(const Fixed&) = delete;
    Fixed& operator=(const Fixed&) = delete;
    void set(NSDate moment);
    void advance(NSTimeInterval interval);
  };
};

}  // namespace tasklane
