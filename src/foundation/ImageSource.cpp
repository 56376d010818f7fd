#include "foundation/ImageSource.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace tasklane {

namespace {

/// Far above any photo; what is larger is not a picture somebody shares.
constexpr std::uint64_t kMaximumSize = 1ull << 30;

NSError tooLarge(const std::string& name) {
  return {NSError::Kind::Unsupported, name + " is too large for a picture (more than 1 GB)"};
}

class FileImageSource final : public ImageSource {
 public:
  FileImageSource(int descriptor, const struct stat& status, std::string path)
      : descriptor_(descriptor), opened_(status), path_(std::move(path)) {}
  ~FileImageSource() override { ::close(descriptor_); }
  FileImageSource(const FileImageSource&) = delete;
  FileImageSource& operator=(const FileImageSource&) = delete;

  std::uint64_t size() const override { return static_cast<std::uint64_t>(opened_.st_size); }
  const std::string& name() const override { return path_; }

  std::int64_t readAt(std::uint64_t offset, void* into, std::size_t count) const override {
    std::size_t done = 0;
    while (done < count) {
      const ssize_t got = ::pread(descriptor_, static_cast<char*>(into) + done, count - done,
                                  static_cast<off_t>(offset + done));
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) return -1;
      if (got == 0) break;
      done += static_cast<std::size_t>(got);
    }
    return static_cast<std::int64_t>(done);
  }

  Result<void> checkUnchanged() const override {
    struct stat now {};
    if (::fstat(descriptor_, &now) < 0) return NSError::fromErrno(errno, "cannot read " + path_);
    if (now.st_size == opened_.st_size && now.st_mtim.tv_sec == opened_.st_mtim.tv_sec &&
        now.st_mtim.tv_nsec == opened_.st_mtim.tv_nsec)
      return {};
    return NSError{NSError::Kind::Io, path_ + " was changed while it was read"};
  }

 private:
  int descriptor_;
  struct stat opened_;
  std::string path_;
};

class DataImageSource final : public ImageSource {
 public:
  explicit DataImageSource(std::string bytes) : bytes_(std::move(bytes)) {}

  std::uint64_t size() const override { return bytes_.size(); }
  const std::string& name() const override { return name_; }
  Result<void> checkUnchanged() const override { return {}; }

  std::int64_t readAt(std::uint64_t offset, void* into, std::size_t count) const override {
    if (offset >= bytes_.size()) return 0;
    const std::size_t available = std::min<std::uint64_t>(count, bytes_.size() - offset);
    std::memcpy(into, bytes_.data() + offset, available);
    return static_cast<std::int64_t>(available);
  }

 private:
  std::string bytes_;
  std::string name_ = "the picture";
};

}  // namespace

Result<std::shared_ptr<const ImageSource>> ImageSource::makeWithFile(const std::string& path) {
  // Not blocking: a pipe without a writer would hold the caller for ever before it is known as one.
  const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (descriptor < 0) return NSError::fromErrno(errno, "cannot open " + path);
  struct stat status {};
  const int failure = ::fstat(descriptor, &status) < 0 ? errno : 0;
  if (failure != 0 || !S_ISREG(status.st_mode)) {
    ::close(descriptor);
    if (failure != 0) return NSError::fromErrno(failure, "cannot read " + path);
    return NSError{NSError::Kind::Unsupported, path + " is not a file that can hold a picture"};
  }
  std::shared_ptr<const ImageSource> source =
      std::make_shared<FileImageSource>(descriptor, status, path);
  if (source->size() > kMaximumSize) return tooLarge(path);
  return source;
}

Result<std::shared_ptr<const ImageSource>> ImageSource::makeWithData(std::string bytes) {
  std::shared_ptr<const ImageSource> source = std::make_shared<DataImageSource>(std::move(bytes));
  if (source->size() > kMaximumSize) return tooLarge(source->name());
  return source;
}

}  // namespace tasklane
