#include "foundation/images/decoding/DecoderService.h"

#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <exception>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "foundation/images/PictureMessages.h"
#include "foundation/images/decoding/Confinement.h"
#include "foundation/images/decoding/ImageCodecs.h"
#include "foundation/images/decoding/PictureDecoding.h"

namespace tasklane {

namespace {

using Clock = std::chrono::steady_clock;
using Format = EncodedImage::Format;

/// The slowest format takes some 0.13 s a megapixel on a usual machine. A picture that takes
/// several times as long as its size lets expect is damaged, or made to.
constexpr std::chrono::milliseconds kTimeOfAny{2000};
constexpr std::chrono::milliseconds kTimePerMegapixel{750};
constexpr unsigned int kProcessorSeconds = 45;
/// Two photos, or one of another format beside a photo, and the program that asked stay below
/// 120 MB together.
constexpr std::uint64_t kRowsMemory = 40ull << 20;
constexpr std::uint64_t kOtherMemory = 80ull << 20;

struct Request {
  PictureRequestMessage message;
  std::vector<int> descriptors;  ///< reply, picture, scratch, result (if a JPEG is wanted)
};

/// A picture that is being decoded.
struct Child {
  pid_t process;
  int ended;  ///< can be read when it has ended
  int reply;
  Clock::time_point limit;
};

bool isRare(Format format) { return format != Format::JPEG && format != Format::PNG; }

void writeAll(int descriptor, const void* bytes, std::size_t count) {
  const char* next = static_cast<const char*>(bytes);
  while (count > 0) {
    const ssize_t written = ::write(descriptor, next, count);
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return;
    next += written;
    count -= static_cast<std::size_t>(written);
  }
}

void reply(int descriptor, const NSError& error) {
  PictureReplyHead head;
  head.outcome = static_cast<std::int32_t>(error.kind);
  const std::string text = error.description.substr(0, PictureReplyHead::kMaximumText);
  head.textLength = static_cast<std::uint32_t>(text.size());
  writeAll(descriptor, &head, sizeof head);
  writeAll(descriptor, text.data(), text.size());
}

void reply(int descriptor, const EncodedImage::Pixels& pixels) {
  PictureReplyHead head;
  head.width = static_cast<std::uint32_t>(pixels.width);
  head.height = static_cast<std::uint32_t>(pixels.height);
  writeAll(descriptor, &head, sizeof head);
  writeAll(descriptor, pixels.argb.data(), pixels.argb.size() * sizeof(std::uint32_t));
}

std::string programFolder() {
  std::string path(4096, '\0');
  const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
  path.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
  return path.substr(0, path.rfind('/') + 1);
}

std::chrono::milliseconds timeFor(const ImageHeader& header) {
  const std::uint64_t pixels = std::uint64_t{header.width} * header.height;
  return kTimeOfAny + pixels * kTimePerMegapixel / 1'000'000;
}

Result<EncodedImage::Pixels> decode(const Request& request, OpenImageFunction openOther) {
  const PictureRequestMessage& message = request.message;
  const auto format = static_cast<Format>(message.format);
  const ImageSource source(request.descriptors[1]);
  allowProcessorTime(kTimeOfAny);
  const auto header = readImageHeader(format, source);
  if (!header) return header.error();
  allowProcessorTime(timeFor(header.value()));
  ScratchFile scratch(request.descriptors[2]);
  try {
    if (message.thumbnailSide > 0)
      return makeThumbnail(format, source, scratch, openOther, message.thumbnailSide);
    auto encoded =
        encodeJPEG(format, source, scratch, openOther, message.quality, request.descriptors.back());
    if (!encoded) return encoded.error();
    return EncodedImage::Pixels{};
  } catch (const std::bad_alloc&) {
    return NSError{NSError::Kind::Unsupported, "it takes more memory to decode than is allowed"};
  } catch (const std::exception& exception) {
    return NSError{NSError::Kind::Corrupt,
                   std::string("it cannot be decoded: ") + exception.what()};
  }
}

/// The life of a child.
[[noreturn]] void decodeConfined(const Request& request, OpenImageFunction openOther,
                                 pid_t parent) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (::getppid() != parent) ::_exit(1);
  const bool rare = isRare(static_cast<Format>(request.message.format));
  const auto confined = confineProcess(
      request.descriptors,
      {rare ? kOtherMemory : kRowsMemory, kProcessorSeconds, ScratchFile::kMaximumSize});
  const int pipe = request.descriptors[0];
  if (!confined) {
    reply(pipe, confined.error());
    ::_exit(0);
  }
  const auto decoded = decode(request, openOther);
  if (decoded)
    reply(pipe, decoded.value());
  else
    reply(pipe, decoded.error());
  ::_exit(0);
}

/// Why a child ended otherwise than by itself, for whoever waits for its picture.
NSError reasonOf(const siginfo_t& end, bool outOfTime) {
  const bool killed = end.si_code == CLD_KILLED || end.si_code == CLD_DUMPED;
  if (outOfTime || (killed && (end.si_status == SIGXCPU || end.si_status == SIGPROF)))
    return {NSError::Kind::Unsupported, "it takes longer to decode than is allowed"};
  if (killed && end.si_status == SIGKILL)
    return {NSError::Kind::Io, "its decoder was killed, as when the system's memory runs out"};
  return {NSError::Kind::Corrupt, "it broke its decoder"};
}

class Service {
 public:
  explicit Service(int socket) : socket_(socket) {}

  int run() {
    for (;;) {
      std::vector<pollfd> waited{{socket_, POLLIN, 0}};
      for (const Child& child : children_) waited.push_back({child.ended, POLLIN, 0});
      if (::poll(waited.data(), waited.size(), timeout()) < 0 && errno != EINTR) return 1;
      for (std::size_t i = children_.size(); i-- > 0;) look(i, waited[i + 1].revents != 0);
      if (waited[0].revents != 0 && !take()) return 0;
    }
  }

 private:
  int timeout() const {
    if (children_.empty()) return -1;
    auto first = children_.front().limit;
    for (const Child& child : children_) first = std::min(first, child.limit);
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(first - Clock::now());
    return static_cast<int>(std::max<std::int64_t>(left.count(), 0));
  }

  /// Lets go of a child that has ended, ends one whose time is up.
  void look(std::size_t index, bool ended) {
    const Child child = children_[index];
    const bool outOfTime = !ended && Clock::now() >= child.limit;
    if (!ended && !outOfTime) return;
    if (outOfTime) ::kill(child.process, SIGKILL);
    siginfo_t end{};
    while (::waitid(P_PIDFD, static_cast<id_t>(child.ended), &end, WEXITED) < 0 && errno == EINTR) {
    }
    if (end.si_code != CLD_EXITED || end.si_status != 0)
      reply(child.reply, reasonOf(end, outOfTime));
    ::close(child.ended);
    ::close(child.reply);
    children_.erase(children_.begin() + static_cast<std::ptrdiff_t>(index));
  }

  /// Takes one request. False when there will be no more.
  bool take() {
    Request request;
    alignas(cmsghdr) char control[CMSG_SPACE(kPictureDescriptors * sizeof(int))];
    iovec bytes{&request.message, sizeof request.message};
    msghdr header{};
    header.msg_iov = &bytes;
    header.msg_iovlen = 1;
    header.msg_control = control;
    header.msg_controllen = sizeof control;
    const ssize_t got = ::recvmsg(socket_, &header, MSG_CMSG_CLOEXEC);
    if (got <= 0) return got < 0 && errno == EINTR;
    for (cmsghdr* part = CMSG_FIRSTHDR(&header); part != nullptr;
         part = CMSG_NXTHDR(&header, part)) {
      if (part->cmsg_level != SOL_SOCKET || part->cmsg_type != SCM_RIGHTS) continue;
      request.descriptors.resize((part->cmsg_len - CMSG_LEN(0)) / sizeof(int));
      std::memcpy(request.descriptors.data(), CMSG_DATA(part),
                  request.descriptors.size() * sizeof(int));
    }
    if (auto begun = begin(request, static_cast<std::size_t>(got)); !begun) {
      if (!request.descriptors.empty()) reply(request.descriptors[0], begun.error());
    } else {
      request.descriptors[0] = -1;  // kept until the child has ended
    }
    for (const int descriptor : request.descriptors)
      if (descriptor >= 0) ::close(descriptor);
    return true;
  }

  Result<void> begin(const Request& request, std::size_t length) {
    const std::size_t expected = request.message.thumbnailSide > 0 ? 3 : 4;
    if (length != sizeof request.message ||
        request.message.version != PictureRequestMessage::kVersion)
      return NSError{NSError::Kind::Io, "the picture decoder is one of another version"};
    if (request.descriptors.size() != expected)
      return NSError{NSError::Kind::Io, "the picture decoder has no descriptors left"};
    if (isRare(static_cast<Format>(request.message.format)) && openOther_ == nullptr)
      openOther_ = loadImageCodecs(programFolder());  // children find it loaded
    const pid_t self = ::getpid();
    const pid_t process = ::fork();
    if (process == 0) decodeConfined(request, openOther_, self);
    const int ended = process < 0 ? -1 : static_cast<int>(::syscall(SYS_pidfd_open, process, 0));
    if (ended < 0) {
      const int failure = errno;
      if (process > 0) {
        ::kill(process, SIGKILL);
        ::waitpid(process, nullptr, 0);
      }
      return NSError{NSError::Kind::Io,
                     NSError::fromErrno(failure, "no process for its decoder").description};
    }
    children_.push_back({process, ended, request.descriptors[0],
                         Clock::now() + std::chrono::seconds(kPictureSeconds)});
    return {};
  }

  int socket_;
  OpenImageFunction openOther_ = nullptr;
  std::vector<Child> children_;
};

}  // namespace

int servePictures(int socket) {
  // It ends when the program that it serves does; what ends that one from a terminal leaves it time
  // to take back what it has done.
  for (const int signal : {SIGINT, SIGHUP, SIGPIPE}) ::signal(signal, SIG_IGN);
  return Service(socket).run();
}

}  // namespace tasklane
