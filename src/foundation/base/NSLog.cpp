#include "foundation/base/NSLog.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace tasklane {
namespace {

/// Whether the bytes at a position are a control character that a terminal would act on, and how
/// many they are. The second block of control characters is two bytes long in UTF-8.
std::size_t controlCharacterLength(std::string_view text, std::size_t at) {
  const auto byte = static_cast<unsigned char>(text[at]);
  if (byte == '\t' || byte == '\n') return 0;
  if (byte < 0x20 || byte == 0x7F) return 1;
  if (byte != 0xC2 || at + 1 == text.size()) return 0;
  const auto next = static_cast<unsigned char>(text[at + 1]);
  return next >= 0x80 && next < 0xA0 ? 2 : 0;
}

std::string escaped(std::string_view text) {
  std::string result;
  result.reserve(text.size() + 1);
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = controlCharacterLength(text, at);
    if (length == 0) {
      result += text[at++];
      continue;
    }
    char shown[8];
    std::snprintf(shown, sizeof shown, "\\x%02x",
                  static_cast<unsigned>(static_cast<unsigned char>(text[at + length - 1])));
    result += shown;
    at += length;
  }
  return result;
}

}  // namespace

void NSLog(std::string_view line) {
  std::string text = escaped(line);
  text += '\n';
  // One write for the whole line, so that lines of several writers do not mix.
  for (std::string_view rest = text; !rest.empty();) {
    const ssize_t written = write(STDERR_FILENO, rest.data(), rest.size());
    if (written < 0 && errno != EINTR) return;
    if (written > 0) rest.remove_prefix(static_cast<std::size_t>(written));
  }
}

std::string stringWithFormat(std::string_view format,
                             std::initializer_list<std::string_view> arguments) {
  constexpr std::string_view kPlaceholder = "%@";
  std::string result;
  for (const std::string_view argument : arguments) {
    const std::size_t at = format.find(kPlaceholder);
    if (at == std::string_view::npos) break;
    result += format.substr(0, at);
    result += argument;
    format.remove_prefix(at + kPlaceholder.size());
  }
  result += format;
  return result;
}

void assertionFailed(std::string_view condition, std::string_view label, int labelLine,
                     const char* file, int line) {
  NSLog(
      stringWithFormat("Assertion failed: \"%@\" (%@:%@) at %@:%@",
                       {condition, label, std::to_string(labelLine), file, std::to_string(line)}));
  std::abort();
}

}  // namespace tasklane
