#include "foundation/NSItemProvider.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

#include "foundation/NSOperationQueue.h"
#include "foundation/UTType.h"

namespace tasklane {

namespace {

constexpr int kThreads = 2;

/// The threads that load. They are detached and their state is never destroyed: a process may end
/// while a slow disk keeps a load from returning.
class LoadQueue {
 public:
  static LoadQueue& shared() {
    static LoadQueue* const queue = std::make_unique<LoadQueue>().release();
    return *queue;
  }

  LoadQueue() = default;

  void add(std::function<void()> load) {
    const std::lock_guard lock(mutex_);
    ++outstanding_;
    loads_.push_back(std::move(load));
    if (threads_ < kThreads && threads_ < outstanding_) startThread();
    changed_.notify_one();
  }

  int outstanding() {
    const std::lock_guard lock(mutex_);
    return outstanding_;
  }

 private:
  void startThread() {
    try {
      std::thread([this] { work(); }).detach();
      ++threads_;
    } catch (const std::system_error&) {
      // Without any thread nothing would ever be loaded; with one less it only takes longer.
      if (threads_ == 0) throw;
    }
  }

  [[noreturn]] void work() {
    for (;;) {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return !loads_.empty(); });
      std::function<void()> load = std::move(loads_.front());
      loads_.pop_front();
      lock.unlock();
      load();
      load = nullptr;
      lock.lock();
      --outstanding_;
      lock.unlock();
      // A run loop that waits for the last load has to look again, whatever the handler did.
      NSOperationQueue::mainQueue().addOperationWithBlock([] {});
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> loads_;
  int outstanding_ = 0;
  int threads_ = 0;
};

Result<NSItemProviderItem> loadGuarded(const NSItemProvider::Loader& loader) {
  try {
    return loader();
  } catch (const std::exception& exception) {
    return NSError{NSError::Kind::Io,
                   std::string("cannot load an attachment: ") + exception.what()};
  } catch (...) {
    return NSError{NSError::Kind::Io, "cannot load an attachment"};
  }
}

const char* typeOf(EncodedImage::Format format) {
  switch (format) {
    case EncodedImage::Format::JPEG:
      return "public.jpeg";
    case EncodedImage::Format::PNG:
      return "public.png";
    case EncodedImage::Format::GIF:
      return "public.gif";
    case EncodedImage::Format::TIFF:
      return "public.tiff";
    case EncodedImage::Format::WebP:
      return "public.webp";
    case EncodedImage::Format::HEIC:
      return "public.heic";
    case EncodedImage::Format::AVIF:
      return "public.avif";
    case EncodedImage::Format::BMP:
      return "public.bmp";
  }
  return kUTTypeImage;
}

/// What a file is as an image: by its contents, or, where they cannot be read now, by its name.
std::optional<std::string> imageTypeOf(const NSURL& url) {
  const auto image = EncodedImage::imageWithContentsOfFile(url.path());
  if (image.ok()) return typeOf(image.value()->format());
  if (image.error().kind == NSError::Kind::Unsupported) return std::nullopt;
  auto type =
      UTTypeCreatePreferredIdentifierForTag(kUTTagClassFilenameExtension, url.pathExtension());
  if (type && !UTTypeConformsTo(*type, kUTTypeImage)) type.reset();
  return type;
}

}  // namespace

std::shared_ptr<NSItemProvider> NSItemProvider::make(const NSItemProviderItem& item,
                                                     const std::string& typeIdentifier) {
  auto provider = std::make_shared<NSItemProvider>();
  provider->registerItemForTypeIdentifier(typeIdentifier,
                                          [item]() -> Result<NSItemProviderItem> { return item; });
  return provider;
}

std::shared_ptr<NSItemProvider> NSItemProvider::makeWithContentsOfURL(const NSURL& url) {
  auto provider = make(url, kUTTypeFileURL);
  if (const auto type = url.isFileURL() ? imageTypeOf(url) : std::nullopt) {
    provider->registerItemForTypeIdentifier(*type, [url]() -> Result<NSItemProviderItem> {
      auto image = EncodedImage::imageWithContentsOfFile(url.path());
      if (!image.ok()) return image.error();
      return NSItemProviderItem(std::move(image).value());
    });
  }
  return provider;
}

void NSItemProvider::registerItemForTypeIdentifier(const std::string& typeIdentifier,
                                                   Loader loader) {
  loaders_.emplace_back(typeIdentifier, std::move(loader));
}

std::vector<std::string> NSItemProvider::registeredTypeIdentifiers() const {
  std::vector<std::string> types;
  for (const auto& [type, loader] : loaders_) types.push_back(type);
  return types;
}

bool NSItemProvider::hasItemConformingToTypeIdentifier(const std::string& typeIdentifier) const {
  for (const auto& [type, loader] : loaders_) {
    if (UTTypeConformsTo(type, typeIdentifier)) return true;
  }
  return false;
}

void NSItemProvider::loadItemForTypeIdentifier(const std::string& typeIdentifier,
                                               CompletionHandler completionHandler) {
  auto self = sharedFrom(this);
  LoadQueue::shared().add([self, typeIdentifier, handler = std::move(completionHandler)] {
    Result<NSItemProviderItem> loaded = NSError{
        NSError::Kind::Unsupported, "an attachment offers nothing of the type " + typeIdentifier};
    for (const auto& [type, loader] : self->loaders_) {
      if (!UTTypeConformsTo(type, typeIdentifier)) continue;
      loaded = loadGuarded(loader);
      break;
    }
    if (!handler) return;
    if (loaded.ok()) {
      handler(loaded.value(), std::nullopt);
    } else {
      handler(std::monostate{}, loaded.error());
    }
  });
}

int NSItemProvider::outstandingLoads() { return LoadQueue::shared().outstanding(); }

}  // namespace tasklane
