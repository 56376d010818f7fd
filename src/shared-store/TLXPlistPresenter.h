#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "foundation/base/NSError.h"
#include "foundation/base/NSObject.h"
#include "foundation/files/FileVersion.h"
#include "foundation/files/NSURL.h"
#include "foundation/property-lists/PropertyList.h"
#include "shared-store/TLXDarwinNotifier.h"

namespace tasklane {

/// Posted through NSNotificationCenter::defaultCenter() on the main thread, with the presenter as
/// its object, after a presenter has read its file again.
inline constexpr const char* TLXPlistPresenterDidChangeNotification =
    "TLXPlistPresenterDidChangeNotification";

/// One property-list file that several processes share: its last known contents in memory, written
/// under file coordination, every change announced to all processes, the own included.
///
/// No operation reports an error to its caller: failures are told on the console, and lastChange()
/// answers how the last change ended. Main thread.
class TLXPlistPresenter : public NSObject {
 public:
  /// Where the shared files lie: in the application group's container, a folder named after the
  /// application that contains this program, all links followed. Kept once it is found; none while
  /// there is no container, for which sharedContainer() answers the reason.
  static const std::optional<NSURL>& sharedContainerURL();
  static Result<NSURL> sharedContainer();
  static void ensureContainerExists();
  /// The address of a file there.
  static std::optional<NSURL> sharedFileURL(const std::string& name);
  /// The bundle identifier of the application that this program is, or is inside of; "<<UNKNOWN>>"
  /// where it is inside of none. None when the application has no identifier, or its Info.plist
  /// cannot be read: what is meant for it must not go astray.
  static std::optional<std::string> _containingApplicationBundleIdentifier();

  /// Reads the file and begins to listen; no change falls between the two. Null for no address.
  static std::shared_ptr<TLXPlistPresenter> makeWithURL(const std::optional<NSURL>& url);

  /// Use makeWithURL().
  explicit TLXPlistPresenter(NSURL url) : url_(std::move(url)), path_(url_.path()) {}

  const NSURL& url() const { return url_; }

  /// The last contents read or written; null when there is no file or none could ever be read.
  /// Every reading of the file makes a new contents object. Never touches the disk.
  const PropertyListObject& plist() const { return plist_; }

  /// How the last writePlist(), removePlist() or performCoordinatedChange() ended: ok when the file
  /// holds what it should, else why it does not (kind Busy: another process held the file for too
  /// long). After an error the file is as it was before. Ok before the first change.
  const Result<void>& lastChange() const { return lastChange_; }
  /// The same of the last reading. A file that is not there was read.
  const Result<void>& lastReading() const { return lastReading_; }

  /// Replaces the file's contents, unless the cached ones are equal. The very object becomes the
  /// cached contents, even if the disk refused it. A file whose bytes are no property list is first
  /// set aside beside itself as "<name>.damaged-1" (or the next free number); one that cannot be
  /// read, or not be set aside, is not replaced.
  void writePlist(const PropertyListObject& plist);
  /// Keeps the file beside itself in the same way, for an owner that cannot use what it holds and
  /// is about to replace it, which must not be done after an error. Call inside
  /// performCoordinatedChange.
  Result<void> setAsideFile();
  /// Deletes the file, if contents are cached.
  void removePlist();
  /// Reads the file anew and announces it in this process.
  void refreshPlist();

  /// Runs a change that starts from plist() and ends in writePlist(), as one step against all other
  /// processes: the file is locked for writing, everything that others have done to it so far,
  /// announced or not, is read, and only then the change runs. May be nested. The change does not
  /// run at all when the lock cannot be had or the file cannot be read; lastChange() then says why.
  /// A file that was read and is no property list counts as one that holds the cached contents.
  void performCoordinatedChange(const std::function<void()>& change);

 private:
  enum class Announce { No, Yes };

  /// What is known of the cached contents: nothing, or that the file in the version version_ was
  /// written with them or read as them (a reading may differ from what was written in characters
  /// that no file can hold).
  enum class Cache { Unknown, Written, Read };

  void startListening();
  Result<void> _readPlistWithNotification(Announce announce);
  Result<void> readFile();
  Result<void> takeContentsAtURL(const NSURL& url);
  void _enqueueDidChange();
  Result<void> exclusively(const std::function<void()>& work);
  Result<void> readWhatOthersLeft();
  Result<void> write(const PropertyListObject& plist);
  Result<void> keepDamagedFile();
  void knowVersion(Cache cache);
  bool isOnDiskAsKnown() const;
  void log(std::string_view operation, std::string_view message) const;

  NSURL url_;
  std::string path_;
  std::shared_ptr<TLXDarwinNotifier> systemNotifier_;
  PropertyListObject plist_;
  Cache cache_ = Cache::Unknown;
  FileVersion version_;
  Result<void> lastChange_;
  Result<void> lastReading_;
  bool changeUnderWay_ = false;
  bool wroteInChange_ = false;
};

}  // namespace tasklane
