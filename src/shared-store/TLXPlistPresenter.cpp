#include "shared-store/TLXPlistPresenter.h"

#include <new>
#include <utility>

#include "foundation/base/FileSystem.h"
#include "foundation/base/Logger.h"
#include "foundation/base/NSLog.h"
#include "foundation/events/NSNotificationCenter.h"
#include "foundation/events/NSOperationQueue.h"
#include "foundation/extension/NSBundle.h"
#include "foundation/files/NSFileCoordinator.h"
#include "foundation/files/NSFileManager.h"
#include "foundation/property-lists/NSPropertyListSerialization.h"
#include "kestrel/base/KBRecordBacktrace.h"

namespace tasklane {

namespace {

constexpr const char* kBaseGroupContainerIdentifier = "com.kestrelworks.Tasklane";
constexpr const char* kUnknownApplication = "<<UNKNOWN>>";

const Logger& presenterLogger() {
  static const Logger logger("TLXPlistPresenterLogger");
  return logger;
}

void logReadError(const NSURL& url, const NSError& error) {
  NSLog(stringWithFormat("Error reading plist from %@: %@",
                         {url.absoluteString(), error.description}));
}

void logWriteError(const NSURL& url, const NSError& error) {
  NSLog(stringWithFormat("Error writing plist data to %@: %@",
                         {url.absoluteString(), error.description}));
}

/// The contents of a shared file. A lone word or text is a list in the old text format, but what
/// it really is, is some other file.
Result<PropertyList> decodedContents(const std::string& data) {
  using Serialization = NSPropertyListSerialization;
  auto parsed = Serialization::propertyListWithData(data);
  if (!parsed) return parsed.error();
  if (parsed.value().format == Serialization::Format::Text && parsed.value().plist.string())
    return NSError{NSError::Kind::Corrupt, "it is plain text, not a property list"};
  return std::move(parsed).value().plist;
}

/// The folder of the application that a bundle is, or is inside of; empty when there is none.
std::string applicationAround(std::string path) {
  while (!path.ends_with("app")) {
    const auto slash = path.find_last_of('/');
    if (slash == std::string::npos) return {};
    path.resize(slash);
  }
  return path;
}

Result<std::optional<std::string>> containingApplicationIdentifier() {
  const std::string program = NSBundle::mainBundle()->bundlePath();
  if (program.empty())
    return NSError{NSError::Kind::Io, "the system does not say where this program lies"};
  const std::string path = applicationAround(program);
  if (path.empty()) {
    KBRecordBacktrace("NOTREACHED");
    return std::optional<std::string>(kUnknownApplication);
  }
  const auto application =
      path == program ? NSBundle::mainBundle() : NSBundle::bundleWithPath(path);
  if (auto loaded = application->loadInfoDictionary(); !loaded) return loaded.error();
  return application->bundleIdentifier();
}

/// Does some work that may take memory; what is wanting then is a reason as any other.
template <class Work>
Result<void> withinMemory(const Work& work) {
  try {
    return work();
  } catch (const std::bad_alloc&) {
    return NSError{NSError::Kind::Io, "out of memory"};
  }
}

}  // namespace

std::optional<std::string> TLXPlistPresenter::_containingApplicationBundleIdentifier() {
  auto identifier = containingApplicationIdentifier();
  if (identifier) return std::move(identifier).value();
  NSLog(identifier.error().description);
  return std::nullopt;
}

Result<NSURL> TLXPlistPresenter::sharedContainer() {
  static std::optional<NSURL> known;
  if (known) return *known;
  const auto identifier = containingApplicationIdentifier();
  if (!identifier) return identifier.error();
  if (!identifier.value())
    return NSError{NSError::Kind::Unsupported,
                   "the application that this program belongs to has no identifier (the key "
                   "CFBundleIdentifier of its Info.plist)"};
  const auto group = NSFileManager::defaultManager().groupContainer(std::string("group.") +
                                                                    kBaseGroupContainerIdentifier);
  if (!group) return group.error();
  const auto path =
      pathWithLinksFollowed(group.value().URLByAppendingPathComponent(*identifier.value()).path());
  if (!path) return path.error();
  known = NSURL::fileURLWithPath(path.value());
  return *known;
}

const std::optional<NSURL>& TLXPlistPresenter::sharedContainerURL() {
  static std::optional<NSURL> url;
  static bool told = false;
  if (url) return url;
  if (auto found = sharedContainer()) {
    url = std::move(found).value();
  } else if (!std::exchange(told, true)) {
    NSLog("There is no shared container: " + found.error().description);
  }
  return url;
}

std::optional<NSURL> TLXPlistPresenter::sharedFileURL(const std::string& name) {
  const auto& container = sharedContainerURL();
  return container ? std::optional(container->URLByAppendingPathComponent(name)) : std::nullopt;
}

void TLXPlistPresenter::ensureContainerExists() {
  const auto& url = sharedContainerURL();
  if (!url) return;
  const auto made = NSFileManager::defaultManager().createDirectoryAtPath(url->path(), true);
  if (!made)
    NSLog(stringWithFormat("couldn't create TLXPlistPresenter shared container directory: %@",
                           {made.error().description}));
}

std::shared_ptr<TLXPlistPresenter> TLXPlistPresenter::makeWithURL(const std::optional<NSURL>& url) {
  if (!url) {
    NSLog("********* TLXPlistPresenter initialized with nil URL.");
    NSLog(
        "Generally this means that -containerURLForSecurityApplicationGroupIdentifier: returned "
        "nil, which means the device thinks we shouldn't have access to the shared container.");
    return nullptr;
  }
  auto presenter = std::make_shared<TLXPlistPresenter>(*url);
  presenter->log("initWithURL:", "created");
  // Writers post under their lock: while this one is held, none comes between reading and
  // listening.
  const auto coordinated = NSFileCoordinator().coordinateReadingItemAtURL(
      *url, NSFileCoordinatorReadingOptions::WithoutChanges, [&](const NSURL&) {
        (void)presenter->_readPlistWithNotification(Announce::No);
        presenter->startListening();
      });
  if (coordinated) return presenter;
  presenter->lastReading_ = coordinated;
  logReadError(*url, coordinated.error());
  presenter->startListening();
  return presenter;
}

void TLXPlistPresenter::startListening() {
  const std::weak_ptr<TLXPlistPresenter> weakSelf = sharedFrom(this);
  systemNotifier_ = TLXDarwinNotifier::makeWithIdentifier(url_.absoluteString(), [weakSelf] {
    const auto self = weakSelf.lock();
    if (!self) return;
    self->log("initWithURL:", "Darwin notification");
    (void)self->_readPlistWithNotification(Announce::Yes);
  });
}

void TLXPlistPresenter::refreshPlist() {
  cache_ = Cache::Unknown;
  (void)_readPlistWithNotification(Announce::Yes);
}

Result<void> TLXPlistPresenter::_readPlistWithNotification(Announce announce) {
  log("_readPlistWithNotification:", "Reading plist");
  if (auto read = readFile(); !read) return read;
  log("_readPlistWithNotification:", plist_ ? "got plist" : "plist removed");
  if (announce == Announce::Yes) _enqueueDidChange();
  return {};
}

Result<void> TLXPlistPresenter::readFile() {
  Result<void> read;
  const auto coordinated = NSFileCoordinator().coordinateReadingItemAtURL(
      url_, NSFileCoordinatorReadingOptions::WithoutChanges,
      [&](const NSURL& newURL) { read = withinMemory([&] { return takeContentsAtURL(newURL); }); });
  if (!coordinated) read = coordinated;
  lastReading_ = read;
  if (read) return read;
  const char* const format = read.error().kind == NSError::Kind::Corrupt
                                 ? "Error decoding plist from %@: %@"
                                 : "Error reading plist from %@: %@";
  NSLog(stringWithFormat(format, {url_.absoluteString(), read.error().description}));
  return read;
}

Result<void> TLXPlistPresenter::takeContentsAtURL(const NSURL& url) {
  // Of many posts that wait, the first one reads for all. Only under the lock is that known: a
  // writer posts before what it has written takes the file's place.
  if (cache_ == Cache::Read && isOnDiskAsKnown()) {
    if (plist_) plist_ = std::make_shared<const PropertyList>(*plist_);
    return {};
  }
  cache_ = Cache::Unknown;
  // Asked before the reading: a file that somebody replaces meanwhile is then not the known one.
  auto version = FileVersion::ofItemAtPath(url.path());
  const auto data = NSFileManager::defaultManager().contentsAtPath(url.path());
  if (data) {
    auto decoded = decodedContents(data.value());
    if (!decoded) return decoded.error();
    plist_ = std::make_shared<const PropertyList>(std::move(decoded).value());
  } else {
    if (data.error().kind != NSError::Kind::FileNotFound) return data.error();
    plist_ = nullptr;
  }
  if (!version) return {};
  version_ = std::move(version).value();
  cache_ = Cache::Read;
  return {};
}

void TLXPlistPresenter::_enqueueDidChange() {
  NSOperationQueue::mainQueue().addOperationWithBlock([self = shared_from_this()] {
    NSNotificationCenter::defaultCenter().postNotificationName(
        TLXPlistPresenterDidChangeNotification, self);
  });
}

void TLXPlistPresenter::writePlist(const PropertyListObject& plist) {
  log("writePlist:", "Writing plist at " + url_.absoluteString());
  if (plist_ && plist && *plist_ == *plist) {
    log("writePlist:", "  -- value is the same; skipping write");
    lastChange_ = cache_ == Cache::Unknown
                      ? NSError{NSError::Kind::Io, "the file no longer holds what was last known"}
                      : Result<void>();
    return;
  }
  lastChange_ = withinMemory([&] { return write(plist); });
  wroteInChange_ = true;
  plist_ = plist;
  if (lastChange_) return;
  cache_ = Cache::Unknown;
  logWriteError(url_, lastChange_.error());
}

/// Throws only what leaves the file as it was.
Result<void> TLXPlistPresenter::write(const PropertyListObject& plist) {
  const auto data = plist ? NSPropertyListSerialization::dataWithPropertyList(*plist)
                          : NSError{NSError::Kind::Unsupported, "there is no value to write"};
  if (!data)
    NSLog(stringWithFormat(
        "Error encoding plist %@\n%@",
        {data.error().description,
         plist ? NSPropertyListSerialization::describe(*plist) : std::string("(null)")}));
  TASKLANE_ASSERT(data.ok(), "data != nil", "iOS/SharingExtensions/TLXPlistPresenter", 184);

  Result<void> written;
  bool posted = false;
  const auto locked = exclusively([&] {
    const auto committed = NSFileCoordinator().coordinateWritingItemAtURL(
        url_, NSFileCoordinatorWritingOptions::None, [&](const NSURL& newURL) {
          ensureContainerExists();
          written = keepDamagedFile();
          // A part that was written is not committed; the old contents stay.
          if (written)
            written = NSFileManager::defaultManager().writeToFile(newURL.path(), data.value());
          plist_ = plist;
          systemNotifier_->postNotification();
          posted = true;
        });
    if (!committed) written = committed;
    cache_ = Cache::Unknown;
    if (written) knowVersion(Cache::Written);
  });
  if (!locked) written = locked;
  if (!posted) systemNotifier_->postNotification();
  return written;
}

/// Before it is replaced. What was read is no loss: who writes has seen it, or means to replace it.
Result<void> TLXPlistPresenter::keepDamagedFile() {
  if (isOnDiskAsKnown()) return {};
  const auto data = NSFileManager::defaultManager().contentsAtPath(path_);
  if (data) return decodedContents(data.value()) ? Result<void>() : setAsideFile();
  if (data.error().kind == NSError::Kind::FileNotFound) return {};
  return data.error();
}

Result<void> TLXPlistPresenter::setAsideFile() {
  const auto name = NSFileManager::defaultManager().setAsideItemAtPath(path_, ".damaged-");
  cache_ = Cache::Unknown;
  NSLog(name ? stringWithFormat("The file %@ is no list of its kind; it is kept as %@",
                                {url_.absoluteString(), name.value()})
             : stringWithFormat("The file %@ is no list of its kind, and cannot be set aside: %@",
                                {url_.absoluteString(), name.error().description}));
  if (name) return {};
  lastChange_ = name.error();
  return lastChange_;
}

void TLXPlistPresenter::removePlist() {
  log("removePlist", "Removing plist");
  lastChange_ = {};
  if (!plist_) return;
  wroteInChange_ = true;
  Result<void> removed;
  const auto coordinated = withinMemory([&] {
    return NSFileCoordinator().coordinateWritingItemAtURL(
        url_, NSFileCoordinatorWritingOptions::ForDeleting, [&](const NSURL& newURL) {
          removed = NSFileManager::defaultManager().removeItemAtPath(newURL.path());
          plist_ = nullptr;
          cache_ = Cache::Unknown;
          systemNotifier_->postNotification();
        });
  });
  if (!coordinated)
    lastChange_ = coordinated;
  else if (!removed && removed.error().kind != NSError::Kind::FileNotFound)
    lastChange_ = removed;
  if (!lastChange_) logWriteError(url_, lastChange_.error());
}

/// Runs work while no other process reads or writes the file.
Result<void> TLXPlistPresenter::exclusively(const std::function<void()>& work) {
  return NSFileCoordinator().coordinateWritingItemAtURL(
      url_, NSFileCoordinatorWritingOptions::ForMerging, [&](const NSURL&) { work(); });
}

void TLXPlistPresenter::performCoordinatedChange(const std::function<void()>& change) {
  if (changeUnderWay_) return change();
  struct UnderWay {
    explicit UnderWay(bool& flag) : flag_(flag) { flag_ = true; }
    ~UnderWay() { flag_ = false; }
    bool& flag_;
  };
  lastChange_ = {};
  wroteInChange_ = false;
  bool changed = false;
  const auto outcome = withinMemory([&] {
    return exclusively([&] {
      const UnderWay underWay(changeUnderWay_);
      lastChange_ = readWhatOthersLeft();
      if (!lastChange_) return;
      changed = true;
      change();
    });
  });
  // What fails after the writing does not undo it.
  if (!outcome && !wroteInChange_) lastChange_ = outcome;
  if (!changed)
    NSLog(stringWithFormat("Nothing was changed in %@: %@",
                           {url_.absoluteString(), lastChange_.error().description}));
}

/// A file whose bytes are no property list leaves the cached contents; a write sets it aside.
Result<void> TLXPlistPresenter::readWhatOthersLeft() {
  if (isOnDiskAsKnown()) return {};
  auto read = readFile();
  return read || read.error().kind == NSError::Kind::Corrupt ? Result<void>() : read;
}

/// With the file locked.
void TLXPlistPresenter::knowVersion(Cache cache) {
  // Without a version the next change reads the file.
  auto version = FileVersion::ofItemAtPath(path_);
  if (!version) return;
  version_ = std::move(version).value();
  cache_ = cache;
}

bool TLXPlistPresenter::isOnDiskAsKnown() const {
  return cache_ != Cache::Unknown && version_.isStillAtPath(path_);
}

void TLXPlistPresenter::log(std::string_view operation, std::string_view message) const {
  if (!presenterLogger().enabled(1)) return;
  presenterLogger().log(
      1, stringWithFormat("In %@ PLIST<%@ %@>: %@",
                          {operation, description(), url_.lastPathComponent(), message}));
}

}  // namespace tasklane
