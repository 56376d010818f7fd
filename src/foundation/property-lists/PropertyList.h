#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/dates/NSDate.h"

namespace tasklane {

class PropertyListDictionary;
namespace plist {
class Store;
struct Inside;
}  // namespace plist

/// One immutable property-list value: dictionary, array, string, integer, real, boolean, date or
/// data.
///
/// A value is cheap to copy: copies share their contents. A value out of an XML document that was
/// read keeps the contents of the whole document in memory. Two values are equal when they are of
/// one type and their contents are equal, at every depth (an integer never equals a real or a
/// boolean; a real that is not a number equals another such). Any thread may read a value.
class PropertyList {
 public:
  enum class Type : std::uint8_t { Integer, Real, Boolean, Date, Dictionary, Array, String, Data };
  using Array = std::vector<PropertyList>;
  using Dictionary = PropertyListDictionary;
  using Data = std::vector<std::byte>;

  /// An empty dictionary.
  PropertyList() {}
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
  PropertyList(const PropertyList& other) noexcept : kind_(other.kind_), bits_(other.bits_) {
    if (hasContents()) own();
  }
  /// Leaves an empty dictionary behind.
  PropertyList(PropertyList&& other) noexcept
      : kind_(std::exchange(other.kind_, {})), bits_(std::exchange(other.bits_, 0)) {}
  PropertyList& operator=(const PropertyList& other) noexcept {
    return *this = PropertyList(other);
  }
  PropertyList& operator=(PropertyList&& other) noexcept {
    std::swap(kind_, other.kind_);
    std::swap(bits_, other.bits_);
    return *this;
  }
  ~PropertyList() {
    if (kind_.owner) release();
  }

  Type type() const { return kind_.type; }

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

  // Strings, arrays, dictionaries and data lie outside of the value and are shared by its copies:
  // each in a counted allocation of its own, or with all others of a document that was read in a
  // few large ones that are counted as a whole. The values inside of a document lean on whoever
  // owns it; their copies outside are owners. A dictionary without contents is the empty one.
  friend class plist::Store;
  friend struct plist::Inside;
  struct Kind {
    Type type = Type::Dictionary;
    bool negative = false;  // of integers
    bool stored = false;    // the contents lie in a document
    bool owner = false;     // of the contents, or of the document that they lie in
  };
  struct Contents;
  template <class T>
  struct Holder;
  struct Document;
  struct StoredText;
  PropertyList(Kind kind, const Contents* contents) : kind_(kind), contents_(contents) {}
  template <class T>
  const T* held(Type type) const;
  std::string_view text() const;  // of a string
  bool hasContents() const { return kind_.type >= Type::Dictionary && bits_ != 0; }
  void own();
  void release();

  Kind kind_;
  union {
    std::uint64_t bits_ = 0;
    const Contents* contents_;
    bool boolean_;
    double real_;
    NSDate date_;
  };
};

/// The key of an entry in a dictionary, to be used as a std::string_view. A short one lies in the
/// key itself; copies of a longer one share it.
class PropertyListKey {
 public:
  PropertyListKey(std::string_view text);
  PropertyListKey(const std::string& text) : PropertyListKey(std::string_view(text)) {}
  PropertyListKey(const char* text) : PropertyListKey(std::string_view(text)) {}
  PropertyListKey(const PropertyListKey& other) noexcept {
    if (other.isShort())
      short_ = other.short_;
    else
      std::construct_at(&long_, other.long_);
  }
  /// Leaves some key behind.
  PropertyListKey(PropertyListKey&& other) noexcept {
    if (other.isShort())
      short_ = other.short_;
    else
      std::construct_at(&long_, std::move(other.long_));
  }
  PropertyListKey& operator=(PropertyListKey other) noexcept {
    std::destroy_at(this);
    return *std::construct_at(this, std::move(other));
  }
  ~PropertyListKey() {
    if (!isShort()) std::destroy_at(&long_);
  }

  operator std::string_view() const {
    return isShort() ? std::string_view(short_.bytes, short_.markedSize & ~mark)
                     : long_.stringView();
  }
  bool operator==(const PropertyListKey& other) const {
    return std::string_view(*this) == std::string_view(other);
  }

 private:
  friend class plist::Store;
  explicit PropertyListKey(PropertyList text) : long_(std::move(text)) {}

  // The first byte tells which member it is: a value begins with its type, which is a small number.
  static constexpr std::uint8_t mark = 0x80;
  struct Short {
    std::uint8_t markedSize;
    char bytes[sizeof(PropertyList) - 1];
  };
  bool isShort() const { return (short_.markedSize & mark) != 0; }

  union {
    Short short_;
    PropertyList long_;
  };
};

/// A dictionary's entries, sorted by the bytes of their keys, each key once. A plain value: change
/// one, then make a PropertyList of it.
class PropertyListDictionary {
 public:
  using Entry = std::pair<PropertyListKey, PropertyList>;
  using const_iterator = const Entry*;

  PropertyListDictionary() = default;
  PropertyListDictionary(std::initializer_list<Entry> entries);
  /// Of entries with equal keys the last counts.
  explicit PropertyListDictionary(std::vector<Entry> entries);
  PropertyListDictionary(const PropertyListDictionary& other);
  PropertyListDictionary(PropertyListDictionary&& other) noexcept;
  PropertyListDictionary& operator=(PropertyListDictionary other) noexcept;
  ~PropertyListDictionary() = default;

  bool empty() const { return entries_.empty(); }
  std::size_t size() const { return entries_.size(); }
  const_iterator begin() const { return entries_.data(); }
  const_iterator end() const { return entries_.data() + entries_.size(); }
  bool contains(std::string_view key) const { return find(key) != nullptr; }
  /// The value under a key, or a null pointer.
  const PropertyList* find(std::string_view key) const;
  void set(PropertyListKey key, PropertyList value);
  void erase(std::string_view key);

  bool operator==(const PropertyListDictionary& other) const;

 private:
  friend class plist::Store;
  friend struct plist::Inside;
  /// Entries that lie in a document, as sortByKey() leaves them.
  explicit PropertyListDictionary(std::span<const Entry> stored) : entries_(stored) {}
  /// Sorts entries and takes out those that do not count; how many are left, at the front.
  static std::size_t sortByKey(std::span<Entry> entries);
  static bool isBefore(const Entry& entry, std::string_view key);
  std::size_t placeOf(std::string_view key) const;

  std::vector<Entry> own_;
  std::span<const Entry> entries_;  // all of own_, or entries that lie in a document
};

/// Contents that are passed around whole, so that "the very same contents object" is pointer
/// identity.
using PropertyListObject = std::shared_ptr<const PropertyList>;

}  // namespace tasklane
