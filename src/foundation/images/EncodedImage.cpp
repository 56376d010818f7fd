#include "foundation/images/EncodedImage.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <utility>

#include "foundation/images/PictureDecoder.h"

namespace tasklane {

namespace {

using Format = EncodedImage::Format;
using namespace std::string_view_literals;

/// Far above any photo; what is larger is not a picture somebody shares.
constexpr std::int64_t kMaximumSize = std::int64_t{1} << 30;

/// Where a decoder may keep what does not fit in memory when there is no file that it writes: on a
/// disk, which a folder for temporary files need not be on.
std::string scratchFolder() {
  const char* chosen = std::getenv("TMPDIR");
  return chosen != nullptr && *chosen != '\0' ? chosen : "/var/tmp";
}

/// The family of containers that HEIC and AVIF belong to names its brands in the first box.
std::optional<Format> formatOfBrands(std::string_view start) {
  if (start.size() < 12 || start.substr(4, 4) != "ftyp") return std::nullopt;
  std::size_t size = 0;
  for (const char byte : start.substr(0, 4)) size = size << 8 | static_cast<unsigned char>(byte);
  size = std::min(size, start.size());
  for (std::size_t offset = 8; offset + 4 <= size; offset += offset == 8 ? 8 : 4) {
    const std::string_view brand = start.substr(offset, 4);
    if (brand == "avif" || brand == "avis") return Format::AVIF;
    for (const std::string_view known : {"heic", "heix", "heim", "heis", "hevc", "hevx"})
      if (brand == known) return Format::HEIC;
  }
  return std::nullopt;
}

}  // namespace

std::optional<Format> imageFormatOfBytes(std::string_view start) {
  constexpr std::pair<std::string_view, Format> kMagic[] = {
      {"\xFF\xD8\xFF"sv, Format::JPEG},
      {"\x89PNG\r\n\x1A\n"sv, Format::PNG},
      {"GIF87a"sv, Format::GIF},
      {"GIF89a"sv, Format::GIF},
      {"II*\0"sv, Format::TIFF},
      {"MM\0*"sv, Format::TIFF},
      {"BM"sv, Format::BMP},
  };
  for (const auto& [magic, format] : kMagic)
    if (start.starts_with(magic)) return format;
  if (start.starts_with("RIFF") && start.size() >= 12 && start.substr(8, 4) == "WEBP")
    return Format::WebP;
  return formatOfBrands(start);
}

Result<std::shared_ptr<const EncodedImage>> EncodedImage::imageWithContentsOfFile(
    const std::string& path) {
  // Not blocking: a pipe without a writer would hold the caller for ever before it is known as one.
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (descriptor < 0) return NSError::fromErrno(errno, "cannot open " + path);
  const std::shared_ptr<EncodedImage> image(new EncodedImage(descriptor, path));
  if (auto identified = image->identify(); !identified) return identified.error();
  return std::shared_ptr<const EncodedImage>(image);
}

EncodedImage::~EncodedImage() { ::close(fileDescriptor_); }

Result<void> EncodedImage::identify() {
  struct stat status {};
  if (::fstat(fileDescriptor_, &status) < 0)
    return NSError::fromErrno(errno, "cannot read " + path_);
  if (!S_ISREG(status.st_mode))
    return NSError{NSError::Kind::Unsupported, path_ + " is not a file that can hold a picture"};
  size_ = status.st_size;
  changedSeconds_ = status.st_mtim.tv_sec;
  changedNanoseconds_ = status.st_mtim.tv_nsec;
  if (size_ > kMaximumSize)
    return NSError{NSError::Kind::Unsupported,
                   path_ + " is too large for a picture (more than 1 GB)"};
  std::string start(kImageMagicBytes, '\0');
  ssize_t got = -1;
  do {
    got = ::pread(fileDescriptor_, start.data(), start.size(), 0);
  } while (got < 0 && errno == EINTR);
  if (got < 0) return NSError::fromErrno(errno, "cannot read " + path_);
  start.resize(static_cast<std::size_t>(got));
  const auto format = imageFormatOfBytes(start);
  if (!format)
    return NSError{NSError::Kind::Unsupported,
                   path_ +
                       " is no picture of a known format (JPEG, PNG, GIF, TIFF, WebP, HEIC, AVIF, "
                       "BMP)"};
  format_ = *format;
  return {};
}

Result<void> EncodedImage::checkUnchanged() const {
  struct stat now {};
  if (::fstat(fileDescriptor_, &now) < 0) return NSError::fromErrno(errno, "cannot read " + path_);
  if (now.st_size == size_ && now.st_mtim.tv_sec == changedSeconds_ &&
      now.st_mtim.tv_nsec == changedNanoseconds_)
    return {};
  return NSError{NSError::Kind::Io, path_ + " was changed while it was read"};
}

Result<void> EncodedImage::writeJPEGRepresentation(double compressionQuality,
                                                   UnnamedFile& into) const {
  auto scratch = UnnamedFile::makeInFolder(into.folder());
  if (!scratch) return scratch.error();
  auto decoded = PictureDecoder::shared().decode(
      {.format = format_, .quality = compressionQuality},
      {fileDescriptor_, scratch.value()->fileDescriptor(), into.fileDescriptor()});
  // A file that changes under the decoder looks damaged; the change is what to tell.
  if (auto unchanged = checkUnchanged(); !unchanged) return unchanged;
  if (!decoded) return NSError{decoded.error().kind, path_ + ": " + decoded.error().description};
  return into.flush();
}

Result<EncodedImage::Pixels> EncodedImage::thumbnail(int side) const {
  auto scratch = UnnamedFile::makeInFolder(scratchFolder());
  if (!scratch) return scratch.error();
  auto decoded = PictureDecoder::shared().decode(
      {.format = format_, .thumbnailSide = std::clamp(side, 1, kLargestThumbnail)},
      {fileDescriptor_, scratch.value()->fileDescriptor(), -1});
  if (!decoded) return NSError{decoded.error().kind, path_ + ": " + decoded.error().description};
  return decoded;
}

}  // namespace tasklane
