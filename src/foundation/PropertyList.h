#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/NSDate.h"

namespace tasklane {

class PropertyListDictionary;
namespace plist {
class TextStore;
}

/// One immutable property-list value: dictionary, array, string, integer, real, boolean, date or
/// data.
///
/// A value is cheap to copy: copies share their contents. Two values are equal when they are of one
/// type and their contents are equal, at every depth (an integer never equals a real or a boolean;
/// a real that is not a number equals another such). Any thread may read a value.
class PropertyList {
 public:
  enum class Type { Integer, Real, Boolean, Date, Dictionary, Array, String, Data };
  using Array = std::vector<PropertyList>;
  using Dictionary = PropertyListDictionary;
  using Data = std::vector<std::byte>;

  /// An empty dictionary.
  PropertyList();
  PropertyList(Dictionary dictionary);
  PropertyList(Array array);
  PropertyList(std::string string);
  PropertyList(std::string_view string) : PropertyList(std::string(string)) {}
  PropertyList(const char* string) : PropertyList(std::string(string)) {}
  PropertyList(std::same_as<bool> auto boolean) : PropertyList(BooleanTag{}, boolean) {}
  /// The whole signed and the whole unsigned 64-bit range is kept; 5 and 5u are equal.
  PropertyList(std::integral auto integer) requires(!std::same_as<decltype(integer), bool>)
      : PropertyList(IntegerTag{}, static_cast<std::uint64_t>(integer), integer < 0) {}
  PropertyList(double real);
  PropertyList(NSDate date);
  PropertyList(Data data);
  PropertyList(const PropertyList& other) noexcept;
  /// Leaves an empty dictionary behind.
  PropertyList(PropertyList&& other) noexcept
      : type_(other.type_), negative_(other.negative_), stored_(other.stored_), bits_(other.bits_) {
    other.type_ = Type::Dictionary;
    other.bits_ = 0;
  }
  PropertyList& operator=(const PropertyList& other) noexcept;
  PropertyList& operator=(PropertyList&& other) noexcept;
  ~PropertyList() {
    if (type_ >= Type::Dictionary && bits_ != 0) release();
  }

  Type type() const { return type_; }

  /// The contents, or a null pointer when the value is of another type. The pointer is good for as
  /// long as this value lives and keeps its contents.
  const Dictionary* dictionary() const;
  const Array* array() const;
  const std::string* string() const;
  /// The bytes of a string; empty for every other type. Cheaper than string() for a value that was
  /// read from a file, because no std::string is made of it.
  std::string_view stringView() const;
  const Data* data() const;
  const NSDate* date() const;
  const bool* boolean() const;
  const double* real() const;

  /// An integer that fits, else none (also when the value is of another type).
  std::optional<std::int64_t> int64() const;
  std::optional<std::uint64_t> uint64() const;

  /// A number read loosely, as the platform's number objects answer: an integer, real or boolean as
  /// a double, integer or truth value; 0 or false for every other type.
  double doubleValue() const;
  std::int64_t integerValue() const;
  bool boolValue() const;

  /// The value under a key when this is a dictionary that has the key, else a null pointer.
  const PropertyList* valueForKey(std::string_view key) const;

  bool operator==(const PropertyList& other) const;

 private:
  struct BooleanTag {};
  struct IntegerTag {};
  PropertyList(BooleanTag, bool boolean);
  PropertyList(IntegerTag, std::uint64_t bits, bool negative);

  // Strings, arrays, dictionaries and data lie in one counted allocation that copies share; the
  // small types lie in the value itself. A dictionary without an allocation is the empty one. The
  // strings of a document that was read lie in allocations of many strings.
  friend class plist::TextStore;
  struct Counted;
  template <class T>
  struct Holder;
  struct StoredText;
  struct TextChunks;
  template <class T>
  const T* held(Type type) const;
  void release();

  Type type_ = Type::Dictionary;
  bool negative_ = false;  // of integers
  bool stored_ = false;    // of strings: a StoredText
  union {
    std::uint64_t bits_ = 0;
    const Counted* counted_;
    bool boolean_;
    double real_;
    NSDate date_;
  };
};

/// A dictionary's entries, sorted by the bytes of their keys, each key once. A plain value: change
/// one, then make a PropertyList of it.
class PropertyListDictionary {
 public:
  using Entry = std::pair<std::string, PropertyList>;
  using const_iterator = std::vector<Entry>::const_iterator;

  PropertyListDictionary() = default;
  PropertyListDictionary(std::initializer_list<Entry> entries);
  /// Of entries with equal keys the last counts.
  explicit PropertyListDictionary(std::vector<Entry> entries);

  bool empty() const { return entries_.empty(); }
  std::size_t size() const { return entries_.size(); }
  const_iterator begin() const { return entries_.begin(); }
  const_iterator end() const { return entries_.end(); }
  bool contains(std::string_view key) const { return find(key) != nullptr; }
  /// The value under a key, or a null pointer.
  const PropertyList* find(std::string_view key) const;
  void set(std::string key, PropertyList value);
  void erase(std::string_view key);

  bool operator==(const PropertyListDictionary& other) const = default;

 private:
  std::vector<Entry> entries_;
};

/// Contents that are passed around whole, so that "the very same contents object" is pointer
/// identity.
using PropertyListObject = std::shared_ptr<const PropertyList>;

}  // namespace tasklane
