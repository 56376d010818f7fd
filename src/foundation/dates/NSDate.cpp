#include "foundation/dates/NSDate.h"

#include <atomic>
#include <cassert>

namespace tasklane {

namespace {

// Whether the clock is held is told apart from where, because any moment is a good one to hold at.
std::atomic<bool> held{false};
std::atomic<double> heldAt{0};

void holdAt(NSDate moment) {
  heldAt = moment.time_since_epoch().count();
  held = true;
}

}  // namespace

NSDate Clock::now() {
  if (held) return NSDate(NSTimeInterval(heldAt.load()));
  return std::chrono::system_clock::now();
}

Clock::Fixed::Fixed(NSDate moment) {
  assert(!held && "the clock is already held; use set() on the holder that is there");
  holdAt(moment);
}

Clock::Fixed::~Fixed() { held = false; }

void Clock::Fixed::set(NSDate moment) { holdAt(moment); }

void Clock::Fixed::advance(NSTimeInterval interval) { holdAt(now() + interval); }

}  // namespace tasklane
