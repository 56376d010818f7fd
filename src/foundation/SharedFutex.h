#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <span>

namespace tasklane {

/// Sleeping until another thread or process changes a number in memory that both have mapped.
/// Whoever changes a word wakes its sleepers afterwards; a word that has changed already is not
/// slept on, so that no change is missed.
class SharedFutex {
 public:
  using Word = std::atomic<std::uint32_t>;

  /// A word and the value that it must still have for the sleep to begin.
  struct Awaited {
    Word* word;
    std::uint32_t value;
  };

  /// Which sleepers of a word are woken, one bit each: whoever sleeps on one word alone names the
  /// bits that it wants to hear.
  static constexpr std::uint32_t kEverybody = ~std::uint32_t{0};

  /// More words than that cannot be slept on at once.
  static constexpr std::size_t kMostWords = 128;

  /// The moment that never comes. Waiting for it takes less than waiting for any other.
  static constexpr auto kNever = std::chrono::steady_clock::time_point::max();

  /// Sleeps until a word is woken or the moment comes, and now and then for no reason. False, at
  /// once, when the system refuses: old ones and some containers know only sleeps on one word.
  static bool sleep(std::span<const Awaited> words, std::chrono::steady_clock::time_point until,
                    std::uint32_t bits = kEverybody);

  static void wake(Word& word, std::uint32_t bits = kEverybody);
};

}  // namespace tasklane
