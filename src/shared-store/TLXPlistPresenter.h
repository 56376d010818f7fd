#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/NSError.h"
#include "foundation/NSFileManager+FileIdentity.h"
#include "foundation/NSObject.h"
#include "foundation/NSURL.h"
#include "foundation/PropertyList.h"
#include "shared-store/TLXDarwinNotifier.h"

namespace tasklane {

/// Posted through NSNotificationCenter::defaultCenter() on the main thread, with the presenter as
/// its object, after a presenter has read its file again.
inline constexpr const char* TLXPlistPresenterDidChangeNotification =
    "TLXPlistPresenterDidChangeNotification";

/// One property-list file that several processes share: its last known contents in memory, written
/// under file coordination, every change announced to all processes, the own included.
///
/// No operation reports an error to its caller: failures are told on the console. Main thread.
class TLXPlistPresenter : public NSObject {
 public:
  /// Where the shared files lie: in the application group's container, a folder named after the
  /// application that contains this program. Found at the first call and kept; none when there is
  /// no container (NSFileManager::containerError() says why).
  static const std::optional<NSURL>& sharedContainerURL();
  static void ensureContainerExists();
  /// The address of a file there.
  static std::optional<NSURL> sharedFileURL(const std::string& name);
  /// The bundle identifier of the application that this program is, or is inside of;
  /// "<<UNKNOWN>>" without one.
  static std::string _containingApplicationBundleIdentifier();

  /// Reads the file and begins to listen; no change falls between the two. Null for no address.
  static std::shared_ptr<TLXPlistPresenter> makeWithURL(const std::optional<NSURL>& url);

  /// Use makeWithURL().
  explicit TLXPlistPresenter(NSURL url) : url_(std::move(url)) {}

  const NSURL& url() const { return url_; }

  /// The last contents read or written; null when there is no file or none could ever be read.
  /// Every reading of the file makes a new contents object. Never touches the disk.
  const PropertyListObject& plist() const { return plist_; }

  /// Replaces the file's contents, unless the cached ones are equal. The very object becomes the
  /// cached contents, even if the disk refused it. A file that could not be decoded is first set
  /// aside beside itself as "<name>.damaged-1" (or the next free number).
  void writePlist(const PropertyListObject& plist);
  /// Keeps the file beside itself in the same way, for an owner that cannot use what it holds and
  /// is about to replace it. Call inside performCoordinatedChange.
  void setAsideFile();
  /// Deletes the file, if contents are cached.
  void removePlist();
  /// Reads the file anew and announces it in this process.
  void refreshPlist();

  /// Runs a change that starts from plist() and ends in writePlist(), as one step against all other
  /// processes: the file is locked for writing, everything that others have done to it so far,
  /// announced or not, is read, and only then the change runs. May be nested. When the lock cannot
  /// be had the change still runs, and its write fails for the same reason and says so.
  void performCoordinatedChange(const std::function<void()>& change);

 private:
  enum class Announce { No, Yes };

  void startListening();
  void _readPlistWithNotification(Announce announce);
  void takeContentsAtURL(const NSURL& url, Announce announce);
  void _enqueueDidChange();
  void hearOthers();
  void writeDataToURL(const std::string& data, const NSURL& url);
  void setAsideDamagedFile();
  bool isOnDiskAsKnown() const;
  void log(std::string_view operation, std::string_view message) const;

  NSURL url_;
  std::shared_ptr<TLXDarwinNotifier> systemNotifier_;
  PropertyListObject plist_;

  // Whether plist_ is what the file held when its identity was knownFile_ (none: no file).
  bool knowsFile_ = false;
  std::optional<FileIdentity> knownFile_;

  int changesUnderWay_ = 0;
  // While a change hears what others did, under the lock, one reading serves all notifications.
  enum class Hearing { No, NothingReadYet, Read } hearing_ = Hearing::No;
};

}  // namespace tasklane
