#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "foundation/base/NSError.h"
#include "foundation/property-lists/NSPropertyListSerialization.h"
#include "kestrel/views/KAAppearanceKey.h"

namespace tasklane {

/// Something that is wrong with an appearance's property list: the key that it is about (empty for
/// the list as a whole) and the reason, a part of a sentence.
struct KAAppearanceComplaint {
  std::string key;
  std::string reason;
  std::string description() const { return key.empty() ? reason : key + " " + reason; }
};

/// Reads and judges the property lists that hold an appearance's values: a dictionary from key to
/// value, each spelled as its key's type asks.
class KAAppearancePropertyList {
 public:
  /// The list in a file, or why there is none; the reason names the path.
  static Result<NSPropertyListSerialization::Parsed> contentsOfFile(const std::string& path);

  /// Puts the list's values over those that are there, one for each key in the keys' order; a value
  /// that cannot be used leaves the key's empty one. Answers everything that is wrong: keys that
  /// are there more than once, wrongly spelled values, unknown keys.
  static std::vector<KAAppearanceComplaint> readValues(
      const NSPropertyListSerialization::Parsed& list, std::span<const KAAppearanceKey> keys,
      std::span<KAAppearanceValue> values, std::vector<bool>& found);

  /// The required keys that have not been found.
  static std::vector<std::string> missingKeys(std::span<const KAAppearanceKey> keys,
                                              const std::vector<bool>& found);
};

}  // namespace tasklane
