#include "foundation/extension/NSItemProvider.h"

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <deque>
#include <exception>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <thread>
#include <utility>

#include "foundation/base/NSLog.h"
#include "foundation/events/NSOperationQueue.h"
#include "foundation/extension/UTType.h"

namespace tasklane {

namespace {

/// A photo keeps a processor busy, or a disk; two of them use what there is.
constexpr int kPictureThreads = 2;
/// Pictures that are loaded and have not been taken by the main thread, beyond which no further one
/// is begun: each holds a descriptor.
constexpr int kUntakenPictures = 8;

std::atomic<int> outstanding = 0;

/// Loads of one kind, and the threads that do them. These are detached and their state is never
/// destroyed: a process may end while a slow disk keeps a load from returning.
class LoadQueue {
 public:
  /// Addresses, property lists and texts wait for no picture: they have a thread of their own.
  static LoadQueue& forType(const std::string& type) {
    static LoadQueue* const pictures =
        std::make_unique<LoadQueue>(kPictureThreads, kUntakenPictures).release();
    static LoadQueue* const others =
        std::make_unique<LoadQueue>(1, std::numeric_limits<int>::max()).release();
    return UTTypeConformsTo(type, kUTTypeImage) ? *pictures : *others;
  }

  LoadQueue(int threads, int untaken) : mostThreads_(threads), mostUntaken_(untaken) {}

  void add(std::function<void()> load) {
    std::unique_lock lock(mutex_);
    loads_.push_back(std::move(load));
    ++outstanding;
    ++unfinished_;
    if (threads_ < mostThreads_ && threads_ < unfinished_ && !startThread() && threads_ == 0) {
      // Without any thread it would never be loaded; so the caller waits for it.
      takeOne(lock);
      return;
    }
    changed_.notify_one();
  }

 private:
  bool startThread() {
    try {
      std::thread([this] { work(); }).detach();
    } catch (const std::exception&) {
      return false;
    }
    ++threads_;
    return true;
  }

  [[noreturn]] void work() {
    for (;;) {
      std::unique_lock lock(mutex_);
      changed_.wait(lock, [this] { return !loads_.empty() && untaken_ < mostUntaken_; });
      takeOne(lock);
    }
  }

  void takeOne(std::unique_lock<std::mutex>& lock) {
    std::function<void()> load = std::move(loads_.front());
    loads_.pop_front();
    ++untaken_;
    lock.unlock();
    load();
    load = nullptr;
    lock.lock();
    --unfinished_;
    lock.unlock();
    --outstanding;
    // Behind what the handler left for the main thread. A run loop that waits for the last load has
    // to look again in any case.
    while (!callBack()) std::this_thread::yield();
  }

  /// False while there is no memory for it.
  bool callBack() {
    try {
      NSOperationQueue::mainQueue().addOperationWithBlock([this] {
        const std::lock_guard lock(mutex_);
        --untaken_;
        changed_.notify_all();
      });
    } catch (const std::exception&) {
      return false;
    }
    return true;
  }

  const int mostThreads_;
  const int mostUntaken_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::function<void()>> loads_;
  int unfinished_ = 0;
  int untaken_ = 0;  ///< begun, and what is left of them not yet taken by the main thread
  int threads_ = 0;
};

NSError errorOf(const std::exception& exception) {
  const bool isMemory = dynamic_cast<const std::bad_alloc*>(&exception) != nullptr;
  return {NSError::Kind::Io, isMemory ? "there is not enough memory" : exception.what()};
}

Result<NSItemProviderItem> loadGuarded(const NSItemProvider::Loader& loader) {
  try {
    return loader();
  } catch (const std::exception& exception) {
    return NSError{NSError::Kind::Io,
                   "cannot load an attachment: " + errorOf(exception).description};
  } catch (...) {
    return NSError{NSError::Kind::Io, "cannot load an attachment"};
  }
}

void handle(const NSItemProvider::CompletionHandler& handler,
            const Result<NSItemProviderItem>& loaded) {
  if (loaded)
    handler(loaded.value(), std::nullopt);
  else
    handler(std::monostate{}, loaded.error());
}

/// A handler that fails, as when memory runs out, costs its attachment and not the process; it is
/// told, so that whoever waits for the attachment learns that it will not come.
void handleGuarded(const NSItemProvider::CompletionHandler& handler,
                   const Result<NSItemProviderItem>& loaded) {
  if (!handler) return;
  try {
    try {
      handle(handler, loaded);
    } catch (const std::exception& exception) {
      handle(handler, errorOf(exception));
    }
  } catch (const std::exception& exception) {
    NSLog(std::string("An attachment could not be taken: ") + exception.what());
  } catch (...) {
    NSLog("An attachment could not be taken");
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
  if (image) return typeOf(image.value()->format());
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
      if (!image) return image.error();
      return NSItemProviderItem(std::move(image).value());
    });
  }
  return provider;
}

void NSItemProvider::registerItemForTypeIdentifier(const std::string& typeIdentifier,
                                                   Loader loader) {
  loaders_.emplace_back(typeIdentifier, std::move(loader));
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
  const auto found = std::find_if(loaders_.begin(), loaders_.end(), [&](const auto& offered) {
    return UTTypeConformsTo(offered.first, typeIdentifier);
  });
  const bool offered = found != loaders_.end();
  LoadQueue::forType(offered ? found->first : typeIdentifier)
      .add([self, typeIdentifier, loader = offered ? found->second : Loader(),
            handler = std::move(completionHandler)] {
        const auto loaded =
            loader ? loadGuarded(loader)
                   : NSError{NSError::Kind::Unsupported,
                             "an attachment offers nothing of the type " + typeIdentifier};
        handleGuarded(handler, loaded);
      });
}

int NSItemProvider::outstandingLoads() { return outstanding; }

}  // namespace tasklane
