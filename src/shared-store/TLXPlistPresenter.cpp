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
  const auto readAndListen = [&] {
    presenter->_readPlistWithNotification(Announce::No);
    presenter->startListening();
  };
  // Writers post under their lock: while this one is held, none comes between reading and
  // listening.
  const auto coordinated = NSFileCoordinator().coordinateReadingItemAtURL(
      *url, NSFileCoordinatorReadingOptions::WithoutChanges,
      [&](const NSURL&) { readAndListen(); });
  if (!coordinated && !presenter->systemNotifier_) readAndListen();
  return presenter;
}

void TLXPlistPresenter::startListening() {
  const std::weak_ptr<TLXPlistPresenter> weakSelf = sharedFrom(this);
  systemNotifier_ = TLXDarwinNotifier::makeWithIdentifier(url_.absoluteString(), [weakSelf] {
    const auto self = weakSelf.lock();
    if (!self) return;
    self->log("initWithURL:", "Darwin notification");
    self->_readPlistWithNotification(Announce::Yes);
  });
}

void TLXPlistPresenter::refreshPlist() { _readPlistWithNotification(Announce::Yes); }

void TLXPlistPresenter::_readPlistWithNotification(Announce announce) {
  log("_readPlistWithNotification:", "Reading plist");
  const auto coordinated = NSFileCoordinator().coordinateReadingItemAtURL(
      url_, NSFileCoordinatorReadingOptions::WithoutChanges,
      [&](const NSURL& newURL) { takeContentsAtURL(newURL, announce); });
  if (!coordinated) logReadError(url_, coordinated.error());
}

void TLXPlistPresenter::takeContentsAtURL(const NSURL& url, Announce announce) {
  const std::string path = url.path();
  const char* outcome = "got plist";
  if (hearing_ == Hearing::Read && plist_ && isOnDiskAsKnown()) {
    plist_ = std::make_shared<const PropertyList>(*plist_);
  } else {
    if (hearing_ == Hearing::NothingReadYet) hearing_ = Hearing::Read;
    knowsFile_ = false;
    // Asked before the reading: a file that somebody replaces meanwhile is then not the known one.
    const auto identity = fileIdentityOfItemAtPath(NSFileManager::defaultManager(), path);
    const auto data = NSFileManager::defaultManager().contentsAtPath(path);
    if (data) {
      auto decoded = decodedContents(data.value());
      if (!decoded) {
        NSLog(stringWithFormat("Error decoding plist from %@: %@",
                               {url.absoluteString(), decoded.error().description}));
        return;
      }
      plist_ = std::make_shared<const PropertyList>(std::move(decoded).value());
      knownFile_ = identity;
    } else if (data.error().kind == NSError::Kind::FileNotFound) {
      plist_ = nullptr;
      knownFile_ = std::nullopt;
      outcome = "plist removed";
    } else {
      logReadError(url, data.error());
      return;
    }
    knowsFile_ = true;
  }
  log("_readPlistWithNotification:", outcome);
  if (announce == Announce::Yes) _enqueueDidChange();
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

  bool hadAccess = false;
  const auto coordinated = NSFileCoordinator().coordinateWritingItemAtURL(
      url_, NSFileCoordinatorWritingOptions::None, [&](const NSURL& newURL) {
        hadAccess = true;
        ensureContainerExists();
        setAsideDamagedFile();
        writeDataToURL(data.value(), newURL);
        plist_ = plist;
        systemNotifier_->postNotification();
      });
  if (coordinated) return;
  logWriteError(url_, coordinated.error());
  knowsFile_ = false;
  if (hadAccess) return;
  plist_ = plist;
  systemNotifier_->postNotification();
}

void TLXPlistPresenter::writeDataToURL(const std::string& data, const NSURL& url) {
  auto& manager = NSFileManager::defaultManager();
  const auto written = manager.writeToFile(url.path(), data);
  // What is committed keeps the identity that it has here.
  knowsFile_ = written.ok();
  if (written) {
    knownFile_ = fileIdentityOfItemAtPath(manager, url.path());
    return;
  }
  // The part that was written is not committed; the old contents stay.
  logWriteError(url_, written.error());
}

void TLXPlistPresenter::setAsideDamagedFile() {
  auto& manager = NSFileManager::defaultManager();
  const std::string path = url_.path();
  if (!manager.fileExistsAtPath(path) || isOnDiskAsKnown()) return;
  const auto data = manager.contentsAtPath(path);
  if (data && decodedContents(data.value())) return;
  setAsideFile();
}

void TLXPlistPresenter::setAsideFile() {
  auto& manager = NSFileManager::defaultManager();
  const auto name = setAsideItemAtPath(manager, url_.path(), ".damaged-");
  knowsFile_ = false;
  NSLog(name ? stringWithFormat("The file %@ could not be read; it is kept as %@",
                                {url_.absoluteString(), name.value()})
             : stringWithFormat("The file %@ could not be read, nor set aside: %@",
                                {url_.absoluteString(), name.error().description}));
}

void TLXPlistPresenter::removePlist() {
  log("removePlist", "Removing plist");
  if (!plist_) return;
  const auto coordinated = NSFileCoordinator().coordinateWritingItemAtURL(
      url_, NSFileCoordinatorWritingOptions::ForDeleting, [&](const NSURL& newURL) {
        (void)NSFileManager::defaultManager().removeItemAtPath(newURL.path());
        plist_ = nullptr;
        knowsFile_ = true;
        knownFile_ = std::nullopt;
        systemNotifier_->postNotification();
      });
  if (!coordinated) logWriteError(url_, coordinated.error());
}

void TLXPlistPresenter::performCoordinatedChange(const std::function<void()>& change) {
  struct Nesting {
    explicit Nesting(int& depth) : depth_(depth) { ++depth_; }
    ~Nesting() { --depth_; }
    int& depth_;
  };
  if (changesUnderWay_ > 0) return change();
  bool hadAccess = false;
  const auto coordinated = NSFileCoordinator().coordinateWritingItemAtURL(
      url_, NSFileCoordinatorWritingOptions::ForMerging, [&](const NSURL&) {
        hadAccess = true;
        const Nesting nesting(changesUnderWay_);
        hearOthers();
        change();
      });
  if (!coordinated && !hadAccess) change();
}

void TLXPlistPresenter::hearOthers() {
  hearing_ = Hearing::NothingReadYet;
  CFNotificationCenterGetDarwinNotifyCenter().deliverPending(systemNotifier_->notificationName());
  hearing_ = Hearing::No;
  // A program outside may have written without announcing it.
  if (!isOnDiskAsKnown()) _readPlistWithNotification(Announce::Yes);
}

bool TLXPlistPresenter::isOnDiskAsKnown() const {
  return knowsFile_ &&
         knownFile_ == fileIdentityOfItemAtPath(NSFileManager::defaultManager(), url_.path());
}

void TLXPlistPresenter::log(std::string_view operation, std::string_view message) const {
  if (!presenterLogger().enabled(1)) return;
  presenterLogger().log(
      1, stringWithFormat("In %@ PLIST<%@ %@>: %@",
                          {operation, description(), url_.lastPathComponent(), message}));
}

}  // namespace tasklane
