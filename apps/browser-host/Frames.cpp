#include "Frames.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "foundation/base/FileSystem.h"

namespace tasklane {

namespace {

constexpr std::size_t kPiece = 64 << 10;

NSError endedEarly(std::size_t had, std::size_t wanted) {
  return {NSError::Kind::Corrupt, "the browser's message ends after " + std::to_string(had) +
                                      " of " + std::to_string(wanted) + " bytes"};
}

}  // namespace

/// How many bytes there are in the end: fewer than wanted when the input ends.
Result<std::size_t> Frames::fill(std::string& bytes, std::size_t wanted) {
  std::size_t had = 0;
  while (had < wanted) {
    bytes.resize(had + std::min(wanted - had, std::max(kPiece, had)));
    const ssize_t count =
        uninterrupted([&] { return ::read(input_, bytes.data() + had, bytes.size() - had); });
    if (count < 0) return NSError::fromErrno(errno, "cannot read the browser's message");
    if (count == 0) break;
    had += static_cast<std::size_t>(count);
  }
  bytes.resize(had);
  return had;
}

Result<std::optional<std::string>> Frames::read() {
  std::string bytes;
  std::uint32_t length = 0;
  auto had = fill(bytes, sizeof length);
  if (!had) return had.error();
  if (had.value() == 0) return std::optional<std::string>();
  if (had.value() < sizeof length) return endedEarly(had.value(), sizeof length);
  std::memcpy(&length, bytes.data(), sizeof length);
  if (length > kLongest)
    return NSError{NSError::Kind::Corrupt, "the browser announces a message of " +
                                               std::to_string(length) + " bytes; at most " +
                                               std::to_string(kLongest) + " are taken"};
  had = fill(bytes, length);
  if (!had) return had.error();
  if (had.value() < length) return endedEarly(had.value(), length);
  return std::optional(std::move(bytes));
}

bool Frames::write(std::string_view message) {
  const auto length = static_cast<std::uint32_t>(message.size());
  std::string frame(reinterpret_cast<const char*>(&length), sizeof length);
  frame += message;
  return writeAll(output_, frame) == 0;
}

}  // namespace tasklane
