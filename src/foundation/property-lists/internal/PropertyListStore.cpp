#include "foundation/property-lists/internal/PropertyListStore.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include "foundation/property-lists/internal/PropertyListContents.h"

namespace tasklane::plist {

namespace {

/// Enough for all that a document holds.
constexpr std::size_t alignment = 8;

std::size_t aligned(std::size_t size) { return (size + alignment - 1) & ~(alignment - 1); }

}  // namespace

Store::Store(std::size_t documentSize)
    : document_(std::make_unique<PropertyList::Document>().release()),
      chunkSize_(aligned(std::clamp<std::size_t>(documentSize, 1 << 8, 1 << 16))) {}

Store::~Store() { const std::unique_ptr<PropertyList::Document> unfinished(document_); }

char* Store::newChunk(std::size_t size) {
  document_->chunks.push_back(std::make_unique_for_overwrite<char[]>(size));
  return document_->chunks.back().get();
}

char* Store::take(std::size_t size) {
  size = aligned(size);
  if (size > static_cast<std::size_t>(end_ - free_)) {
    if (size > chunkSize_ / 4) return newChunk(size);  // what is left of the last one stays free
    free_ = newChunk(chunkSize_);
    end_ = free_ + chunkSize_;
  }
  return std::exchange(free_, free_ + size);
}

const PropertyList::StoredText* Store::makeText(std::size_t size) {
  static_assert(alignof(PropertyList::StoredText) <= alignment);
  char* const place = take(sizeof(PropertyList::StoredText) + size);
  return std::construct_at(reinterpret_cast<PropertyList::StoredText*>(place), document_, size);
}

PropertyList Store::string(std::string_view text) {
  const auto* const made = makeText(text.size());
  std::copy(text.begin(), text.end(), const_cast<char*>(made->bytes().data()));
  return {{PropertyList::Type::String, false, true}, made};
}

std::span<char> Store::room() {
  constexpr std::size_t header = sizeof(PropertyList::StoredText);
  if (static_cast<std::size_t>(end_ - free_) < std::min<std::size_t>(chunkSize_ / 4, 1 << 10)) {
    free_ = newChunk(chunkSize_);
    end_ = free_ + chunkSize_;
  }
  return {free_ + header, end_};
}

PropertyList Store::stringOfRoom(std::size_t size) {
  return {{PropertyList::Type::String, false, true}, makeText(size)};
}

PropertyListKey Store::key(std::string_view text) {
  if (text.size() < sizeof(PropertyListKey)) return text;
  return PropertyListKey(string(text));
}

PropertyList Store::dictionary(std::span<PropertyListDictionary::Entry> entries) {
  using Entry = PropertyListDictionary::Entry;
  using Holder = PropertyList::Holder<PropertyListDictionary>;
  if (entries.empty()) return {};
  entries = entries.first(PropertyListDictionary::sortByKey(entries));
  static_assert(alignof(Holder) <= alignment && alignof(Entry) <= alignment);
  char* const place = take(sizeof(Holder) + entries.size_bytes());
  auto* const first = reinterpret_cast<Entry*>(place + sizeof(Holder));
  std::uninitialized_move(entries.begin(), entries.end(), first);
  const Holder* const made =
      std::construct_at(reinterpret_cast<Holder*>(place), document_,
                        PropertyListDictionary(std::span<const Entry>(first, entries.size())));
  return {{PropertyList::Type::Dictionary, false, true}, made};
}

PropertyList Store::array(std::span<PropertyList> members) {
  using Holder = PropertyList::Holder<PropertyList::Array>;
  const Holder* const made =
      std::construct_at(reinterpret_cast<Holder*>(take(sizeof(Holder))), document_,
                        PropertyList::Array(std::make_move_iterator(members.begin()),
                                            std::make_move_iterator(members.end())));
  document_->arrays.push_back(made);
  return {{PropertyList::Type::Array, false, true}, made};
}

PropertyList Store::data(PropertyList::Data bytes) {
  using Holder = PropertyList::Holder<PropertyList::Data>;
  const Holder* const made = std::construct_at(reinterpret_cast<Holder*>(take(sizeof(Holder))),
                                               document_, std::move(bytes));
  document_->datas.push_back(made);
  return {{PropertyList::Type::Data, false, true}, made};
}

PropertyList Store::finish(PropertyList root) {
  if (root.kind_.stored) {
    root.kind_.owner = true;
    document_ = nullptr;
  }
  return root;
}

}  // namespace tasklane::plist
