#include "foundation/PropertyList.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <limits>
#include <memory>

#include "foundation/PropertyListTextStore.h"

namespace tasklane {

struct PropertyList::Counted {
  mutable std::atomic<std::uint32_t> owners{1};
};

template <class T>
struct PropertyList::Holder : Counted {
  explicit Holder(T contents) : value(std::move(contents)) {}
  T value;
};

/// Allocations for the strings of one document, kept while any of them lives.
struct PropertyList::TextChunks {
  std::vector<std::unique_ptr<char[]>> chunks;
  std::atomic<std::size_t> users{1};  // its strings, and the store while it makes more

  void leave() {
    if (users.fetch_sub(1, std::memory_order_acq_rel) == 1)
      const std::unique_ptr<TextChunks> last(this);
  }
};

/// A string in such an allocation; its bytes follow it.
struct PropertyList::StoredText : Counted {
  TextChunks* chunks;
  std::size_t size;
  mutable std::atomic<const std::string*> made{nullptr};

  StoredText(TextChunks* home, std::size_t length) : chunks(home), size(length) {}
  ~StoredText() { const std::unique_ptr<const std::string> last(made.load()); }

  std::string_view bytes() const { return {reinterpret_cast<const char*>(this + 1), size}; }

  const std::string* string() const {
    if (const std::string* const known = made.load(std::memory_order_acquire)) return known;
    auto fresh = std::make_unique<const std::string>(bytes());
    const std::string* other = nullptr;
    if (made.compare_exchange_strong(other, fresh.get(), std::memory_order_acq_rel))
      return fresh.release();
    return other;  // another thread was faster
  }
};

PropertyList::PropertyList() {}

PropertyList::PropertyList(Dictionary dictionary) : type_(Type::Dictionary) {
  if (!dictionary.empty())
    counted_ = std::make_unique<Holder<Dictionary>>(std::move(dictionary)).release();
}

PropertyList::PropertyList(Array array) : type_(Type::Array) {
  counted_ = std::make_unique<Holder<Array>>(std::move(array)).release();
}

PropertyList::PropertyList(std::string string) : type_(Type::String) {
  counted_ = std::make_unique<Holder<std::string>>(std::move(string)).release();
}

PropertyList::PropertyList(Data data) : type_(Type::Data) {
  counted_ = std::make_unique<Holder<Data>>(std::move(data)).release();
}

PropertyList::PropertyList(double real) : type_(Type::Real) { real_ = real; }

PropertyList::PropertyList(NSDate date) : type_(Type::Date) { date_ = date; }

PropertyList::PropertyList(BooleanTag, bool boolean) : type_(Type::Boolean) { boolean_ = boolean; }

PropertyList::PropertyList(IntegerTag, std::uint64_t bits, bool negative)
    : type_(Type::Integer), negative_(negative), bits_(bits) {}

PropertyList::PropertyList(const PropertyList& other) noexcept
    : type_(other.type_), negative_(other.negative_), stored_(other.stored_), bits_(other.bits_) {
  if (type_ >= Type::Dictionary && counted_)
    counted_->owners.fetch_add(1, std::memory_order_relaxed);
}

PropertyList& PropertyList::operator=(const PropertyList& other) noexcept {
  return *this = PropertyList(other);
}

PropertyList& PropertyList::operator=(PropertyList&& other) noexcept {
  std::swap(type_, other.type_);
  std::swap(negative_, other.negative_);
  std::swap(stored_, other.stored_);
  std::swap(bits_, other.bits_);
  return *this;
}

void PropertyList::release() {
  if (!counted_ || counted_->owners.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  // The last owner takes the allocation back, as what it was made as.
  switch (type_) {
    case Type::Dictionary:
      std::unique_ptr<const Holder<Dictionary>>(static_cast<const Holder<Dictionary>*>(counted_));
      break;
    case Type::Array:
      std::unique_ptr<const Holder<Array>>(static_cast<const Holder<Array>*>(counted_));
      break;
    case Type::String:
      if (stored_) {
        const auto* const text = static_cast<const StoredText*>(counted_);
        TextChunks* const chunks = text->chunks;
        std::destroy_at(text);
        chunks->leave();
      } else {
        std::unique_ptr<const Holder<std::string>>(
            static_cast<const Holder<std::string>*>(counted_));
      }
      break;
    default:
      std::unique_ptr<const Holder<Data>>(static_cast<const Holder<Data>*>(counted_));
  }
}

template <class T>
const T* PropertyList::held(Type type) const {
  return type_ == type ? &static_cast<const Holder<T>*>(counted_)->value : nullptr;
}

const PropertyList::Dictionary* PropertyList::dictionary() const {
  static const Dictionary empty;
  if (type_ == Type::Dictionary && !counted_) return &empty;
  return held<Dictionary>(Type::Dictionary);
}

const PropertyList::Array* PropertyList::array() const { return held<Array>(Type::Array); }
const std::string* PropertyList::string() const {
  if (stored_ && type_ == Type::String) return static_cast<const StoredText*>(counted_)->string();
  return held<std::string>(Type::String);
}

std::string_view PropertyList::stringView() const {
  if (type_ != Type::String) return {};
  if (stored_) return static_cast<const StoredText*>(counted_)->bytes();
  return *held<std::string>(Type::String);
}

const PropertyList::Data* PropertyList::data() const { return held<Data>(Type::Data); }
const NSDate* PropertyList::date() const { return type_ == Type::Date ? &date_ : nullptr; }
const bool* PropertyList::boolean() const { return type_ == Type::Boolean ? &boolean_ : nullptr; }
const double* PropertyList::real() const { return type_ == Type::Real ? &real_ : nullptr; }

std::optional<std::int64_t> PropertyList::int64() const {
  constexpr std::uint64_t largest = std::numeric_limits<std::int64_t>::max();
  if (type_ != Type::Integer || (!negative_ && bits_ > largest)) return std::nullopt;
  return static_cast<std::int64_t>(bits_);
}

std::optional<std::uint64_t> PropertyList::uint64() const {
  if (type_ != Type::Integer || negative_) return std::nullopt;
  return bits_;
}

double PropertyList::doubleValue() const {
  switch (type_) {
    case Type::Integer:
      return negative_ ? static_cast<double>(static_cast<std::int64_t>(bits_))
                       : static_cast<double>(bits_);
    case Type::Real:
      return real_;
    case Type::Boolean:
      return boolean_ ? 1 : 0;
    default:
      return 0;
  }
}

std::int64_t PropertyList::integerValue() const {
  if (type_ == Type::Integer) return static_cast<std::int64_t>(bits_);
  const double value = doubleValue();
  if (std::isnan(value)) return 0;
  if (value >= 0x1p63) return std::numeric_limits<std::int64_t>::max();
  if (value < -0x1p63) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(value);
}

bool PropertyList::boolValue() const {
  return type_ == Type::Integer ? bits_ != 0 : doubleValue() != 0;
}

const PropertyList* PropertyList::valueForKey(std::string_view key) const {
  const Dictionary* entries = dictionary();
  return entries ? entries->find(key) : nullptr;
}

bool PropertyList::operator==(const PropertyList& other) const {
  if (type_ != other.type_) return false;
  switch (type_) {
    case Type::Integer:
      return bits_ == other.bits_ && negative_ == other.negative_;
    case Type::Real:
      return real_ == other.real_ || (std::isnan(real_) && std::isnan(other.real_));
    case Type::Boolean:
      return boolean_ == other.boolean_;
    case Type::Date:
      return date_ == other.date_;
    case Type::Dictionary:
      return counted_ == other.counted_ || *dictionary() == *other.dictionary();
    case Type::Array:
      return counted_ == other.counted_ || *array() == *other.array();
    case Type::String:
      return counted_ == other.counted_ || stringView() == other.stringView();
    case Type::Data:
      return counted_ == other.counted_ || *data() == *other.data();
  }
  return false;
}

namespace plist {

TextStore::TextStore(std::size_t documentSize)
    : chunks_(std::make_unique<PropertyList::TextChunks>().release()),
      chunkSize_(std::clamp<std::size_t>(documentSize, 256, 1 << 16)) {}

TextStore::~TextStore() { chunks_->leave(); }

PropertyList TextStore::string(std::string_view text) {
  using Stored = PropertyList::StoredText;
  const std::size_t size =
      (sizeof(Stored) + text.size() + alignof(Stored) - 1) & ~(alignof(Stored) - 1);
  if (size > left_) {
    left_ = std::max(size, chunkSize_);
    chunks_->chunks.push_back(std::make_unique_for_overwrite<char[]>(left_));
    free_ = chunks_->chunks.back().get();
  }
  const auto* const stored =
      std::construct_at(reinterpret_cast<Stored*>(free_), chunks_, text.size());
  std::copy(text.begin(), text.end(), free_ + sizeof(Stored));
  chunks_->users.fetch_add(1, std::memory_order_relaxed);
  free_ += size;
  left_ -= size;

  PropertyList value;
  value.type_ = PropertyList::Type::String;
  value.stored_ = true;
  value.counted_ = stored;
  return value;
}

}  // namespace plist

namespace {

bool keyIsLess(const PropertyListDictionary::Entry& entry, std::string_view key) {
  return entry.first < key;
}

}  // namespace

PropertyListDictionary::PropertyListDictionary(std::initializer_list<Entry> entries)
    : PropertyListDictionary(std::vector<Entry>(entries)) {}

PropertyListDictionary::PropertyListDictionary(std::vector<Entry> entries)
    : entries_(std::move(entries)) {
  const auto notBefore = [](const Entry& a, const Entry& b) { return a.first >= b.first; };
  if (std::adjacent_find(entries_.begin(), entries_.end(), notBefore) == entries_.end()) return;

  const auto isBefore = [](const Entry& a, const Entry& b) { return a.first < b.first; };
  if (entries_.size() < 16) {  // without the allocation that the library's sorting makes
    for (auto next = entries_.begin() + 1; next != entries_.end(); ++next)
      std::rotate(std::upper_bound(entries_.begin(), next, *next, isBefore), next, next + 1);
  } else {
    std::stable_sort(entries_.begin(), entries_.end(), isBefore);
  }
  // Of a run of equal keys the last one is kept: erasing from the back meets it first.
  const auto sameKey = [](const Entry& a, const Entry& b) { return a.first == b.first; };
  const auto kept = std::unique(entries_.rbegin(), entries_.rend(), sameKey);
  entries_.erase(entries_.begin(), kept.base());
}

const PropertyList* PropertyListDictionary::find(std::string_view key) const {
  const auto place = std::lower_bound(entries_.begin(), entries_.end(), key, keyIsLess);
  return place != entries_.end() && place->first == key ? &place->second : nullptr;
}

void PropertyListDictionary::set(std::string key, PropertyList value) {
  const auto place =
      std::lower_bound(entries_.begin(), entries_.end(), std::string_view(key), keyIsLess);
  if (place != entries_.end() && place->first == key)
    place->second = std::move(value);
  else
    entries_.emplace(place, std::move(key), std::move(value));
}

void PropertyListDictionary::erase(std::string_view key) {
  const auto place = std::lower_bound(entries_.begin(), entries_.end(), key, keyIsLess);
  if (place != entries_.end() && place->first == key) entries_.erase(place);
}

}  // namespace tasklane
