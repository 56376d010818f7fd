#include "PurposeCommand.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string_view>
#include <vector>

#include "Command.h"
#include "ShareCommand.h"
#include "common/SharedWords.h"
#include "foundation/base/FileDescriptor.h"
#include "foundation/base/FileSystem.h"

namespace tasklane {

namespace {

using nlohmann::json;

constexpr std::size_t kLargestMessage = 64 << 20;
constexpr timeval kLongestWait{10, 0};

Failure lost() {
  return {ExitCode::MissingInput, "The share menu has hung up; nothing was shared."};
}
Failure unreadable() { return {ExitCode::BadData, "What the share menu says cannot be read."}; }

FileDescriptor connectedTo(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (path.size() >= sizeof address.sun_path || !socket) throw lost();
  std::memcpy(address.sun_path, path.data(), path.size());
  ::setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &kLongestWait, sizeof kLongestWait);
  if (::connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    throw lost();
  return socket;
}

void fill(int socket, char* bytes, std::size_t size) {
  while (size > 0) {
    const auto count = uninterrupted([&] { return ::recv(socket, bytes, size, 0); });
    if (count <= 0) throw lost();
    bytes += count;
    size -= static_cast<std::size_t>(count);
  }
}

/// A length in decimal digits, a line break, and so many bytes of CBOR.
json receive(int socket) {
  std::size_t size = 0;
  for (char digit = 0; fill(socket, &digit, 1), digit != '\n';) {
    if (digit < '0' || digit > '9') throw unreadable();
    size = size * 10 + static_cast<std::size_t>(digit - '0');
    if (size > kLargestMessage) throw unreadable();
  }
  std::vector<char> bytes(size);
  fill(socket, bytes.data(), size);
  auto message = json::from_cbor(bytes, true, false);
  if (!message.is_object()) throw unreadable();
  return message;
}

void tell(int socket, const json& line) {
  const std::string text = line.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
  // Who has hung up does not want to know.
  (void)::send(socket, text.data(), text.size(), MSG_NOSIGNAL);
}

std::optional<std::string> textIn(const json& message, const char* key) {
  const auto found = message.find(key);
  if (found == message.end() || !found->is_string() || found->get<std::string>().empty()) return {};
  return found->get<std::string>();
}

ShareRequest requestOf(const json& message) {
  ShareRequest request;
  auto& item = request.items.emplace_back();
  item.title = textIn(message, "title");
  item.text = textIn(message, "text");
  std::vector<std::string> words;
  if (const auto urls = message.find("urls"); urls != message.end() && urls->is_array())
    for (const auto& url : *urls)
      if (url.is_string()) words.push_back(url.get<std::string>());
  if (words.empty() && !item.title && !item.text)
    throw Failure{ExitCode::BadData, "The share menu has named nothing to share."};
  if (const auto added = addSharedWords(words, item); !added)
    throw Failure{exitCodeForInputError(added.error()),
                  "This cannot be shared: " + added.error().description + "."};
  return request;
}

}  // namespace

void shareFromPurpose(const std::string& socket) {
  const FileDescriptor menu = connectedTo(socket);
  try {
    const auto request = requestOf(receive(menu.get()));
    requireContainer();
    openSheetDetached(request);
  } catch (const Failure& failure) {
    tell(menu.get(), {{"error", static_cast<int>(failure.code)}, {"errorText", failure.sentence}});
    throw;
  }
  tell(menu.get(), {{"output", {{"url", ""}}}});
}

}  // namespace tasklane
