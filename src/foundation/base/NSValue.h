#pragma once

#include <utility>

#include "foundation/base/NSObject.h"

namespace tasklane {

/// A plain value as an object, equal to every other object that holds an equal value of the same
/// type.
template <class T>
class NSValue : public NSObject {
 public:
  explicit NSValue(T value) : value_(std::move(value)) {}
  const T& value() const { return value_; }
  bool isEqual(const NSObject* other) const override {
    const auto* same = dynamic_cast<const NSValue*>(other);
    return same && same->value_ == value_;
  }

 private:
  T value_;
};

}  // namespace tasklane
