#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/base/NSError.h"

namespace tasklane {

/// What a browser and a native messaging host say to each other: messages, each behind its length
/// in bytes as 32 bits in the machine's own order
/// (developer.chrome.com/docs/extensions/develop/concepts/native-messaging). One thread.
class Frames {
 public:
  /// As much as a browser lets an extension send in one message.
  static constexpr std::uint32_t kLongest = 64 << 20;

  /// Does not own the descriptors, which block.
  Frames(int input, int output) : input_(input), output_(output) {}

  /// The next message; none when the browser has closed its side between two. Of kind Corrupt when
  /// it announces more than the longest or ends early. Takes memory for what has come, not for what
  /// was announced.
  Result<std::optional<std::string>> read();

  /// False when the browser is gone.
  bool write(std::string_view message);

 private:
  Result<std::size_t> fill(std::string& bytes, std::size_t wanted);

  int input_;
  int output_;
};

}  // namespace tasklane
