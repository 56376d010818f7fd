#include "foundation/images/PictureDecoder.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "foundation/base/FileSystem.h"
#include "foundation/base/ProgramStart.h"
#include "foundation/images/PictureMessages.h"

namespace tasklane {

namespace {

constexpr const char* kProgram = "Helpers/picture-decoder";
/// The decoder ends a picture by itself before this; it is for a decoder that hangs.
constexpr std::chrono::seconds kPatience{kPictureSeconds + 30};

std::string& chosenProgram() {
  static std::string* const path = std::make_unique<std::string>().release();
  return *path;
}

std::string programPath() {
  if (!chosenProgram().empty()) return chosenProgram();
  std::string self(4096, '\0');
  const ssize_t length = ::readlink("/proc/self/exe", self.data(), self.size());
  self.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
  const std::string folder = self.substr(0, self.rfind('/') + 1);
  for (const char* up : {"", "../", "../../", "../../../"}) {
    const std::string path = folder + up + kProgram;
    if (::access(path.c_str(), X_OK) == 0) return path;
  }
  return {};
}

NSError cannotStart(int errnoValue) {
  NSError error = NSError::fromErrno(errnoValue, "the picture decoder cannot be started");
  error.kind = NSError::Kind::Io;
  return error;
}

/// All that comes through the pipe, up to a limit; none when it takes too long.
std::optional<std::string> readToEnd(int pipe, std::size_t limit) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  std::string bytes;
  while (bytes.size() <= limit) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        end - std::chrono::steady_clock::now());
    pollfd readable{pipe, POLLIN, 0};
    const int ready =
        ::poll(&readable, 1, static_cast<int>(std::max<std::int64_t>(left.count(), 0)));
    if (ready == 0) return std::nullopt;
    if (ready < 0 && errno != EINTR) return std::nullopt;
    if (ready < 0) continue;
    char piece[16 * 1024];
    const ssize_t got = ::read(pipe, piece, sizeof piece);
    if (got == 0) break;
    if (got > 0) bytes.append(piece, static_cast<std::size_t>(got));
  }
  return bytes;
}

/// The decoder may have been taken over: its words are cut to what a console can show.
std::string plainText(std::string text) {
  for (char& c : text)
    if (c < ' ' || c > '~') c = '?';
  return text;
}

NSError::Kind kindOf(std::int32_t outcome) {
  for (const auto kind : {NSError::Kind::Unsupported, NSError::Kind::NoSpace, NSError::Kind::Io})
    if (outcome == static_cast<std::int32_t>(kind)) return kind;
  return NSError::Kind::Corrupt;
}

Result<EncodedImage::Pixels> readReply(int pipe, int side) {
  const NSError broken{NSError::Kind::Corrupt, "it broke its decoder"};
  const auto square = static_cast<std::size_t>(side) * static_cast<std::size_t>(side);
  const auto bytes = readToEnd(pipe, sizeof(PictureReplyHead) + PictureReplyHead::kMaximumText +
                                         square * sizeof(std::uint32_t));
  if (!bytes) return NSError{NSError::Kind::Io, "the picture decoder does not answer"};
  if (bytes->empty()) return NSError{NSError::Kind::Io, "the picture decoder has ended"};
  PictureReplyHead head;
  if (bytes->size() < sizeof head) return broken;
  std::memcpy(&head, bytes->data(), sizeof head);
  const std::size_t left = bytes->size() - sizeof head;
  if (head.outcome != PictureReplyHead::kDone) {
    if (head.textLength == 0 || head.textLength != left) return broken;
    return NSError{kindOf(head.outcome), plainText(bytes->substr(sizeof head))};
  }
  const auto most = static_cast<std::uint32_t>(side);
  EncodedImage::Pixels pixels;
  if (head.width > most || head.height > most || (head.width == 0) != (side == 0) ||
      left != std::size_t{head.width} * head.height * sizeof(std::uint32_t))
    return broken;
  pixels.width = static_cast<int>(head.width);
  pixels.height = static_cast<int>(head.height);
  pixels.argb.resize(left / sizeof(std::uint32_t));
  if (left > 0) std::memcpy(pixels.argb.data(), bytes->data() + sizeof head, left);
  return pixels;
}

/// Whether a decoder holds so much of a picture that there must be one at a time.
bool needsMuchMemory(EncodedImage::Format format) {
  return format != EncodedImage::Format::JPEG && format != EncodedImage::Format::PNG;
}

}  // namespace

PictureDecoder& PictureDecoder::shared() {
  // Never destroyed: a thread may wait for a picture while the process ends.
  static auto* const decoder = std::make_unique<PictureDecoder>().release();
  return *decoder;
}

void PictureDecoder::setProgram(const std::string& path) { chosenProgram() = path; }

Result<EncodedImage::Pixels> PictureDecoder::decode(const PictureRequest& request,
                                                    const PictureDescriptors& descriptors) {
  std::unique_lock turn(oneAtATime_, std::defer_lock);
  if (needsMuchMemory(request.format)) turn.lock();
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) return cannotStart(errno);
  auto sent = send(request, descriptors, ends[1]);
  ::close(ends[1]);
  Result<EncodedImage::Pixels> result =
      sent ? readReply(ends[0], request.thumbnailSide) : sent.error();
  ::close(ends[0]);
  return result;
}

void PictureDecoder::stop() {
  const std::lock_guard lock(starting_);
  end();
}

void PictureDecoder::end() {
  if (socket_ < 0) return;
  ::close(socket_);
  socket_ = -1;
  uninterrupted([&] { return ::waitpid(process_, nullptr, 0); });
}

Result<void> PictureDecoder::start() {
  if (socket_ >= 0) return {};
  const std::string path = program_.empty() ? programPath() : program_;
  if (path.empty())
    return NSError{NSError::Kind::Io, std::string("the picture decoder is missing (") + kProgram +
                                          " in the application's folder)"};
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) return cannotStart(errno);
  process_ = startProgram({.program = path,
                           .arguments = {path},
                           .descriptors = {ProgramStart::kNothing, ProgramStart::kNothing,
                                           ProgramStart::kSame, ends[1]},
                           .environment = std::vector<std::string>()});
  const int failure = errno;
  ::close(ends[1]);
  if (process_ < 0) {
    ::close(ends[0]);
    return cannotStart(failure);
  }
  socket_ = ends[0];
  return {};
}

Result<void> PictureDecoder::send(const PictureRequest& request,
                                  const PictureDescriptors& descriptors, int reply) {
  PictureRequestMessage message;
  message.format = static_cast<std::int32_t>(request.format);
  message.thumbnailSide = request.thumbnailSide;
  message.quality = request.quality;
  const std::array<int, kPictureDescriptors> passed = {reply, descriptors.picture,
                                                       descriptors.scratch, descriptors.result};
  const std::size_t count = descriptors.result < 0 ? passed.size() - 1 : passed.size();
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof passed)] = {};
  iovec bytes{&message, sizeof message};
  msghdr header{};
  header.msg_iov = &bytes;
  header.msg_iovlen = 1;
  header.msg_control = control;
  header.msg_controllen = CMSG_SPACE(count * sizeof(int));
  cmsghdr* rights = CMSG_FIRSTHDR(&header);
  rights->cmsg_level = SOL_SOCKET;
  rights->cmsg_type = SCM_RIGHTS;
  rights->cmsg_len = CMSG_LEN(count * sizeof(int));
  std::memcpy(CMSG_DATA(rights), passed.data(), count * sizeof(int));

  const std::lock_guard lock(starting_);
  for (int attempt = 0;; ++attempt) {
    if (auto started = start(); !started) return started;
    if (uninterrupted([&] { return ::sendmsg(socket_, &header, MSG_NOSIGNAL); }) >= 0) return {};
    const int failure = errno;
    if (attempt > 0 || (failure != EPIPE && failure != ECONNRESET)) return cannotStart(failure);
    // The decoder has ended, which somebody may bring about from outside: once more with a new one.
    end();
  }
}

}  // namespace tasklane
