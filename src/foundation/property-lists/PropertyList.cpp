#include "foundation/property-lists/PropertyList.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "foundation/property-lists/internal/PropertyListContents.h"

namespace tasklane {

PropertyList::PropertyList(Dictionary dictionary) : kind_{Type::Dictionary} {
  if (dictionary.empty()) return;
  kind_.owner = true;
  contents_ = std::make_unique<Holder<Dictionary>>(std::move(dictionary)).release();
}

PropertyList::PropertyList(Array array) : kind_{Type::Array, false, false, true} {
  contents_ = std::make_unique<Holder<Array>>(std::move(array)).release();
}

PropertyList::PropertyList(std::string string) : kind_{Type::String, false, false, true} {
  contents_ = std::make_unique<Holder<std::string>>(std::move(string)).release();
}

PropertyList::PropertyList(Data data) : kind_{Type::Data, false, false, true} {
  contents_ = std::make_unique<Holder<Data>>(std::move(data)).release();
}

PropertyList::PropertyList(double real) : kind_{Type::Real} { real_ = real; }

PropertyList::PropertyList(NSDate date) : kind_{Type::Date} { date_ = date; }

PropertyList::PropertyList(BooleanTag, bool boolean) : kind_{Type::Boolean} { boolean_ = boolean; }

PropertyList::PropertyList(IntegerTag, std::uint64_t bits, bool negative)
    : kind_{Type::Integer, negative}, bits_(bits) {}

void PropertyList::own() {
  auto& owners = kind_.stored ? contents_->document->owners : contents_->owners;
  owners.fetch_add(1, std::memory_order_relaxed);
  kind_.owner = true;
}

void PropertyList::release() {
  auto& owners = kind_.stored ? contents_->document->owners : contents_->owners;
  if (owners.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  // The last owner takes the allocation back, as what it was made as.
  if (kind_.stored) {
    std::unique_ptr<const Document>(contents_->document);
  } else if (kind_.type == Type::Dictionary) {
    std::unique_ptr<const Holder<Dictionary>>(static_cast<const Holder<Dictionary>*>(contents_));
  } else if (kind_.type == Type::Array) {
    std::unique_ptr<const Holder<Array>>(static_cast<const Holder<Array>*>(contents_));
  } else if (kind_.type == Type::String) {
    std::unique_ptr<const Holder<std::string>>(static_cast<const Holder<std::string>*>(contents_));
  } else {
    std::unique_ptr<const Holder<Data>>(static_cast<const Holder<Data>*>(contents_));
  }
}

template <class T>
const T* PropertyList::held(Type type) const {
  return kind_.type == type ? &static_cast<const Holder<T>*>(contents_)->value : nullptr;
}

const PropertyList::Dictionary* PropertyList::dictionary() const {
  static const Dictionary empty;
  if (kind_.type == Type::Dictionary && !contents_) return &empty;
  return held<Dictionary>(Type::Dictionary);
}

const PropertyList::Array* PropertyList::array() const { return held<Array>(Type::Array); }
const std::string* PropertyList::string() const {
  if (kind_.stored && kind_.type == Type::String)
    return static_cast<const StoredText*>(contents_)->string();
  return held<std::string>(Type::String);
}

std::string_view PropertyList::stringView() const {
  return kind_.type == Type::String ? text() : std::string_view();
}

const PropertyList::Data* PropertyList::data() const { return held<Data>(Type::Data); }
const NSDate* PropertyList::date() const { return kind_.type == Type::Date ? &date_ : nullptr; }
const bool* PropertyList::boolean() const {
  return kind_.type == Type::Boolean ? &boolean_ : nullptr;
}
const double* PropertyList::real() const { return kind_.type == Type::Real ? &real_ : nullptr; }

std::optional<std::int64_t> PropertyList::int64() const {
  constexpr std::uint64_t largest = std::numeric_limits<std::int64_t>::max();
  if (kind_.type != Type::Integer || (!kind_.negative && bits_ > largest)) return std::nullopt;
  return static_cast<std::int64_t>(bits_);
}

std::optional<std::uint64_t> PropertyList::uint64() const {
  if (kind_.type != Type::Integer || kind_.negative) return std::nullopt;
  return bits_;
}

double PropertyList::doubleValue() const {
  switch (kind_.type) {
    case Type::Integer:
      return kind_.negative ? static_cast<double>(static_cast<std::int64_t>(bits_))
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
  if (kind_.type == Type::Integer) return static_cast<std::int64_t>(bits_);
  const double value = doubleValue();
  if (std::isnan(value)) return 0;
  if (value >= 0x1p63) return std::numeric_limits<std::int64_t>::max();
  if (value < -0x1p63) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(value);
}

bool PropertyList::boolValue() const {
  return kind_.type == Type::Integer ? bits_ != 0 : doubleValue() != 0;
}

const PropertyList* PropertyList::valueForKey(std::string_view key) const {
  const Dictionary* entries = dictionary();
  return entries ? entries->find(key) : nullptr;
}

bool PropertyList::operator==(const PropertyList& other) const {
  if (kind_.type != other.kind_.type) return false;
  switch (kind_.type) {
    case Type::Integer:
      return bits_ == other.bits_ && kind_.negative == other.kind_.negative;
    case Type::Real:
      return real_ == other.real_ || (std::isnan(real_) && std::isnan(other.real_));
    case Type::Boolean:
      return boolean_ == other.boolean_;
    case Type::Date:
      return date_ == other.date_;
    case Type::Dictionary:
      return contents_ == other.contents_ || *dictionary() == *other.dictionary();
    case Type::Array:
      return contents_ == other.contents_ || *array() == *other.array();
    case Type::String:
      return contents_ == other.contents_ || stringView() == other.stringView();
    case Type::Data:
      return contents_ == other.contents_ || *data() == *other.data();
  }
  return false;
}

const std::string* PropertyList::StoredText::string() const {
  if (const Document::MadeString* const known = made.load(std::memory_order_acquire))
    return &known->text;
  auto fresh = std::make_unique<Document::MadeString>(std::string(bytes()));
  const Document::MadeString* other = nullptr;
  if (!made.compare_exchange_strong(other, fresh.get(), std::memory_order_acq_rel))
    return &other->text;  // another thread was faster
  Document::MadeString* const kept = fresh.release();
  kept->next = document->madeStrings.load(std::memory_order_relaxed);
  while (
      !document->madeStrings.compare_exchange_weak(kept->next, kept, std::memory_order_release)) {
  }
  return &kept->text;
}

PropertyList::Document::~Document() {
  std::unique_ptr<MadeString> made(madeStrings.load(std::memory_order_acquire));
  while (made) made.reset(std::exchange(made->next, nullptr));
  for (const Holder<Array>* const array : arrays) std::destroy_at(array);
  for (const Holder<Data>* const data : datas) std::destroy_at(data);
}

PropertyListKey::PropertyListKey(std::string_view text) {
  if (text.size() > sizeof short_.bytes) {
    std::construct_at(&long_, text);
    return;
  }
  short_ = {static_cast<std::uint8_t>(mark | text.size()), {}};
  for (std::size_t i = 0; i < text.size(); ++i) short_.bytes[i] = text[i];
}

PropertyListDictionary::PropertyListDictionary(std::initializer_list<Entry> entries)
    : PropertyListDictionary(std::vector<Entry>(entries)) {}

PropertyListDictionary::PropertyListDictionary(std::vector<Entry> entries)
    : own_(std::move(entries)) {
  own_.erase(own_.begin() + static_cast<std::ptrdiff_t>(sortByKey(own_)), own_.end());
  entries_ = own_;
}

PropertyListDictionary::PropertyListDictionary(const PropertyListDictionary& other)
    : own_(other.begin(), other.end()), entries_(own_) {}

PropertyListDictionary::PropertyListDictionary(PropertyListDictionary&& other) noexcept
    : own_(std::move(other.own_)), entries_(std::exchange(other.entries_, {})) {}

PropertyListDictionary& PropertyListDictionary::operator=(PropertyListDictionary other) noexcept {
  own_.swap(other.own_);
  std::swap(entries_, other.entries_);
  return *this;
}

bool PropertyListDictionary::isBefore(const Entry& entry, std::string_view key) {
  const std::string_view own = entry.first;
  // The first byte tells most of the time.
  if (own.empty() || key.empty() || own.front() == key.front()) return own < key;
  return static_cast<unsigned char>(own.front()) < static_cast<unsigned char>(key.front());
}

std::size_t PropertyListDictionary::sortByKey(std::span<Entry> entries) {
  const auto before = [](const Entry& a, const Entry& b) { return isBefore(a, b.first); };
  const auto notBefore = [&](const Entry& a, const Entry& b) { return !before(a, b); };
  if (std::adjacent_find(entries.begin(), entries.end(), notBefore) == entries.end())
    return entries.size();

  if (entries.size() < 16) {  // without the allocation that the library's sorting makes
    for (auto next = entries.begin() + 1; next != entries.end(); ++next)
      std::rotate(std::upper_bound(entries.begin(), next, *next, before), next, next + 1);
  } else {
    std::stable_sort(entries.begin(), entries.end(), before);
  }
  std::size_t kept = 0;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    if (i + 1 < entries.size() && entries[i].first == entries[i + 1].first) continue;
    if (kept != i) entries[kept] = std::move(entries[i]);
    ++kept;
  }
  return kept;
}

std::size_t PropertyListDictionary::placeOf(std::string_view key) const {
  return static_cast<std::size_t>(
      std::lower_bound(entries_.begin(), entries_.end(), key, isBefore) - entries_.begin());
}

const PropertyList* PropertyListDictionary::find(std::string_view key) const {
  const std::size_t place = placeOf(key);
  const bool found = place < size() && std::string_view(entries_[place].first) == key;
  return found ? &entries_[place].second : nullptr;
}

void PropertyListDictionary::set(PropertyListKey key, PropertyList value) {
  const std::size_t place = placeOf(key);
  if (place < size() && entries_[place].first == key)
    own_[place].second = std::move(value);
  else
    own_.emplace(own_.begin() + static_cast<std::ptrdiff_t>(place), std::move(key),
                 std::move(value));
  entries_ = own_;
}

void PropertyListDictionary::erase(std::string_view key) {
  if (!contains(key)) return;
  own_.erase(own_.begin() + static_cast<std::ptrdiff_t>(placeOf(key)));
  entries_ = own_;
}

bool PropertyListDictionary::operator==(const PropertyListDictionary& other) const {
  return std::equal(begin(), end(), other.begin(), other.end());
}

}  // namespace tasklane
