#pragma once

#include <cstddef>
#include <span>
#include <string_view>

#include "foundation/property-lists/PropertyList.h"

namespace tasklane::plist {

/// Makes the values of one document side by side in a few large allocations that are freed as a
/// whole, instead of two or three small ones each, which is where most of the time of reading a
/// document went. So a value of the document that is kept keeps all of it. A string becomes a
/// std::string when it is first asked for as one.
///
/// What the store makes is good as long as the store lives; finish() makes a value like any other
/// of it. One thread at a time uses a store.
class Store {
 public:
  /// The size of the document is a guess at how much will be stored.
  explicit Store(std::size_t documentSize);
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store();

  PropertyList string(std::string_view text);
  PropertyListKey key(std::string_view text);
  /// These two take the members over. Of entries with equal keys the last counts.
  PropertyList dictionary(std::span<PropertyListDictionary::Entry> entries);
  PropertyList array(std::span<PropertyList> members);
  PropertyList data(PropertyList::Data bytes);

  /// Where the bytes of the next string can be written, and the string of the first of them. A
  /// longer string than that is made by string().
  std::span<char> room();
  PropertyList stringOfRoom(std::size_t size);

  /// The document's outermost value, which owns it all. The store makes no more.
  PropertyList finish(PropertyList root);

 private:
  char* newChunk(std::size_t size);
  char* take(std::size_t size);
  const PropertyList::StoredText* makeText(std::size_t size);

  PropertyList::Document* document_;
  std::size_t chunkSize_;
  char* free_ = nullptr;
  char* end_ = nullptr;
};

}  // namespace tasklane::plist
