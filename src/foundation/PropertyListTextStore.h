#pragma once

#include <cstddef>
#include <string_view>

#include "foundation/PropertyList.h"

namespace tasklane::plist {

/// Makes the strings of one document, side by side in a few large allocations instead of two small
/// ones each, which is where most of the time of reading a document went. A string becomes a
/// std::string when it is first asked for as one. The allocations are freed with the last string of
/// the document. One thread at a time makes strings; they are then values like any others.
class TextStore {
 public:
  /// The size of the document is a guess at how much will be stored.
  explicit TextStore(std::size_t documentSize);
  TextStore(const TextStore&) = delete;
  TextStore& operator=(const TextStore&) = delete;
  ~TextStore();

  PropertyList string(std::string_view text);

 private:
  PropertyList::TextChunks* chunks_;
  std::size_t chunkSize_;
  char* free_ = nullptr;
  std::size_t left_ = 0;
};

}  // namespace tasklane::plist
