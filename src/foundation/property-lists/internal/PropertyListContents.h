#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/property-lists/PropertyList.h"

namespace tasklane {

/// How the contents of a PropertyList begin that lie outside of it. Which member of the union it
/// is, the value tells.
struct PropertyList::Contents {
  Contents() : owners(1) {}
  explicit Contents(Document* home) : document(home) {}

  union {
    mutable std::atomic<std::uint64_t> owners;  // of an allocation of its own
    Document* document;                         // that the contents lie in
  };
};

template <class T>
struct PropertyList::Holder : Contents {
  explicit Holder(T contents) : value(std::move(contents)) {}
  Holder(Document* home, T contents) : Contents(home), value(std::move(contents)) {}
  T value;
};

/// What the contents of a document that was read lie in; only counted and freed as a whole. Values
/// inside of it own nothing, so that nothing has to be done for the most of them in the end.
struct PropertyList::Document {
  struct MadeString {
    explicit MadeString(std::string made) : text(std::move(made)) {}
    std::string text;
    MadeString* next = nullptr;
  };

  Document() = default;
  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;
  ~Document();

  mutable std::atomic<std::uint64_t> owners{1};
  std::vector<std::unique_ptr<char[]>> chunks;
  // What lies in the chunks and has memory elsewhere.
  std::vector<const Holder<Array>*> arrays;
  std::vector<const Holder<Data>*> datas;
  std::atomic<MadeString*> madeStrings{nullptr};
};

/// A string in a document; its bytes follow it.
struct PropertyList::StoredText : Contents {
  StoredText(Document* home, std::size_t length) : Contents(home), size(length) {}

  std::string_view bytes() const { return {reinterpret_cast<const char*>(this + 1), size}; }
  /// Made when it is first asked for.
  const std::string* string() const;

  std::size_t size;
  mutable std::atomic<const Document::MadeString*> made{nullptr};
};

inline std::string_view PropertyList::text() const {
  if (kind_.stored) return static_cast<const StoredText*>(contents_)->bytes();
  return static_cast<const Holder<std::string>*>(contents_)->value;
}

/// What a value of a type that the caller knows holds: the same as the value's own answers, where a
/// call for each of very many values would be felt.
struct plist::Inside {
  static std::string_view text(const PropertyList& string) { return string.text(); }
  static std::span<const PropertyListDictionary::Entry> entries(const PropertyList& dictionary) {
    if (!dictionary.contents_) return {};
    return static_cast<const PropertyList::Holder<PropertyListDictionary>*>(dictionary.contents_)
        ->value.entries_;
  }
  static const PropertyList::Array& array(const PropertyList& array) {
    return static_cast<const PropertyList::Holder<PropertyList::Array>*>(array.contents_)->value;
  }
};

}  // namespace tasklane
