#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/base/NSObject.h"
#include "kestrel/views/KAAppearanceKey.h"
#include "uikit/drawing/UIImage.h"

namespace tasklane {

/// Posted before and after the values that the current appearance answers change. The object is the
/// appearance that is coming, in both.
inline constexpr const char* KAAppearanceValuesWillChangeNotification =
    "KAAppearanceValuesWillChangeNotification";
inline constexpr const char* KAAppearanceValuesDidChangeNotification =
    "KAAppearanceValuesDidChangeNotification";

/// The colours, metrics and images of one look, by key. A subclass says which keys it answers and
/// which property lists hold them ("palettes/<name>.plist" among the application's resources); a
/// list further down the class tree overrides one further up. The lists are read on the first
/// question, once, whichever thread asks it. What is wrong with them (a missing file, an unknown or
/// wrongly spelled key, keys that no list holds) is one console line each, and the value then is
/// its type's empty one. Main thread.
class KAAppearance : public NSObject {
 public:
  /// The one shared instance of an appearance class, the same for the life of the process.
  template <class Appearance>
  static const std::shared_ptr<Appearance>& appearanceForClass() {
    static const auto instance = std::make_shared<Appearance>();
    return instance;
  }

  // Values by key. A key that is unknown, or of another type, answers the type's empty value.
  std::optional<UIColor> colorForKeyPath(std::string_view keyPath) const;
  double doubleForKeyPath(std::string_view keyPath) const;
  CGSize sizeForKeyPath(std::string_view keyPath) const;
  UIEdgeInsets edgeInsetsForKeyPath(std::string_view keyPath) const;
  bool boolForKeyPath(std::string_view keyPath) const;
  std::shared_ptr<UIImage> imageForKeyPath(std::string_view keyPath) const;
  std::int64_t integerForKeyPath(std::string_view keyPath) const;

  /// The keys that this appearance answers; constant for a class.
  virtual std::span<const KAAppearanceKey> keys() const { return {}; }
  /// The names of the property lists that hold the values, the base class's first. An appearance
  /// without any answers nothing.
  virtual std::vector<std::string> propertyListNames() const { return {}; }

 protected:
  /// The value of a key by its place among keys(), for accessors that know place and type when they
  /// are compiled.
  template <class Value>
  const Value& valueAtIndex(std::size_t index) const {
    return *std::get_if<Value>(&values()[index]);
  }
  std::shared_ptr<UIImage> imageAtIndex(std::size_t index) const;

 private:
  const std::vector<KAAppearanceValue>& values() const {
    if (!valuesAreRead_.load(std::memory_order_acquire)) readPropertyListsOnce();
    return values_;
  }
  void readPropertyListsOnce() const;
  void readPropertyLists() const;
  template <class Value>
  Value valueForKeyPath(std::string_view keyPath) const;
  mutable std::vector<KAAppearanceValue> values_;
  mutable std::mutex reading_;
  mutable std::atomic<bool> valuesAreRead_ = false;
};

}  // namespace tasklane
