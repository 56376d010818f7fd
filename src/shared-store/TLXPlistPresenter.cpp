#include "shared-store/TLXPlistPresenter.h"

#include <utility>

#include "foundation/CFNotificationCenter.h"
#include "foundation/Logger.h"
#include "foundation/NSBundle.h"
#include "foundation/NSFileCoordinator.h"
#include "foundation/NSFileManager.h"
#include "foundation/NSLog.h"
#include "foundation/NSNotificationCenter.h"
#include "foundation/NSOperationQueue.h"
#include "foundation/NSPropertyListSerialization.h"
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

std::string pathByDeletingLastComponent(const std::string& path) {
  const auto slash = path.find_last_of('/');
  if (slash == std::string::npos) return {};
  return slash == 0 ? "/" : path.substr(0, slash);
}

}  // namespace

std::string TLXPlistPresenter::_containingApplicationBundleIdentifier() {
  const auto mainBundle = NSBundle::mainBundle();
  std::optional<std::string> identifier;
  std::string path = mainBundle->bundlePath();
  if (path.ends_with("app")) {
    identifier = mainBundle->bundleIdentifier();
  } else {
    while (!path.empty() && path != "/" && !path.ends_with("app"))
      path = pathByDeletingLastComponent(path);
    if (path.ends_with("app")) identifier = NSBundle::bundleWithPath(path)->bundleIdentifier();
  }
  if (identifier) return *identifier;
  KBRecordBacktrace("NOTREACHED");
  return kUnknownApplication;
}

const std::optional<NSURL>& TLXPlistPresenter::sharedContainerURL() {
  static const std::optional<NSURL> url = []() -> std::optional<NSURL> {
    const auto group = NSFileManager::defaultManager().containerURLForBaseGroupContainerIdentifier(
        kBaseGroupContainerIdentifier);
    if (!group) return std::nullopt;
    return group->URLByAppendingPathComponent(_containingApplicationBundleIdentifier());
  }();
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
  // Of many posts that wait, the first one reads for all.
  const bool isRead = cache_ == Cache::Read && isOnDiskAsKnown();
  if (isRead && plist_) plist_ = std::make_shared<const PropertyList>(*plist_);
  if (!isRead) {
    if (auto read = readFile(); !read) return read;
  }
  log("_readPlistWithNotification:", plist_ ? "got plist" : "plist removed");
  if (announce == Announce::Yes) _enqueueDidChange();
  return {};
}

Result<void> TLXPlistPresenter::readFile() {
  Result<void> read;
  const auto coordinated = NSFileCoordinator().coordinateReadingItemAtURL(
      url_, NSFileCoordinatorReadingOptions::WithoutChanges,
      [&](const NSURL& newURL) { read = takeContentsAtURL(newURL); });
  if (!coordinated) read = coordinated;
  if (read) return read;
  const char* const format = read.error().kind == NSError::Kind::Corrupt
                                 ? "Error decoding plist from %@: %@"
                                 : "Error reading plist from %@: %@";
  NSLog(stringWithFormat(format, {url_.absoluteString(), read.error().description}));
  return read;
}

Result<void> TLXPlistPresenter::takeContentsAtURL(const NSURL& url) {
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
  const auto data = plist ? NSPropertyListSerialization::dataWithPropertyList(*plist)
                          : NSError{NSError::Kind::Unsupported, "there is no value to write"};
  if (!data)
    NSLog(stringWithFormat(
        "Error encoding plist %@\n%@",
        {data.error().description,
         plist ? NSPropertyListSerialization::describe(*plist) : std::string("(null)")}));
  TASKLANE_ASSERT(data.ok(), "data != nil", "iOS/SharingExtensions/TLXPlistPresenter", 184);

  lastChange_ = write(plist, data.value());
  if (!lastChange_) logWriteError(url_, lastChange_.error());
}

Result<void> TLXPlistPresenter::write(const PropertyListObject& plist, const std::string& data) {
  Result<void> written;
  bool hadAccess = false;
  const auto remember = [&] {
    hadAccess = true;
    plist_ = plist;
    systemNotifier_->postNotification();
  };
  const auto locked = exclusively([&] {
    const auto committed = NSFileCoordinator().coordinateWritingItemAtURL(
        url_, NSFileCoordinatorWritingOptions::None, [&](const NSURL& newURL) {
          ensureContainerExists();
          written = keepDamagedFile();
          // A part that was written is not committed; the old contents stay.
          if (written) written = NSFileManager::defaultManager().writeToFile(newURL.path(), data);
          remember();
        });
    if (!committed) written = committed;
    cache_ = Cache::Unknown;
    if (written) knowVersion(Cache::Written);
  });
  if (!locked) written = locked;
  if (!hadAccess) remember();
  if (!written) cache_ = Cache::Unknown;
  return written;
}

/// Before it is replaced. What was read is no loss: who writes has seen it, or means to replace it.
Result<void> TLXPlistPresenter::keepDamagedFile() {
  if (isOnDiskAsKnown()) return {};
  const auto data = NSFileManager::defaultManager().contentsAtPath(url_.path());
  if (data) return decodedContents(data.value()) ? Result<void>() : setAsideFile();
  if (data.error().kind == NSError::Kind::FileNotFound) return {};
  return data.error();
}

Result<void> TLXPlistPresenter::setAsideFile() {
  const auto name = NSFileManager::defaultManager().setAsideItemAtPath(url_.path(), ".damaged-");
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
  Result<void> removed;
  const auto coordinated = NSFileCoordinator().coordinateWritingItemAtURL(
      url_, NSFileCoordinatorWritingOptions::ForDeleting, [&](const NSURL& newURL) {
        removed = NSFileManager::defaultManager().removeItemAtPath(newURL.path());
        plist_ = nullptr;
        cache_ = Cache::Unknown;
        systemNotifier_->postNotification();
      });
  if (!coordinated) logWriteError(url_, coordinated.error());
  if (!coordinated) lastChange_ = coordinated;
  if (!removed && removed.error().kind != NSError::Kind::FileNotFound) lastChange_ = removed;
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
  bool changed = false;
  const auto locked = exclusively([&] {
    const UnderWay underWay(changeUnderWay_);
    if (!isOnDiskAsKnown()) {
      const auto read = readFile();
      if (!read && read.error().kind != NSError::Kind::Corrupt) {
        lastChange_ = read;
        return;
      }
    }
    changed = true;
    change();
  });
  if (!locked) lastChange_ = locked;
  if (!changed)
    NSLog(stringWithFormat("Nothing was changed in %@: %@",
                           {url_.absoluteString(), lastChange_.error().description}));
}

/// With the file locked.
void TLXPlistPresenter::knowVersion(Cache cache) {
  auto version = FileVersion::ofItemAtPath(url_.path());
  if (!version) return;
  version_ = std::move(version).value();
  cache_ = cache;
}

bool TLXPlistPresenter::isOnDiskAsKnown() const {
  return cache_ != Cache::Unknown && version_.isStillAtPath(url_.path());
}

void TLXPlistPresenter::log(std::string_view operation, std::string_view message) const {
  if (!presenterLogger().enabled(1)) return;
  presenterLogger().log(
      1, stringWithFormat("In %@ PLIST<%@ %@>: %@",
                          {operation, description(), url_.lastPathComponent(), message}));
}

}  // namespace tasklane
