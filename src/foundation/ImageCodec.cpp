#include "foundation/ImageCodec.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <utility>
#include <vector>

namespace tasklane {

namespace {

constexpr const char* kModule = "tasklane_image_codecs.so";

std::string programFolder() {
  std::string path(4096, '\0');
  const ssize_t length = ::readlink("/proc/self/exe", path.data(), path.size());
  path.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
  return path.substr(0, path.rfind('/') + 1);
}

/// Only code of the user's own or of the system's is loaded, whatever lies in a shared folder.
bool isTrusted(const std::string& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
         (status.st_uid == 0 || status.st_uid == ::geteuid()) && (status.st_mode & S_IWOTH) == 0;
}

std::vector<std::string> candidates() {
  if (const char* chosen = std::getenv("TASKLANE_IMAGE_CODECS")) return {chosen};
  const std::string folder = programFolder();
  std::vector<std::string> paths = {folder + kModule};
  for (const char* up : {"", "../", "../../", "../../../"})
    paths.push_back(folder + up + "Frameworks/" + kModule);
  return paths;
}

OpenImageFunction loadModule() {
  for (const std::string& path : candidates()) {
    if (!isTrusted(path)) continue;
    // Never closed again: decoders made by it may outlive any moment at which that could be done.
    void* module = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (module == nullptr) continue;
    if (void* symbol = ::dlsym(module, "tasklane_open_image"))
      return reinterpret_cast<OpenImageFunction>(symbol);
  }
  return nullptr;
}

/// A decoder together with its turn.
class DecoderInTurn final : public StripProducer {
 public:
  DecoderInTurn(std::unique_ptr<StripProducer> decoder, std::shared_ptr<void> turn)
      : turn_(std::move(turn)), decoder_(std::move(decoder)) {}

  const StripLayout& layout() const override { return decoder_->layout(); }
  int orientation() const override { return decoder_->orientation(); }
  const std::string& colorProfile() const override { return decoder_->colorProfile(); }
  Result<void> fill(Strip& strip) override { return decoder_->fill(strip); }
  Result<void> finish() override { return decoder_->finish(); }

 private:
  std::shared_ptr<void> turn_;
  std::unique_ptr<StripProducer> decoder_;
};

/// Waits for a turn, which ends with the result. It may end on another thread than it began on,
/// which a plain mutex does not allow.
std::shared_ptr<void> waitForTurn() {
  static std::mutex mutex;
  static std::condition_variable ended;
  static bool taken = false;
  std::unique_lock lock(mutex);
  ended.wait(lock, [] { return !taken; });
  taken = true;
  return std::shared_ptr<void>(nullptr, [](void*) {
    const std::lock_guard end(mutex);
    taken = false;
    ended.notify_one();
  });
}

}  // namespace

Result<std::unique_ptr<StripProducer>> openWithCodecModule(const ImageCodecRequest& request) {
  static const OpenImageFunction open = loadModule();
  if (open == nullptr)
    return NSError{NSError::Kind::Unsupported, request.source->name() +
                                                   " cannot be decoded: the module " + kModule +
                                                   " is missing or cannot be loaded"};
  std::shared_ptr<void> turn = waitForTurn();
  Result<std::unique_ptr<StripProducer>> result = NSError{};
  open(request, result);
  if (!result.ok()) return result;
  std::unique_ptr<StripProducer> decoder =
      std::make_unique<DecoderInTurn>(std::move(result).value(), std::move(turn));
  return decoder;
}

}  // namespace tasklane
