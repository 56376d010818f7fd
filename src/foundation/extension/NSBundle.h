#pragma once

#include <memory>
#include <optional>
#include <string>

#include "foundation/base/NSError.h"
#include "foundation/base/NSObject.h"
#include "foundation/property-lists/PropertyList.h"

namespace tasklane {

/// A folder with an Info.plist (an application, an extension) and its resources: files in the
/// folder "Resources", and strings in "Resources/<language>.lproj/<table>.strings" (a property list
/// in any format, from key to text). Main thread.
class NSBundle : public NSObject {
 public:
  /// The bundle that holds the running program: the folder of its executable.
  static std::shared_ptr<NSBundle> mainBundle();
  /// Runs the process as if it were of another bundle. For tests, and for programs that act for an
  /// extension inside the application.
  static void setMainBundle(std::shared_ptr<NSBundle> bundle);

  /// The bundle at a folder; the same object for the same path. Never null: a folder without an
  /// Info.plist answers nothing.
  static std::shared_ptr<NSBundle> bundleWithPath(const std::string& path);
  /// A bundle already in use, or one inside the main bundle's application, by its identifier; else
  /// null.
  static std::shared_ptr<NSBundle> bundleWithIdentifier(const std::string& identifier);

  explicit NSBundle(std::string path);
  const std::string& bundlePath() const { return path_; }
  std::optional<std::string> bundleIdentifier() const;
  /// The Info.plist's contents; an empty dictionary where there is none, or none can be read.
  const PropertyList& infoDictionary() const;
  /// Reads the Info.plist, unless it is known; an error when it is there and cannot be read, as for
  /// a moment while the program is brought up to date. The next call reads again then.
  Result<void> loadInfoDictionary() const;
  std::string builtInPlugInsPath() const;

  /// The path of a resource file, in the language's folder first; none when there is no such file.
  /// A bundle inside an application falls back on the application's resources.
  std::optional<std::string> pathForResource(const std::string& name,
                                             const std::string& extension) const;

  /// The text for a key in the user's language (LANGUAGE, LC_ALL, LC_MESSAGES, LANG, as gettext
  /// reads them; English otherwise), from the table "Localizable" unless another is named. A key
  /// that the language lacks is looked up in the next language, English at last, and then in the
  /// application around. Without an entry the given value, and without that ("") the key itself.
  std::string localizedStringForKey(const std::string& key, const std::string& value,
                                    const std::string& table = {}) const;

 private:
  struct State;
  std::string path_;
  std::shared_ptr<State> state_;
};

}  // namespace tasklane
